// The file side of images in a run: the save settings in the configuration, the script's save
// mode word, extensions, and loading a file into the current image or saving the page.
#pragma once

#include <string>

namespace vela {

// The save settings from and to the section "IO" of the configuration store.
void LoadSaveSettings();
void StoreSaveSettings();

// Script entry: writes the current mode into result, then reads a new one from the argument.
// 1 when the argument named a format, 0 when nothing changed.
int SaveMode(const char* argument, char* result, size_t capacity);

// Gives the path the extension of the current mode unless it already has one of the mode's.
void SetExtension(std::string* path);

// True when the save may go on: the file is new, the question is switched off (Zorro,
// NOERASEALERT), or the user answers " Yes ".
bool AskOverwrite(const char* path);

// Loads a picture or a project into the current image, stretched to the page or placed at its
// top left; 0, or -1 after its message. LoadImage takes the "Stretch Picture" setting and asks
// before it loads a project.
int LoadImageInto(const char* path, bool stretch);
int LoadImage(const char* path);

// Keeps the current image in a file of the run, and brings it back ("Nothing to fetch!" unless
// quiet). 0 or -1.
int Hold();
int Fetch(bool quiet);
// Saves the composed page in the current mode; 0, or -1 after its message.
int SaveImage(const char* path);

}  // namespace vela
