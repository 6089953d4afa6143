#include "start/command_line.h"

#include <cstdlib>
#include <cstring>

#include "start/options.h"

namespace vela {

namespace {
bool ParseSize(const char* s, int* w, int* h) {
  char* end = nullptr;
  long a = std::strtol(s, &end, 10);
  if (end == s || (*end != 'x' && *end != 'X')) return false;
  const char* second = end + 1;
  long b = std::strtol(second, &end, 10);
  if (end == second || *end) return false;
  if (a < 1 || b < 1 || a > 16384 || b > 16384) return false;
  *w = static_cast<int>(a);
  *h = static_cast<int>(b);
  return true;
}
}  // namespace

std::string UsageText(const CommandLineFeatures& f) {
  std::string u = "usage: vela [--headless]";
  if (f.serve) u += " [--serve]";
  u += " [--size WxH]";
  if (f.script) u += " [--script FILE|-]";
  if (f.events) u += " [--events FILE]";
  u +=
      " [--screenshot FILE.png] [--save-page FILE.png] [--home DIR] [--ini FILE] [--version] "
      "[--help] [NAME=value ...] [PATH]\n";
  return u;
}

bool ParseCommandLine(int argc, const char* const* argv, const CommandLineFeatures& features,
                      CommandLine* out, std::string* error) {
  CommandLine cl;
  bool flagsEnded = false;
  for (int i = 1; i < argc; ++i) {
    const char* a = argv[i];
    auto value = [&](std::string* dst) {
      if (i + 1 >= argc || !*argv[i + 1]) {
        *error = std::string(a) + " needs a value";
        return false;
      }
      *dst = argv[++i];
      return true;
    };
    if (!flagsEnded && a[0] == '-' && a[1] == '-') {
      std::string flag = a;
      if (flag == "--") {
        flagsEnded = true;
      } else if (flag == "--headless") {
        cl.headless = true;
      } else if (flag == "--serve" && features.serve) {
        cl.serve = true;
      } else if (flag == "--size") {
        std::string s;
        if (!value(&s)) return false;
        if (!ParseSize(s.c_str(), &cl.width, &cl.height)) {
          *error = "--size wants WxH, for example 1280x800";
          return false;
        }
      } else if (flag == "--script" && features.script) {
        if (!value(&cl.script)) return false;
      } else if (flag == "--events" && features.events) {
        if (!value(&cl.events)) return false;
      } else if (flag == "--screenshot") {
        if (!value(&cl.screenshot)) return false;
      } else if (flag == "--save-page") {
        if (!value(&cl.savePage)) return false;
      } else if (flag == "--home") {
        if (!value(&cl.home)) return false;
      } else if (flag == "--ini") {
        if (!value(&cl.ini)) return false;
      } else if (flag == "--version") {
        cl.version = true;
      } else if (flag == "--help") {
        cl.help = true;
      } else {
        *error = "unknown flag " + flag;
        return false;
      }
      continue;
    }
    if (!flagsEnded && IsOptionWord(a)) {
      cl.options.push_back(a);
      continue;
    }
    if (!flagsEnded && std::strchr(a, '=') && a[0] != '/' && a[0] != '.') {
      // A NAME=value word that names no option is almost always a typing error, not a file.
      *error = std::string("unknown option ") + a;
      return false;
    }
    if (!cl.path.empty()) {
      *error = "only one PATH may be given";
      return false;
    }
    cl.path = a;
    if (cl.path.empty()) {
      *error = "empty PATH";
      return false;
    }
  }
  *out = std::move(cl);
  return true;
}

}  // namespace vela
