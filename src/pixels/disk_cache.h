// The key-addressed store of all packed pixel data. Entries live in memory as chains of 512-byte
// blocks cut from 512 KB slabs; the oldest spill to one scratch file per process, also in
// 512-byte blocks. Callers know a key, a size and the bytes; nothing else.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vela {

constexpr int kCacheBlock = 512;

// Sizes the cache from CacheSize of Startup (ini) and temp of Main, removes scratch files that
// killed runs of this user left in Paths().tempDir, opens its own there and arms its deletion at
// exit and on every signal that ends the process. 1, or 0 when no file could be made.
int CacheStart();
// The same with a given limit in bytes, -1 for automatic.
int CacheStartWithLimit(int64_t limit);
// Frees all memory, closes and deletes the scratch file. Safe to call twice.
void CacheStop();

// mode 0: memory preferred; 1: straight to disk when memory lacks; 2: memory only, discardable.
int CachePut(int32_t key, const void* bytes, int32_t size, int mode);
int CacheGet(int32_t key, void* dest, int32_t capacity, int noLoad);
int CacheCompare(int32_t key, const void* bytes, int32_t size);
int CacheDelete(int32_t key);
// Idle step: writes the oldest entry that has no disk copy, keeping it in memory. 1 if written.
int CacheWriteOne();
void CacheTrim();
// 0: bytes held in memory, 1: bytes held on disk, 2: bytes of memory blocks, 3: bytes of the file.
int64_t CacheStats(int which);
int32_t NextKey();

// Sets the limit (the developer panel's "Cache size"); -1 is automatic. Trims.
void CacheSetLimit(int64_t limit);
// Size of the cache from the two keys: the ini value (default "-1"), then temp of Main when it
// is a number; a path there leaves the ini value.
int64_t ParseCacheSize(const char* startupCacheSize, const char* mainTemp);

// Bytes of work buffers that users of the cache hold; counted against the automatic limit.
extern int64_t CacheScratchBytes;

// What the cache asks of the host. Tests replace it to count calls and inject failures.
struct CacheHostOps {
  int (*open)(const char* path);  // create exclusively, mode 0600, read and write; fd or -1
  bool (*write)(int fd, const void* bytes, size_t size, int64_t offset);
  bool (*read)(int fd, void* bytes, size_t size, int64_t offset);
  bool (*extend)(int fd, int64_t newSize);
  void (*close)(int fd);
  int64_t (*diskFree)(const char* dir);  // -1 when unknown
  int64_t (*physicalMemory)();
  uint32_t (*clock)();  // milliseconds
  void* (*allocSlab)(size_t bytes);
  void (*freeSlab)(void* slab);
};
const CacheHostOps& DefaultCacheHostOps();
// Returns the previous table; null restores the default.
const CacheHostOps* SetCacheHostOps(const CacheHostOps* ops);

// Internal counts, for tests and the developer panel.
struct CacheCounts {
  int64_t quota;
  int64_t freeCount;
  int64_t allocated;
  int64_t entries;
  int64_t tombstones;
  int64_t slabs;
  int64_t emptySlots;
  int64_t diskFree;  // free blocks of the file
  int64_t limit;
};
CacheCounts GetCacheCounts();
// Where an entry lies: 1 in memory, 2 on disk, 3 both, 0 absent or empty.
int CacheWhere(int32_t key);
const char* CacheFilePath();

}  // namespace vela
