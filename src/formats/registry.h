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

// A new Block of the file's size with its picture, or null (reported).
BlockPtr LoadImageBlock(const char* path);

}  // namespace vela
