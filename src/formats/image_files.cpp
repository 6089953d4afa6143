#include "formats/image_files.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "formats/coders.h"
#include "formats/project_file.h"
#include "formats/registry.h"
#include "project/compose.h"
#include "project/page.h"
#include "project/undo.h"
#include "start/ask.h"
#include "start/config_store.h"
#include "start/message.h"
#include "start/run_paths.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {

namespace {

// A question with a path of the longest kind in it.
constexpr size_t kAskTextSize = 4200;

constexpr char kSection[] = "IO";

int GetInt(const char* key, int def) {
  char buf[32], d[32];
  std::snprintf(d, sizeof d, "%d", def);
  ConfigGet(kSection, key, buf, d, sizeof buf - 1);
  buf[sizeof buf - 1] = 0;
  char* end = nullptr;
  const long v = std::strtol(buf, &end, 10);
  return end == buf ? def : static_cast<int>(v);
}

void PutInt(const char* key, int v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%d", v);
  ConfigPut(kSection, key, buf);
}

struct PaletteKeys {
  const char* prefix;
  PaletteSettings SaveSettings::*field;
};
constexpr PaletteKeys kPaletteKeys[] = {
    {"Gif", &SaveSettings::gif}, {"Fli", &SaveSettings::fli},   {"BMP", &SaveSettings::bmp},
    {"PNG", &SaveSettings::png}, {"Ilbm", &SaveSettings::ilbm}, {"PCX", &SaveSettings::pcx},
};

const char* PaletteWord(int w) {
  static const char* const words[] = {"fix ", "user ", "global ", "local ", "b24 ", "b32 "};
  return w >= 0 && w < 6 ? words[w] : "";
}
const char* DitherWord(int w) {
  static const char* const words[] = {"nodither ", "dither ", "mat "};
  return w >= 0 && w < 3 ? words[w] : "";
}

PaletteSettings* PaletteOf(SaveSettings& s, int mode) {
  switch (mode) {
    case kFormatGif:
      return &s.gif;
    case kFormatFlc:
      return &s.fli;
    case kFormatBmp:
      return &s.bmp;
    case kFormatPng:
      return &s.png;
    case kFormatIlbm:
      return &s.ilbm;
    case kFormatPcx:
      return &s.pcx;
    default:
      return nullptr;
  }
}

bool Starts(const char* word, const char* head) {
  return strncasecmp(word, head, std::strlen(head)) == 0;
}

// The extensions of a mode, the first the one given.
std::vector<std::string> Extensions(int mode) {
  switch (mode) {
    case kFormatDeep:
      return {".dip"};
    case kFormatIlbm:
    case kFormatIlbm12:
    case kFormatIlbm8:
      return {".iff"};
    case kFormatTga:
      return {".tga", ".vst"};
    case kFormatJpeg:
      return {".jpg"};
    case kFormatGif:
      return {".gif"};
    case kFormatSun24:
    case kFormatSun32:
      return {".ras"};
    case kFormatBmp:
      return {".bmp"};
    case kFormatPcx:
      return {".pcx"};
    case kFormatSoftimage:
      return {".pic"};
    case kFormatAvi:
      return {".avi"};
    case kFormatFlc:
      return {".flc", ".fli"};
    case kFormatPng:
      return {".png"};
    case kFormatPsd:
      return {".psd"};
    case kFormatSparrow:
      return {".spw"};
    default:
      if (ModuleContext* m = ModuleByNumber(mode)) return {m->module->extension};
      return {};
  }
}

// A smooth scale of premultiplied pixels: each target pixel samples the source bilinearly.
void Stretch(const Block& src, Block* dst) {
  for (int y = 0; y < dst->height; ++y) {
    const double fy = std::max(0.0, (y + 0.5) * src.height / dst->height - 0.5);
    const int y0 = std::min(static_cast<int>(fy), src.height - 1),
              y1 = std::min(y0 + 1, src.height - 1);
    const double wy = fy - y0;
    for (int x = 0; x < dst->width; ++x) {
      const double fx = std::max(0.0, (x + 0.5) * src.width / dst->width - 0.5);
      const int x0 = std::min(static_cast<int>(fx), src.width - 1),
                x1 = std::min(x0 + 1, src.width - 1);
      const double wx = fx - x0;
      const Pixel p[4] = {src.Row(y0)[x0], src.Row(y0)[x1], src.Row(y1)[x0], src.Row(y1)[x1]};
      Pixel out = 0;
      for (int shift = 0; shift < 32; shift += 8) {
        auto c = [&](int i) { return static_cast<double>((p[i] >> shift) & 255); };
        const double v =
            (c(0) * (1 - wx) + c(1) * wx) * (1 - wy) + (c(2) * (1 - wx) + c(3) * wx) * wy;
        out |= static_cast<Pixel>(std::min(255, static_cast<int>(v + 0.5))) << shift;
      }
      dst->Row(y)[x] = out;
    }
  }
}

}  // namespace

