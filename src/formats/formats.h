// Image files: format numbers, the sniffer, the central loader and the per-format save settings.
#pragma once

#include <cstdint>

#include "pixels/block.h"

namespace vela {

// Format numbers. Numbers from 256 on are the format modules, 256 plus their save-menu row.
enum : int {
  kFormatDeep = 0,
  kFormatDelta = 1,
  kFormatIlbm = 2,
  kFormatTga = 3,
  kFormatRendition = 4,
  kFormatIlbm12 = 5,
  kFormatJpeg = 7,
  kFormatPpm = 9,
  kFormatDmim = 10,
  kFormatGif = 13,
  kFormatSun = 14,
  kFormatSun24 = 15,
  kFormatSun32 = 16,
  kFormatProject = 17,
  kFormatIlbm8 = 20,
  kFormatBmp = 21,
  kFormatPcx = 22,
  kFormatSoftimage = 23,
  kFormatMovie = 24,
  kFormatAvi = 25,
  kFormatFlc = 26,
  kFormatPng = 28,
  kFormatPsd = 29,
  kFormatSparrow = 30,
  kFormatModuleBase = 256,
};

// Palette words and dither words of the palette formats.
enum : int {
  kPalettePreset = 0,
  kPaletteUser = 1,
  kPaletteGlobal = 2,
  kPaletteLocal = 3,
  kPaletteTrue24 = 4,
  kPaletteTrue32 = 5,
};
enum : int { kDitherNone = 0, kDitherFloyd = 1, kDitherMatrix = 2 };

struct PaletteSettings {
  int palette;
  int dither;
  int colors;
};

struct SaveSettings {
  int saveMode = 0;
  PaletteSettings gif{2, 1, 256};
  PaletteSettings fli{0, 2, 256};
  PaletteSettings bmp{4, 0, 256};
  PaletteSettings png{3, 0, 255};
  PaletteSettings ilbm{4, 0, 256};
  PaletteSettings pcx{3, 1, 256};
  int jpegPower = 100;
  int tgaCompression = 1;
  int stretch = 0;
};

// The settings of this run (read from and written to the configuration store).
SaveSettings& CurrentSaveSettings();

// The format number of a script or command-line word, matched by the word's start against the
// whole table word, ignoring case; then the modules' keywords. -1 when nothing matches.
int FormatKeyword(const char* word);

// Sniffs a file: a format number or -1; width and height where a header gives them (else 0).
int FileType(const char* path, int* width, int* height);
// The same, reporting a missing file and an unknown format.
int CheckedFileType(const char* path, int* width, int* height);

// Loads the picture of a file into block, cut or padded at the block's size; frame -1 is the
// first picture. 0 on success, -1 after the coder or this call has reported the failure.
int LoadFileIntoBlock(const char* path, Block* block, int frame);

// Saves block in format number `format` with the given settings. 0, or -1 when reported or
// stopped by the user (the old file then stays as it was).
int SaveBlockAs(const char* path, const Block& block, int format, const SaveSettings& settings);

}  // namespace vela
