// The machine-wide ini file, read and written as the host's profile routines do: sections and
// keys match case-insensitively, each write goes to the file at once, and the order of lines and
// any lines it does not understand are kept. Not the configuration store.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vela {

// Copies the value (or default) into dest, cut to capacity - 1 characters and terminated.
// A null key lists the keys of the section, each ended by a zero, the list by a second zero.
// Returns the number of characters placed, not counting the terminator.
int GetPrivateProfileString(const char* section, const char* key, const char* def, char* dest,
                            int capacity, const char* file);
// The leading decimal integer of the value, or def when the key is missing.
int GetPrivateProfileInt(const char* section, const char* key, int def, const char* file);
// A null value deletes the key; a null key deletes the section. Returns false if the file
// cannot be written.
bool WritePrivateProfileString(const char* section, const char* key, const char* value,
                               const char* file);

// $XDG_CONFIG_HOME/vela/Vela.INI, else ~/.config/vela/Vela.INI; an existing file whose name
// differs only in case is taken instead.
std::string DefaultIniPath();

// Reads a whole file of at most limit bytes; false if it cannot be read or is larger.
bool ReadWholeFile(const char* path, size_t limit, std::string* out);
// Writes a temporary file in the target's folder and renames it over the target, so the old
// file stays whole if anything fails. Missing folders are made.
bool WriteFileAtomic(const char* path, std::string_view data);

}  // namespace vela