void LoadSaveSettings() {
  SaveSettings& s = CurrentSaveSettings();
  const SaveSettings d;
  s.saveMode = GetInt("SaveMode", d.saveMode);
  char key[32];
  for (const PaletteKeys& k : kPaletteKeys) {
    PaletteSettings& p = s.*k.field;
    const PaletteSettings& def = d.*k.field;
    std::snprintf(key, sizeof key, "%s_Palette", k.prefix);
    p.palette = GetInt(key, def.palette);
    std::snprintf(key, sizeof key, "%s_Dither", k.prefix);
    p.dither = GetInt(key, def.dither);
    std::snprintf(key, sizeof key, "%s_Colors", k.prefix);
    p.colors = GetInt(key, def.colors);
  }
  s.jpegPower = GetInt("JPeg_power", d.jpegPower);
  s.tgaCompression = GetInt("TGACompression", d.tgaCompression);
  s.stretch = GetInt("Stretch", d.stretch);
}

void StoreSaveSettings() {
  const SaveSettings& s = CurrentSaveSettings();
  PutInt("SaveMode", s.saveMode);
  char key[32];
  for (const PaletteKeys& k : kPaletteKeys) {
    const PaletteSettings& p = s.*k.field;
    std::snprintf(key, sizeof key, "%s_Palette", k.prefix);
    PutInt(key, p.palette);
    std::snprintf(key, sizeof key, "%s_Dither", k.prefix);
    PutInt(key, p.dither);
    std::snprintf(key, sizeof key, "%s_Colors", k.prefix);
    PutInt(key, p.colors);
  }
  PutInt("JPeg_power", s.jpegPower);
  PutInt("TGACompression", s.tgaCompression);
  PutInt("Stretch", s.stretch);
}

