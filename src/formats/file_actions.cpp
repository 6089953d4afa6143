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

void SaveImageAction() {
  // "Save PNG Image" and so on, after the mode's label.
  std::string label = "Image";
  const int row = SaveModeRowFor(CurrentSaveSettings().saveMode);
  if (row >= 0 && row < static_cast<int>(SaveModeRows().size())) {
    label = SaveModeRows()[row].label;
    while (!label.empty() && label.front() == ' ') label.erase(label.begin());
    label += " Image";
  }
  std::string path = AskPath(("Save " + label).c_str(), "");
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
