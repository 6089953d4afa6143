// What the registry knows of a coder, and the helpers the coders share. Internal to formats.
//
// Pixels in memory are premultiplied (see pixels/block.h). Files that define straight colours
// are converted at the border: Premultiplied() rounds up as MulTable does, and Straight()
// truncates as DivTable does, so a premultiplied pixel survives the trip out and back.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "formats/file_io.h"
#include "formats/formats.h"
#include "pixels/block.h"
#include "start/ask.h"
#include "start/gauge.h"

namespace vela {

struct FormatCoder {
  int number;
  const char* extensions;  // the save extensions, first is the default; null when not saved
  bool (*probe)(Bytes file, const char* path);
  bool (*info)(Bytes file, int* width, int* height);
  int (*load)(Bytes file, Block* block);
  int (*save)(const char* path, const Block& block, const SaveSettings& settings);
};

// The built-in coders, by number; null for a number without one.
const FormatCoder* CoderFor(int number);

// A coder module (TIFF, SGI): plugged in through its own record so the core knows nothing of it.
struct ModuleContext;
struct FormatModule {
  char name[64];
  char shortName[16];
  char title[16];
  char extension[16];
  char keyword[16];
  int recordVersion, moduleVersion, moduleRevision;
  void (*Release)(ModuleContext*);
  int (*Open)(ModuleContext*);
  void (*Close)(ModuleContext*);
  int (*Probe)(ModuleContext*, const char* path, Bytes buffer);  // 0: the file is ours
  int (*Info)(ModuleContext*, Bytes buffer, int* width, int* height);
  int (*Options)(ModuleContext*);
  int (*Load)(ModuleContext*, Bytes buffer, Block* block);
  int (*Save)(ModuleContext*, const char* path, const Block& block);
};

struct ModuleContext {
  const FormatModule* module = nullptr;
  int format = 0;       // the module's own format or channel choice
  int compression = 1;  // 0 none; else the module's default compression
  int number = 0;       // the module's format number
};

extern const FormatModule kTiffModule;
extern const FormatModule kSgiModule;
// The modules in table order, each with its context made and opened on first use.
std::span<ModuleContext* const> FormatModules();
ModuleContext* ModuleByNumber(int number);

// ---- Pixels across the border --------------------------------------------------------------

inline Pixel Premultiplied(int a, int r, int g, int b) {
  if (a == 255) return MakePixel(255, r, g, b);
  if (a == 0) return 0;
  return MakePixel(a, (r * a + 254) / 255, (g * a + 254) / 255, (b * a + 254) / 255);
}

inline int StraightChannel(int c, int a) {
  return a == 255 ? c : a == 0 ? 0 : c * 255 / a;
}

// Straight colour of a premultiplied pixel, alpha kept.
inline Pixel Straight(Pixel p) {
  const int a = Alpha(p);
  if (a == 255) return p;
  return MakePixel(a, StraightChannel(Red(p), a), StraightChannel(Green(p), a),
                   StraightChannel(Blue(p), a));
}

// Width and height to write into: each the smaller of the file's and the block's.
inline int ClipWidth(const Block* b, int w) {
  return std::min(b->width, w);
}
inline int ClipHeight(const Block* b, int h) {
  return std::min(b->height, h);
}

// Shared words.
inline constexpr char kLoadingTitle[] = "Loading Image";

// Header fields of 16 bits hold the side of what TGA, PCX, SOFTIMAGE and Rendition save.
inline bool FitsSixteenBits(const Block& b) {
  return b.width <= 65535 && b.height <= 65535;
}

// True while a save may go on: a stop asks, and " No " clears the flag. A process that is
// stopping (-1) ends the save as " Yes " does.
inline bool GoOnSaving() {
  if (!GaugeStopped()) return true;
  if (Ask("Stop Saving?", " Yes ", " No ") != 0) return false;
  SetGaugeStop(false);
  return true;
}

// The gauge of one coder's loop: open for the coder's call, closed on every way out, told every
// 16th row. A stopped load keeps the rows it has; a stopped save leaves the old file.
class CoderGauge {
 public:
  explicit CoderGauge(const char* title) { OpenGauge(title); }
  ~CoderGauge() { CloseGauge(); }
  CoderGauge(const CoderGauge&) = delete;
  CoderGauge& operator=(const CoderGauge&) = delete;

  // After row y of a load: false once the user has stopped it.
  static bool Loaded(int y, int total) {
    if ((y & 15) == 0) GaugeUpdate(y, total);
    return !GaugeStopped();
  }
  // Before row y of a save: false when the user confirms a stop.
  static bool Saving(int y, int total) {
    if ((y & 15) == 0) GaugeUpdate(y, total);
    return GoOnSaving();
  }
};

// ---- The coders ------------------------------------------------------------------------------

bool ProbeTga(Bytes f, const char* path);
bool InfoTga(Bytes f, int* w, int* h);
int LoadTga(Bytes f, Block* b);
int SaveTga(const char* path, const Block& b, const SaveSettings& s);

bool ProbeBmp(Bytes f, const char* path);
bool InfoBmp(Bytes f, int* w, int* h);
int LoadBmp(Bytes f, Block* b);
int SaveBmp(const char* path, const Block& b, const SaveSettings& s);

bool ProbePcx(Bytes f, const char* path);
bool InfoPcx(Bytes f, int* w, int* h);
int LoadPcx(Bytes f, Block* b);
int SavePcx(const char* path, const Block& b, const SaveSettings& s);

bool ProbeSun(Bytes f, const char* path);
bool InfoSun(Bytes f, int* w, int* h);
int LoadSun(Bytes f, Block* b);
int SaveSun24(const char* path, const Block& b, const SaveSettings& s);
int SaveSun32(const char* path, const Block& b, const SaveSettings& s);

bool ProbeSoftimage(Bytes f, const char* path);
bool InfoSoftimage(Bytes f, int* w, int* h);
int LoadSoftimage(Bytes f, Block* b);
int SaveSoftimage(const char* path, const Block& b, const SaveSettings& s);

bool ProbeRendition(Bytes f, const char* path);
bool InfoRendition(Bytes f, int* w, int* h);
int LoadRendition(Bytes f, Block* b);
int SaveRendition(const char* path, const Block& b, const SaveSettings& s);

bool ProbePpm(Bytes f, const char* path);
bool InfoPpm(Bytes f, int* w, int* h);
int LoadPpm(Bytes f, Block* b);

bool ProbeDmim(Bytes f, const char* path);
bool InfoDmim(Bytes f, int* w, int* h);
int LoadDmim(Bytes f, Block* b);

bool ProbePng(Bytes f, const char* path);
bool InfoPng(Bytes f, int* w, int* h);
int LoadPng(Bytes f, Block* b);
int SavePng(const char* path, const Block& b, const SaveSettings& s);

bool ProbeJpeg(Bytes f, const char* path);
bool InfoJpeg(Bytes f, int* w, int* h);
int LoadJpeg(Bytes f, Block* b);
int SaveJpeg(const char* path, const Block& b, const SaveSettings& s);

// True when path ends in ext, ignoring case (ext with its dot).
bool HasExtension(const char* path, const char* ext);

}  // namespace vela