int SaveMode(const char* argument, char* result, size_t capacity) {
  SaveSettings& s = CurrentSaveSettings();
  std::string out;
  auto withSettings = [&](const char* name) {
    const PaletteSettings* p = PaletteOf(s, s.saveMode);
    out = std::string(name) + PaletteWord(p->palette) + DitherWord(p->dither) +
          std::to_string(p->colors);
  };
  switch (s.saveMode) {
    case kFormatDeep:
      out = "deep";
      break;
    case kFormatIlbm:
      withSettings("ilbm ");
      break;
    case kFormatTga:
      out = "tga " + std::to_string(s.tgaCompression);
      break;
    case kFormatJpeg:
      out = "jpeg " + std::to_string(s.jpegPower);
      break;
    case kFormatGif:
      withSettings("gif ");
      break;
    case kFormatSun24:
      out = "sun 24";
      break;
    case kFormatSun32:
      out = "sun 32";
      break;
    case kFormatBmp:
      withSettings("bmp ");
      break;
    case kFormatPcx:
      withSettings("pcx ");
      break;
    case kFormatAvi:
      out = "avi ";
      break;
    case kFormatFlc:
      withSettings("flc ");
      break;
    case kFormatPng:
      withSettings("png ");
      break;
    case kFormatPsd:
      out = "psd";
      break;
    case kFormatSparrow:
      out = "sparrow";
      break;
    default:
      out = "Mode=" + std::to_string(s.saveMode) + " ";
  }
  if (result && capacity) std::snprintf(result, capacity, "%s", out.c_str());

  if (!argument) return 0;
  while (*argument == ' ') ++argument;
  if (Starts(argument, "mode=")) {
    s.saveMode = std::atoi(argument + 5);
    return 1;
  }
  std::vector<std::string> words;
  for (const char* p = argument; *p;) {
    while (*p == ' ') ++p;
    const char* start = p;
    while (*p && *p != ' ') ++p;
    if (p > start) words.emplace_back(start, p);
  }
  if (words.empty()) return 0;
  const int mode = FormatKeyword(words[0].c_str());
  if (mode < 0) return 0;
  s.saveMode = mode;
  const char* second = words.size() > 1 ? words[1].c_str() : "";
  switch (mode) {
    case kFormatJpeg: {
      const int q = std::atoi(second);
      if (q != 0 && q < 100) s.jpegPower = q;
      return 1;
    }
    case kFormatTga:
      if (Starts(second, "non"))
        s.tgaCompression = 0;
      else if (*second)
        s.tgaCompression = std::atoi(second) != 0 ? 1 : 0;
      return 1;
    case kFormatSun24:
      if (std::atoi(second) == 32) s.saveMode = kFormatSun32;
      return 1;
  }
  PaletteSettings* p = PaletteOf(s, mode);
  if (!p) return 1;
  if (mode == kFormatIlbm || mode == kFormatBmp) p->palette = kPaletteTrue24;
  for (size_t i = 1; i < words.size(); ++i) {
    const char* w = words[i].c_str();
    if (*w >= '0' && *w <= '9')
      p->colors = std::clamp(std::atoi(w), 16, 256);
    else if (Starts(w, "fix"))
      p->palette = kPalettePreset;
    else if (Starts(w, "user"))
      p->palette = kPaletteUser;
    else if (Starts(w, "quant") || Starts(w, "glob"))
      p->palette = kPaletteGlobal;
    else if (Starts(w, "loca"))
      p->palette = kPaletteLocal;
    else if (Starts(w, "b24"))
      p->palette = kPaletteTrue24;
    else if (Starts(w, "b32"))
      p->palette = kPaletteTrue32;
    else if (Starts(w, "nodither"))
      p->dither = kDitherNone;
    else if (Starts(w, "dither"))
      p->dither = kDitherFloyd;
    else if (Starts(w, "mat") || Starts(w, "tram"))
      p->dither = kDitherMatrix;
  }
  return 1;
}

void SetExtension(std::string* path) {
  const std::vector<std::string> ext = Extensions(CurrentSaveSettings().saveMode);
  if (ext.empty()) return;
  for (const std::string& e : ext)
    if (HasExtension(path->c_str(), e.c_str())) return;
  const size_t slash = path->find_last_of("/\\");
  const size_t dot = path->find_last_of('.');
  if (dot != std::string::npos && (slash == std::string::npos || dot > slash)) path->resize(dot);
  *path += ext[0];
}

bool AskOverwrite(const char* path) {
  if (MainSet.zorro || !FileExists(path)) return true;
  char text[kAskTextSize];
  std::snprintf(text, sizeof text, "%s\nThis file already exists!\nDo you want to overwrite it?",
                path);
  return Ask(text, " Yes ", " No ") == 1;
}

