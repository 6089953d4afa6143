#include "formats/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace vela {

// ---- ByteReader ------------------------------------------------------------------------------

bool ByteReader::Need(size_t n) {
  if (ok_ && n <= data_.size() - pos_) return true;
  ok_ = false;
  pos_ = data_.size();
  return false;
}

bool ByteReader::Seek(size_t pos) {
  if (pos > data_.size()) {
    ok_ = false;
    pos_ = data_.size();
    return false;
  }
  pos_ = pos;
  return ok_;
}

bool ByteReader::Skip(size_t n) {
  if (!Need(n)) return false;
  pos_ += n;
  return true;
}

uint8_t ByteReader::U8() {
  return Need(1) ? data_[pos_++] : 0;
}

uint16_t ByteReader::U16LE() {
  if (!Need(2)) return 0;
  uint16_t v = static_cast<uint16_t>(data_[pos_] | data_[pos_ + 1] << 8);
  pos_ += 2;
  return v;
}

uint16_t ByteReader::U16BE() {
  if (!Need(2)) return 0;
  uint16_t v = static_cast<uint16_t>(data_[pos_] << 8 | data_[pos_ + 1]);
  pos_ += 2;
  return v;
}

uint32_t ByteReader::U32LE() {
  if (!Need(4)) return 0;
  const uint8_t* p = data_.data() + pos_;
  pos_ += 4;
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

uint32_t ByteReader::U32BE() {
  if (!Need(4)) return 0;
  const uint8_t* p = data_.data() + pos_;
  pos_ += 4;
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | uint32_t{p[3]};
}

Bytes ByteReader::Take(size_t n) {
  if (!Need(n)) return {};
  Bytes b = data_.subspan(pos_, n);
  pos_ += n;
  return b;
}

bool ByteReader::Read(void* dst, size_t n) {
  if (!Need(n)) return false;
  if (n) std::memcpy(dst, data_.data() + pos_, n);
  pos_ += n;
  return true;
}

// ---- Whole files -----------------------------------------------------------------------------

ReadStatus ReadWholeFile(const char* path, std::vector<uint8_t>* out) {
  out->clear();
  if (!path || !*path) return ReadStatus::kMissing;
  // Non-blocking, so that a pipe in the file's place is refused below instead of hanging here.
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0)
    return errno == ENOENT || errno == ENOTDIR ? ReadStatus::kMissing : ReadStatus::kError;
  struct stat st;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    return ReadStatus::kError;
  }
  if (static_cast<uint64_t>(st.st_size) > kMaxFileBytes) {
    ::close(fd);
    return ReadStatus::kTooLarge;
  }
  out->resize(static_cast<size_t>(st.st_size));
  size_t got = 0;
  while (got < out->size()) {
    const ssize_t n = ::read(fd, out->data() + got, out->size() - got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;  // the file shrank under us: take what is there
    got += static_cast<size_t>(n);
  }
  out->resize(got);
  ::close(fd);
  return ReadStatus::kOk;
}

bool FileExists(const char* path) {
  struct stat st;
  return path && *path && ::stat(path, &st) == 0 && S_ISREG(st.st_mode);
}

// ---- FileWriter ------------------------------------------------------------------------------

namespace {
int g_failAt = 0;
bool g_failSticky = false;
int g_calls = 0;

// True when the injected failure hits this call.
bool InjectedFailure() {
  if (g_failAt <= 0) return false;
  ++g_calls;
  if (g_calls == g_failAt) return true;
  return g_failSticky && g_calls > g_failAt;
}

constexpr size_t kBufferBytes = 1 << 16;
}  // namespace

void SetWriteFailure(int n, bool sticky) {
  g_failAt = n;
  g_failSticky = sticky;
  g_calls = 0;
}

FileWriter::~FileWriter() {
  Abandon();
}

void FileWriter::Abandon() {
  if (fd_ >= 0) {
    ::close(fd_);
    ::unlink(temp_.c_str());
  }
  fd_ = -1;
  buffer_.clear();
}

bool FileWriter::Open(const char* path) {
  Abandon();
  failed_ = false;
  written_ = 0;
  if (!path || !*path || InjectedFailure()) return false;
  target_ = path;
  // Beside the target, so the rename never crosses a file system.
  const std::filesystem::path p(target_);
  std::string dir = p.parent_path().string();
  if (dir.empty()) dir = ".";
  temp_ = dir + "/." + p.filename().string() + ".XXXXXX";
  std::vector<char> name(temp_.begin(), temp_.end());
  name.push_back('\0');
  fd_ = ::mkostemp(name.data(), O_CLOEXEC);
  if (fd_ < 0) return false;
  temp_ = name.data();
  // The new file takes the old one's permissions, or those a plain create would give.
  struct stat old;
  mode_t mode;
  if (::stat(target_.c_str(), &old) == 0) {
    mode = old.st_mode & 07777;
  } else {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    mode = 0666 & ~mask;
  }
  ::fchmod(fd_, mode);
  buffer_.reserve(kBufferBytes);
  return true;
}

bool FileWriter::Flush() {
  size_t at = 0;
  while (at < buffer_.size()) {
    const ssize_t n = ::write(fd_, buffer_.data() + at, buffer_.size() - at);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    at += static_cast<size_t>(n);
  }
  written_ += buffer_.size();
  buffer_.clear();
  return true;
}

bool FileWriter::Write(const void* data, size_t n) {
  if (fd_ < 0 || failed_) return false;
  if (InjectedFailure()) return !(failed_ = true);
  const auto* p = static_cast<const uint8_t*>(data);
  while (n) {
    if (buffer_.size() == kBufferBytes && !Flush()) return !(failed_ = true);
    const size_t k = std::min(n, kBufferBytes - buffer_.size());
    buffer_.insert(buffer_.end(), p, p + k);
    p += k;
    n -= k;
  }
  return true;
}

bool FileWriter::U8(unsigned v) {
  const uint8_t b = static_cast<uint8_t>(v);
  return Write(&b, 1);
}
bool FileWriter::U16LE(unsigned v) {
  const uint8_t b[2] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)};
  return Write(b, 2);
}
bool FileWriter::U16BE(unsigned v) {
  const uint8_t b[2] = {static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
  return Write(b, 2);
}
bool FileWriter::U32LE(uint32_t v) {
  const uint8_t b[4] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8),
                        static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 24)};
  return Write(b, 4);
}
bool FileWriter::U32BE(uint32_t v) {
  const uint8_t b[4] = {static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16),
                        static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
  return Write(b, 4);
}
bool FileWriter::Zeros(size_t n) {
  static const uint8_t zero[256] = {};
  while (n) {
    const size_t k = std::min(n, sizeof zero);
    if (!Write(zero, k)) return false;
    n -= k;
  }
  return true;
}

bool FileWriter::Commit() {
  if (fd_ < 0) return false;
  bool ok = !failed_ && !InjectedFailure() && Flush() && ::fsync(fd_) == 0;
  ok = ::close(fd_) == 0 && ok;
  fd_ = -1;
  if (ok && ::rename(temp_.c_str(), target_.c_str()) == 0) return true;
  ::unlink(temp_.c_str());
  return false;
}

}  // namespace vela
