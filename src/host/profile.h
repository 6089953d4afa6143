// The machine-wide ini file, read and written as the host's profile routines do: sections and
// keys match case-insensitively, each write goes to the file at once, and the order of lines and
// any lines it does not understand are kept. Not the configuration store.
#pragma once

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

}  // namespace vela
