// The configuration store: one text file per named configuration, <HomeDir>/configs/<name>.ini,
// held in memory as sections of key and value strings for the whole run.
#pragma once

namespace vela {

struct ConfigSnapshot;

void ConfigOpen(const char* name);  // null or empty closes
int ConfigGet(const char* section, const char* key, char* dest, const char* def, int capacity);
int ConfigPut(const char* section, const char* key, const char* value);
const char* ConfigName();
int ConfigFlush();
int ConfigCopyTo(const char* name);
int ConfigGetFrom(const char* path, const char* section, const char* key, char* dest,
                  const char* def, int capacity);

ConfigSnapshot* ConfigSnapshotRead(const char* path);
int ConfigSnapshotGet(ConfigSnapshot* snapshot, const char* section, const char* key, char* dest,
                      const char* def, int capacity);
int ConfigSnapshotPut(ConfigSnapshot* snapshot, const char* section, const char* key,
                      const char* value);
void ConfigSnapshotWrite(ConfigSnapshot* snapshot);

}  // namespace vela