namespace {

int LoadInto(const char* path, bool stretch, bool ask) {
  std::vector<uint8_t> bytes;
  int w = 0, h = 0;
  const int type = CheckedFileBytes(path, &bytes, &w, &h);
  if (type < 0) return -1;
  if (type == kFormatProject && ask) {
    char text[kAskTextSize];
    std::snprintf(text, sizeof text, "%s\nis a Project file.\nLoad it anyway?", path);
    if (Ask(text, " Yes ", " No ") != 1) return -1;
  }
  if (w == Ws.pageWidth && h == Ws.pageHeight) {
    stretch = false;
  } else if (ask && w > 0 && h > 0) {
    char text[kAskTextSize];
    std::snprintf(text, sizeof text,
                  "This Image has a Different Size.\nPage:  %4d x %4d Pixels\nImage: %4d x %4d "
                  "Pixels",
                  Ws.pageWidth, Ws.pageHeight, w, h);
    if (AskOption(text, "Load", "Cancel", "Stretch Picture", &stretch) != 1) return -1;
    CurrentSaveSettings().stretch = stretch ? 1 : 0;
  }
  // A header may claim any size: the stretch's source Block is held to what a page could be.
  if (stretch && !PictureFits(w, h)) {
    Message(" Not enough memory");
    return -1;
  }
  if (type == kFormatProject) return LoadProject(path, false, stretch, false) == 0 ? 0 : -1;
  Block* page = Ws.page;
  if (!page) return -1;
  // The file goes to a copy first, so a bad file leaves the image as it was.
  BlockPtr scratch(stretch && w > 0 && h > 0 ? NewBlock(w, h)
                                             : AllocBlock(page->width, page->height));
  if (!scratch) {
    Message(" Not enough memory");
    return -1;
  }
  if (!stretch)
    std::memcpy(scratch->data, page->data, static_cast<size_t>(page->width) * page->height * 4);
  if (LoadBytesIntoBlock(bytes, path, scratch.get(), -1) != 0) return -1;
  SaveUndo();
  MarkUndo(0, "Load Image");
  if (stretch)
    Stretch(*scratch, page);
  else
    std::memcpy(page->data, scratch->data, static_cast<size_t>(page->width) * page->height * 4);
  MarkChanged(0, 0, page->width - 1, page->height - 1);
  RedrawAll();
  return 0;
}

}  // namespace

int LoadImageInto(const char* path, bool stretch) {
  return LoadInto(path, stretch, false);
}

int LoadImage(const char* path) {
  return LoadInto(path, CurrentSaveSettings().stretch != 0, true);
}

namespace {

std::string HoldPath() {
  const RunPaths& p = Paths();
  const std::string& dir = !p.fastSavePath.empty() ? p.fastSavePath : p.tempDir;
  if (dir.empty()) return "Quadrel.tmp";
  const bool separated = dir.back() == '/' || dir.back() == '\\';
  return dir + (separated ? "" : "/") + "Vela.tmp";
}

bool g_held = false;
void RemoveHeld() {
  std::remove(HoldPath().c_str());
}

}  // namespace

int Hold() {
  if (!Ws.page) return -1;
  // Raw 32-bit TGA keeps every pixel as it is; the file is ours alone and gone at exit.
  SaveSettings s;
  s.tgaCompression = 0;
  if (SaveTga(HoldPath().c_str(), *Ws.page, s) != 0) return -1;
  if (!g_held) std::atexit(RemoveHeld);
  g_held = true;
  return 0;
}

int Fetch(bool quiet) {
  std::vector<uint8_t> bytes;
  if (!g_held || !Ws.page || ReadWholeFile(HoldPath().c_str(), &bytes) != ReadStatus::kOk) {
    if (!quiet) Message("Nothing to fetch!");
    return -1;
  }
  SaveUndo();
  MarkUndo(0, "Fetch");
  if (LoadTga(bytes, Ws.page) != 0) return -1;
  MarkChanged(0, 0, Ws.page->width - 1, Ws.page->height - 1);
  RedrawAll();
  return 0;
}

int SaveImage(const char* path) {
  if (!path || !Ws.page) return -1;
  BlockPtr merged(AllocBlock(Ws.page->width, Ws.page->height));
  if (!merged) {
    Message(" Not enough memory for saving Image!");
    return -1;
  }
  MergedRow(0, 0, merged->data, merged->width, merged->height, 0);
  const SaveSettings& s = CurrentSaveSettings();
  return SaveBlockAs(path, *merged, s.saveMode, s);
}

}  // namespace vela
