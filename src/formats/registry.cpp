// The format table, the sniffer, the central loader and the save dispatch.
#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "formats/coders.h"
#include "formats/project_file.h"
#include "formats/registry.h"
#include "start/message.h"

namespace vela {

namespace {

// Formats whose coders come later (DEEP, delta, ILBM, GIF, PSD, project, movies) have no row
// yet: the sniffer and the loader pass them by, and a save in their mode does nothing.
constexpr FormatCoder kCoders[] = {
    {kFormatTga, ".tga .vst", ProbeTga, InfoTga, LoadTga, SaveTga},
    {kFormatRendition, ".6rn", ProbeRendition, InfoRendition, LoadRendition, SaveRendition},
    {kFormatJpeg, ".jpg", ProbeJpeg, InfoJpeg, LoadJpeg, SaveJpeg},
    {kFormatPpm, nullptr, ProbePpm, InfoPpm, LoadPpm, nullptr},
    {kFormatDmim, nullptr, ProbeDmim, InfoDmim, LoadDmim, nullptr},
    {kFormatSun, nullptr, ProbeSun, InfoSun, LoadSun, nullptr},
    {kFormatSun24, ".ras", nullptr, InfoSun, LoadSun, SaveSun24},
    {kFormatSun32, ".ras", nullptr, InfoSun, LoadSun, SaveSun32},
    {kFormatBmp, ".bmp", ProbeBmp, InfoBmp, LoadBmp, SaveBmp},
    {kFormatPcx, ".pcx", ProbePcx, InfoPcx, LoadPcx, SavePcx},
    {kFormatSoftimage, ".pic", ProbeSoftimage, InfoSoftimage, LoadSoftimage, SaveSoftimage},
    {kFormatPng, ".png", ProbePng, InfoPng, LoadPng, SavePng},
};

// The sniffer's order after the FORM test, and the loader's own order.
constexpr int kSniffOrder[] = {kFormatSun,       kFormatGif,  kFormatSoftimage, kFormatPpm,
                               kFormatDmim,      kFormatBmp,  kFormatPsd,       kFormatPcx,
                               kFormatRendition, kFormatJpeg, kFormatPng,       kFormatTga,
                               kFormatMovie};
constexpr int kLoadOrder[] = {kFormatGif, kFormatBmp, kFormatPsd,  kFormatSoftimage,
                              kFormatPcx, kFormatSun, kFormatJpeg, kFormatPng,
                              kFormatPpm, kFormatTga, kFormatMovie};
constexpr int kLoadOrderLate[] = {kFormatRendition, kFormatDmim};

struct Keyword {
  const char* word;
  int number;
};
constexpr Keyword kKeywords[] = {
    {"quadrel", 0}, {"dip", 0},      {"deep", 0},       {"qddc", 1},     {"ilbm12", 5},
    {"ilbm8", 20},  {"ilbm", 2},     {"lbm", 2},        {"iff", 2},      {"tga", 3},
    {"vst", 3},     {"targa", 3},    {"fli", 26},       {"flc", 26},     {"rendition", 4},
    {"6rn", 4},     {"psd", 29},     {"photoshop", 29}, {"png", 28},     {"softimage", 23},
    {"pic", 23},    {"sparrow", 30}, {"jpeg", 7},       {"jpg", 7},      {"jif", 7},
    {"avi", 25},    {"bmp", 21},     {"pcx", 22},       {"windows", 21}, {"gif", 13},
    {"Sun", 15},    {"Ras", 15},
};

bool StartsWith(const char* word, const char* head) {
  return strncasecmp(word, head, std::strlen(head)) == 0;
}

const FormatModule* const kModules[] = {&kTiffModule, &kSgiModule};

}  // namespace

const FormatCoder* CoderFor(int number) {
  for (const FormatCoder& c : kCoders)
    if (c.number == number) return &c;
  return nullptr;
}

bool HasExtension(const char* path, const char* ext) {
  if (!path) return false;
  const size_t n = std::strlen(path), e = std::strlen(ext);
  return n >= e && strcasecmp(path + n - e, ext) == 0;
}

SaveSettings& CurrentSaveSettings() {
  static SaveSettings settings;
  return settings;
}

// ---- Modules ---------------------------------------------------------------------------------

std::span<ModuleContext* const> FormatModules() {
  static std::vector<ModuleContext*> contexts = [] {
    // The contexts live for the process, as the modules do.
    static std::vector<std::unique_ptr<ModuleContext>> owned;
    std::vector<ModuleContext*> list;
    const auto& rows = SaveModeRows();
    for (const FormatModule* m : kModules) {
      ModuleContext* c = owned.emplace_back(std::make_unique<ModuleContext>()).get();
      c->module = m;
      for (const SaveModeRow& r : rows)
        if (r.module == m) c->number = r.number;
      if (m->Open) m->Open(c);
      list.push_back(c);
    }
    return list;
  }();
  return contexts;
}

ModuleContext* ModuleByNumber(int number) {
  if (number < kFormatModuleBase) return nullptr;
  for (ModuleContext* c : FormatModules())
    if (c->number == number) return c;
  return nullptr;
}

// ---- Save-mode menu --------------------------------------------------------------------------

const std::vector<SaveModeRow>& SaveModeRows() {
  static const std::vector<SaveModeRow> rows = [] {
    std::vector<SaveModeRow> r = {
        {" AVI ", 25},         {" DEEP ", 0}, {" FLC ", 26},        {" GIF", 13},
        {" SPARROW CLIP", 30}, {"", -2},      {" BMP", 21},         {" ILBM", 2},
        {" JPEG ", 7},         {" PCX", 22},  {" SUN RASTER ", 15}, {" SOFTIMAGE ", 23},
        {" PNG ", 28},         {" PSD ", 29}, {" TGA 32", 3},
    };
    // A module's number is 256 plus the row it is added at; then the rows behind the separator
    // are sorted by label.
    for (const FormatModule* m : kModules) {
      SaveModeRow row{m == &kTiffModule ? " TIFF V6.0 " : " SGI Image ",
                      kFormatModuleBase + static_cast<int>(r.size())};
      row.module = m;
      r.push_back(row);
    }
    auto sep =
        std::find_if(r.begin(), r.end(), [](const SaveModeRow& x) { return x.number == -2; });
    std::stable_sort(sep + 1, r.end(), [](const SaveModeRow& a, const SaveModeRow& b) {
      return strcasecmp(a.label, b.label) < 0;
    });
    return r;
  }();
  return rows;
}

int SaveModeRowFor(int mode) {
  if (mode == kFormatIlbm12 || mode == kFormatIlbm8) mode = kFormatIlbm;
  if (mode == kFormatSun32) mode = kFormatSun24;
  const auto& rows = SaveModeRows();
  for (size_t i = 0; i < rows.size(); ++i)
    if (rows[i].number == mode && mode != -2) return static_cast<int>(i);
  return -1;
}

// ---- Keywords --------------------------------------------------------------------------------

int FormatKeyword(const char* word) {
  if (!word) return -1;
  for (const Keyword& k : kKeywords)
    if (StartsWith(word, k.word)) return k.number;
  for (ModuleContext* c : FormatModules())
    if (StartsWith(word, c->module->keyword)) return c->number;
  return -1;
}

// ---- Sniffing --------------------------------------------------------------------------------

namespace {

bool IsForm(Bytes f) {
  return f.size() >= 4 && std::memcmp(f.data(), "FORM", 4) == 0;
}

bool FormType(Bytes f, const char* type) {
  return f.size() >= 12 && std::memcmp(f.data() + 8, type, 4) == 0;
}

int Sized(const FormatCoder* c, Bytes f, int number, int* w, int* h) {
  if (c->info && !c->info(f, w, h)) {
    *w = *h = 0;
    // These formats answer only when their own header reads.
    if (number == kFormatDeep || number == kFormatProject || number == kFormatIlbm ||
        number == kFormatTga)
      return -1;
  }
  return number;
}

}  // namespace

int FileTypeOfBytes(Bytes f, const char* path, int* width, int* height) {
  int w = 0, h = 0;
  int* pw = width ? width : &w;
  int* ph = height ? height : &h;
  *pw = *ph = 0;
  if (IsForm(f)) {
    int number = -1;
    if (FormType(f, "DEEP"))
      number = kFormatDeep;
    else if (FormType(f, "QDPP"))
      number = kFormatProject;
    else if (FormType(f, "ILBM") || FormType(f, "PBM ") || FormType(f, "RGB8"))
      number = kFormatIlbm;
    // A project answers only when it names the size of its pictures.
    if (number == kFormatProject) {
      if (ProjectInfoOfBytes(f, pw, ph) && *pw > 0 && *ph > 0) return number;
      *pw = *ph = 0;
      return -1;
    }
    // DEEP and the ILBM family wait for their coders.
    if (number >= 0) {
      const FormatCoder* c = CoderFor(number);
      return c ? Sized(c, f, number, pw, ph) : -1;
    }
  }
  for (int number : kSniffOrder) {
    const FormatCoder* c = CoderFor(number);
    if (c && c->probe && c->probe(f, path)) return Sized(c, f, number, pw, ph);
  }
  for (ModuleContext* m : FormatModules()) {
    if (m->module->Probe(m, path, f) != 0) continue;
    if (m->module->Info(m, f, pw, ph) != 0) *pw = *ph = 0;
    return m->number;
  }
  return -1;
}

namespace {

// The type of a file with its bytes, read once so that the load sees what was sniffed. A
// project is sniffed where it lies (it may be larger than a picture file can be) and gives no
// bytes. *status tells why nothing was read.
int SniffFile(const char* path, std::vector<uint8_t>* bytes, int* w, int* h, ReadStatus* status) {
  bytes->clear();
  *w = *h = 0;
  int pw = 0, ph = 0;
  if (ProjectInfo(path, &pw, &ph)) {
    *status = ReadStatus::kOk;
    if (pw < 1 || ph < 1) return -1;
    *w = pw, *h = ph;
    return kFormatProject;
  }
  *status = ReadWholeFile(path, bytes);
  if (*status != ReadStatus::kOk) return -1;
  return FileTypeOfBytes(*bytes, path, w, h);
}

}  // namespace

int FileType(const char* path, int* width, int* height) {
  std::vector<uint8_t> bytes;
  int w, h;
  ReadStatus status;
  const int type = SniffFile(path, &bytes, &w, &h, &status);
  if (width) *width = w;
  if (height) *height = h;
  return type;
}

int CheckedFileBytes(const char* path, std::vector<uint8_t>* bytes, int* width, int* height) {
  if (!FileExists(path)) {
    MessageF("%s\nFile not found!", path ? path : "");
    return -1;
  }
  ReadStatus status;
  const int type = SniffFile(path, bytes, width, height, &status);
  if (status == ReadStatus::kTooLarge)
    Message(" Not enough memory");
  else if (type < 0)
    MessageF("%s\nUnknown file format", path);
  return type;
}

int CheckedFileType(const char* path, int* width, int* height) {
  std::vector<uint8_t> bytes;
  return CheckedFileBytes(path, &bytes, width, height);
}

// ---- Loading ---------------------------------------------------------------------------------

namespace {

int LoadIff(Bytes f) {
  if (f.size() < 12 || !IsForm(f)) {
    Message("Unknown file format");
    return -1;
  }
  // DEEP, QDPP and RGB8 go to coders that come later.
  if (FormType(f, "QDPP")) {
    Message("This is a Project file.\nYou must use Load project!");
    return -1;
  }
  if (FormType(f, "DEEP") || FormType(f, "RGB8")) {
    Message("Unknown file format");
    return -1;
  }
  if (!FormType(f, "ILBM") && !FormType(f, "PBM ")) {
    Message(FormType(f, "QDP2") ? "This is not an image file!" : "Unknown IFF format");
    return -1;
  }
  if (f.size() < 40) {
    Message("Bad file");
    return -1;
  }
  Message("Unknown file format");
  return -1;
}

}  // namespace

int LoadBytesIntoBlock(Bytes f, const char* path, Block* block, int frame) {
  if (!block) return -1;
  auto tryOrder = [&](std::span<const int> order, int* result) {
    for (int number : order) {
      const FormatCoder* c = CoderFor(number);
      if (c && c->probe && c->load && c->probe(f, path)) {
        *result = c->load(f, block);
        return true;
      }
    }
    return false;
  };
  int result = -1;
  if (tryOrder(kLoadOrder, &result)) return result;
  for (ModuleContext* m : FormatModules())
    if (m->module->Probe(m, path, f) == 0) return m->module->Load(m, f, block);
  if (tryOrder(kLoadOrderLate, &result)) return result;
  return LoadIff(f);
}

int LoadFileIntoBlock(const char* path, Block* block, int frame) {
  std::vector<uint8_t> bytes;
  errno = 0;
  switch (ReadWholeFile(path, &bytes)) {
    case ReadStatus::kOk:
      break;
    case ReadStatus::kMissing:
      MessageF("%s\n%s", path ? path : "", "File not found!");
      return -1;
    case ReadStatus::kTooLarge:
      Message(" Not enough memory");
      return -1;
    case ReadStatus::kError:
      MessageF("%s\n%s", path, errno ? std::strerror(errno) : "Can't open file");
      return -1;
  }
  return LoadBytesIntoBlock(bytes, path, block, frame);
}

BlockPtr LoadImageBlock(const char* path) {
  std::vector<uint8_t> bytes;
  int w = 0, h = 0;
  const int type = CheckedFileBytes(path, &bytes, &w, &h);
  if (type < 0) return nullptr;
  if (type == kFormatProject) {
    Message("This is a Project file.\nYou must use Load project!");
    return nullptr;
  }
  if (w < 1 || h < 1) {
    MessageF("%s\nUnknown file format", path);
    return nullptr;
  }
  // A header may claim any size: the Block is held to what a page could be.
  BlockPtr b(PictureFits(w, h) ? NewBlock(w, h) : nullptr);
  if (!b) {
    Message(" Not enough memory");
    return nullptr;
  }
  if (LoadBytesIntoBlock(bytes, path, b.get(), -1) != 0) return nullptr;
  return b;
}

// ---- Saving ----------------------------------------------------------------------------------

int SaveBlockAs(const char* path, const Block& block, int format, const SaveSettings& settings) {
  if (ModuleContext* m = ModuleByNumber(format)) return m->module->Save(m, path, block);
  const FormatCoder* c = CoderFor(format);
  if (!c || !c->save) return -1;
  return c->save(path, block, settings);
}

}  // namespace vela
