// The rest of the registry that tests, fuzz targets and the menus reach.
#pragma once

#include <vector>

#include "formats/file_io.h"
#include "formats/formats.h"

namespace vela {

struct FormatModule;

// A row of the save-mode pop-up: label, colour word, format number, four cleared fields (the last
// holds the tick). The separator has number -2.
struct SaveModeRow {
  const char* label;
  int number;
  uint32_t color = 0xFF000000;
  int fields[4] = {};
  const FormatModule* module = nullptr;
};
// The rows in menu order, the modules' rows added and the rows behind the separator sorted.
const std::vector<SaveModeRow>& SaveModeRows();
// The row that carries the tick for a mode (2, 5 and 20 tick ILBM; 15 and 16 Sun), or -1.
int SaveModeRowFor(int mode);

// FileType and LoadFileIntoBlock over bytes already in memory; path gives the extension.
int FileTypeOfBytes(Bytes file, const char* path, int* width, int* height);
int LoadBytesIntoBlock(Bytes file, const char* path, Block* block, int frame);

// CheckedFileType that keeps the bytes it sniffed, so a load reads what was sniffed even when
// the file changes in between. A project gives its number and size but no bytes.
int CheckedFileBytes(const char* path, std::vector<uint8_t>* bytes, int* width, int* height);

// True for a picture size that a Block made for a file may have (2^28 pixels, a 16384 page).
inline bool PictureFits(int width, int height) {
  return width > 0 && height > 0 && static_cast<int64_t>(width) * height <= (int64_t{1} << 28);
}

// A new Block of the file's size with its picture, or null (reported).
BlockPtr LoadImageBlock(const char* path);

}  // namespace vela
