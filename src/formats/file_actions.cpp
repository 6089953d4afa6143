// Until the file browser exists, a path is asked through a text prompt that starts from the
// project's own path, so a person can still load and save by name.
#include "formats/file_actions.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "formats/formats.h"
#include "formats/image_files.h"
#include "formats/project_file.h"
#include "formats/registry.h"
#include "start/ask.h"

namespace vela {

namespace {

constexpr int kPathCapacity = 1024;

// The path the user typed, or empty when cancelled or blank.
std::string AskPath(const char* title, const std::string& start) {
  char path[kPathCapacity];
  std::snprintf(path, sizeof path, "%s", start.c_str());
  if (!AskText(title, path, sizeof path)) return {};
  return path;
}

void LoadProjectAction() {
  const std::string path = AskPath("Load Project", ProjectFileName());
  if (!path.empty()) LoadProject(path.c_str(), true, false, true);
}

void SaveProjectAction() {
  const std::string path = AskPath("Save Project", ProjectFileName());
  if (path.empty() || !AskOverwrite(path.c_str())) return;
  SaveProject(path.c_str());
}

void ImportImageAction() {
  const std::string path = AskPath("Load Image", "");
  if (!path.empty()) LoadImage(path.c_str());
}

// The prompt's title names the format, not the menu row: rows are padded, and one row stands for
// several formats (ILBM, ILBM12, ILBM8; Sun 24 and 32 bits).
std::string SaveImageTitle(int mode) {
  struct Title {
    int mode;
    const char* name;
  };
  static const Title kTitles[] = {
      {0, "DEEP"},    {1, "Delta"},  {2, "ILBM"}, {3, "TGA"},        {4, "Rendition"},
      {5, "ILBM12"},  {20, "ILBM8"}, {7, "JPEG"}, {13, "GIF"},       {15, "SUN 24"},
      {16, "SUN 32"}, {21, "BMP"},   {22, "PCX"}, {23, "SOFTIMAGE"}, {25, "AVI"},
      {26, "FLC"},    {28, "PNG"},   {29, "PSD"},
  };
  for (const Title& t : kTitles)
    if (t.mode == mode) return std::string("Save ") + t.name + " Image";
  const int row = SaveModeRowFor(mode);
  if (row < 0 || row >= static_cast<int>(SaveModeRows().size())) return "Save Image";
  std::string label = SaveModeRows()[row].label;
  label.erase(0, label.find_first_not_of(' '));
  label.erase(label.find_last_not_of(' ') + 1);
  return "Save " + (label.empty() ? std::string() : label + " ") + "Image";
}

void SaveImageAction() {
  std::string path = AskPath(SaveImageTitle(CurrentSaveSettings().saveMode).c_str(), "");
  if (path.empty()) return;
  SetExtension(&path);
  if (!AskOverwrite(path.c_str())) return;
  SaveImage(path.c_str());
}

const ActionRow kRows[] = {
    {"LoadProject", LoadProjectAction}, {"SaveProject", SaveProjectAction},
    {"ImportImage", ImportImageAction}, {"SaveImage", SaveImageAction},
    {"Hold", [] { Hold(); }},           {"Fetch", [] { Fetch(false); }},
};

}  // namespace

std::span<const ActionRow> FileActions() {
  return kRows;
}

}  // namespace vela
