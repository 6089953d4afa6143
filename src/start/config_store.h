// The configuration store: one text file per named configuration, <HomeDir>/configs/<name>.ini,
// held in memory as sections of key and value strings for the whole run.
//
// A new section or key goes to the head of its list, so a file that is read and written comes out
// in reverse order. A key with an empty value is not written and so is gone after a reload.
#pragma once

#include <string>

namespace vela {

struct ConfigSnapshot;

void ConfigOpen(const char* name);  // null or empty closes
// Case-insensitive lookup. A value shorter than capacity is copied with its terminator, a longer
// one is cut to capacity characters with no terminator. A missing key copies def (which may be
// dest itself). A null key lists the keys, each ended by a zero, the list by a second zero.
// Returns the length placed in dest.
int ConfigGet(const char* section, const char* key, char* dest, const char* def, int capacity);
int ConfigPut(const char* section, const char* key, const char* value);
const char* ConfigName();
int ConfigFlush();
int ConfigCopyTo(const char* name);
int ConfigGetFrom(const char* path, const char* section, const char* key, char* dest,
                  const char* def, int capacity);

ConfigSnapshot* ConfigSnapshotRead(const char* path);  // null if the file cannot be read
int ConfigSnapshotGet(ConfigSnapshot* snapshot, const char* section, const char* key, char* dest,
                      const char* def, int capacity);
int ConfigSnapshotPut(ConfigSnapshot* snapshot, const char* section, const char* key,
                      const char* value);
void ConfigSnapshotWrite(ConfigSnapshot* snapshot);  // writes only if something was put; frees

// The file of a configuration name: <HomeDir>/configs/<name>.ini.
std::string ConfigPath(const char* name);
// The path of the open file, empty while none is open.
const std::string& ConfigOpenPath();

}  // namespace vela
