// Start of the cache from the run's settings. Apart from disk_cache.cpp so that the cache itself
// can be used without the configuration store.
#include "host/profile.h"
#include "pixels/disk_cache.h"
#include "start/config_store.h"
#include "start/run_paths.h"

namespace vela {

int CacheStart() {
  char size[64];
  GetPrivateProfileString("Startup", "CacheSize", "-1", size, sizeof size, Paths().iniPath.c_str());
  char temp[kTempDirCapacity];
  ConfigGet("Main", "temp", temp, "", sizeof temp);
  return CacheStartWithLimit(ParseCacheSize(size, temp));
}

}  // namespace vela
