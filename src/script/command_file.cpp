#include "script/command_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "script/dispatcher.h"
#include "start/main_loop.h"

namespace vela {

int RunCommandFile(const char* path, std::FILE* out) {
  bool useStdin = std::strcmp(path, "-") == 0;
  std::FILE* in = useStdin ? stdin : std::fopen(path, "rb");
  if (!in) {
    std::fprintf(stderr, "vela: cannot read %s: %s\n", path, std::strerror(errno));
    return -1;
  }
  struct stat st;
  if (fstat(fileno(in), &st) == 0 && S_ISDIR(st.st_mode)) {
    std::fprintf(stderr, "vela: cannot read %s: %s\n", path, std::strerror(EISDIR));
    if (!useStdin) std::fclose(in);
    return -1;
  }
  // Room for a whole command and its line end, which is no part of it.
  char line[kWorkSize + 1];
  long number = 0;
  bool more = true;
  while (more && !ExitFlag) {
    size_t n = 0;
    bool tooLong = false;
    int c;
    while ((c = std::getc(in)) != EOF && c != '\n') {
      if (n < kWorkSize)
        line[n++] = static_cast<char>(c);
      else
        tooLong = true;
    }
    more = c != EOF;
    if (c == EOF && std::ferror(in)) {
      std::fprintf(stderr, "vela: cannot read %s: %s\n", path, std::strerror(errno));
      if (!useStdin) std::fclose(in);
      return -1;
    }
    if (c == EOF && n == 0 && !tooLong) break;
    ++number;
    if (n > 0 && line[n - 1] == '\r') --n;
    if (n > kWorkSize - 1) tooLong = true;
    line[n] = 0;
    if (tooLong) {
      std::fprintf(stderr, "vela: %s line %ld is longer than %zu bytes and was not run\n", path,
                   number, kWorkSize - 1);
      std::fputc('\n', out);
      continue;
    }
    if (n == 0) continue;
    CommandRecord r{};
    r.command = line;
    ExecuteCommand(&r);
    std::fprintf(out, "%s\n", r.result);
    std::fflush(out);
  }
  if (!useStdin) std::fclose(in);
  return 0;
}

}  // namespace vela
