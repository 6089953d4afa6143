// Byte-level input and output shared by every coder.
//
// Input is a whole file in memory read through ByteReader, which never reads past its span: a read
// beyond the end gives zeros and clears ok(), so a coder may read a header field by field and test
// once. Output goes through FileWriter, whose every call returns a status; the bytes land in a
// temporary file beside the target, which replaces the target only at Commit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vela {

using Bytes = std::span<const uint8_t>;

class ByteReader {
 public:
  explicit ByteReader(Bytes data) : data_(data) {}

  bool ok() const { return ok_; }
  size_t pos() const { return pos_; }
  size_t left() const { return data_.size() - pos_; }
  size_t size() const { return data_.size(); }
  bool AtEnd() const { return pos_ >= data_.size(); }

  bool Seek(size_t pos);
  bool Skip(size_t n);
  uint8_t U8();
  uint16_t U16LE();
  uint16_t U16BE();
  uint32_t U32LE();
  uint32_t U32BE();
  // The next n bytes in place, or an empty span (and !ok()) when fewer are left.
  Bytes Take(size_t n);
  bool Read(void* dst, size_t n);

 private:
  bool Need(size_t n);
  Bytes data_;
  size_t pos_ = 0;
  bool ok_ = true;
};

// Reads a whole file. Files above kMaxFileBytes are refused rather than allocated.
constexpr uint64_t kMaxFileBytes = uint64_t{1} << 30;
enum class ReadStatus { kOk, kMissing, kTooLarge, kError };
ReadStatus ReadWholeFile(const char* path, std::vector<uint8_t>* out);

bool FileExists(const char* path);

class FileWriter {
 public:
  FileWriter() = default;
  FileWriter(const FileWriter&) = delete;
  FileWriter& operator=(const FileWriter&) = delete;
  ~FileWriter();  // a writer never committed leaves the target as it was

  bool Open(const char* path);
  bool Write(const void* data, size_t n);
  bool Write(Bytes bytes) { return Write(bytes.data(), bytes.size()); }
  bool U8(unsigned v);
  bool U16LE(unsigned v);
  bool U16BE(unsigned v);
  bool U32LE(uint32_t v);
  bool U32BE(uint32_t v);
  bool Zeros(size_t n);
  uint64_t Tell() const { return written_ + buffer_.size(); }
  // Flushes, syncs and renames over the target.
  bool Commit();
  void Abandon();

 private:
  bool Flush();
  int fd_ = -1;
  std::string target_, temp_;
  std::vector<uint8_t> buffer_;
  uint64_t written_ = 0;
  bool failed_ = false;
};

// Test hook: the n-th writer call from now fails (and the ones after it when sticky); 0 turns it
// off. Counts Open, each Write and Commit.
void SetWriteFailure(int n, bool sticky);

}  // namespace vela
