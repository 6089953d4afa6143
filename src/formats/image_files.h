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

// True when the save may go on. Until the Requesters exist the question takes its first answer.
bool AskOverwrite(const char* path);

// Loads a picture or a project into the current image; 0, or -1 after its message.
int LoadImage(const char* path);
// Saves the composed page in the current mode; 0, or -1 after its message.
int SaveImage(const char* path);

}  // namespace vela
