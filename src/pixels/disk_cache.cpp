#include "pixels/disk_cache.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <vector>

#include "pixels/block.h"
#include "start/message.h"
#include "start/run_paths.h"

namespace vela {

int64_t CacheScratchBytes = 0;

namespace {

constexpr int kSlabSlots = 1024;
constexpr size_t kSlabBytes = 0x80000;
constexpr int kEntryGrowth = 256;
constexpr int kFileGrowthBlocks = 512;
constexpr int64_t kFreeCheckBytes = 0xA00000;
constexpr int64_t kWarnStep = 0xA00000;
constexpr int64_t kWarnDefault = 0x1E00000;
constexpr int64_t kPlentyFree = 0x3C00000;
constexpr int kMaxTombstones = 256;
constexpr int kCompactEmptySlots = 2048;

struct MemBlock {
  MemBlock* next;
  int32_t slot;
};

struct DiskPair {
  int32_t block;
  int32_t bytes;
};

struct CacheEntry {
  int32_t key;
  int32_t size;
  MemBlock* chain;
  DiskPair* disk;
  uint32_t stamp;
  uint16_t discardable;
  uint16_t deleted;
};

struct Slot {
  uint8_t* addr;
  uint8_t* slab;
  MemBlock* record;  // null: no block record for this slot (an empty slot)
  int32_t inUse;
};

struct CacheState {
  std::vector<CacheEntry> entries;
  int tombstones = 0;

  std::vector<Slot> slots;  // slab s owns slots [s * 1024, s * 1024 + 1024)
  std::vector<uint8_t*> slabs;
  MemBlock* freeList = nullptr;
  int64_t freeCount = 0;
  int64_t quota = 0;
  int64_t allocated = 0;
  int64_t emptySlots = 0;
  int64_t limit = -1;
  int64_t memBytes = 0;
  int64_t diskBytes = 0;

  int fd = -1;
  std::string dir;
  std::vector<uint64_t> bits;
  int64_t fileBlocks = 0;
  int64_t diskFreeBlocks = 0;
  int32_t nextHint = -1;
  int64_t lowestFree = 0;
  int64_t grownSinceCheck = 0;
  bool checkDone = false;
  int64_t warnLimit = kWarnDefault;
};

CacheState g;
int32_t g_nextKey = 1;
const CacheHostOps* g_ops = nullptr;

// Kept as plain storage so the signal handler may read it.
char g_path[kTempDirCapacity + 64];
bool g_exitArmed = false;
// Every signal whose default ends the process; SIGKILL cannot be caught, which is why a start
// also clears the files of runs that have gone.
constexpr int kEndingSignals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGILL,   SIGTRAP,   SIGABRT,
                                  SIGBUS,  SIGFPE,  SIGUSR1, SIGSEGV,  SIGUSR2,   SIGPIPE,
                                  SIGALRM, SIGTERM, SIGXCPU, SIGXFSZ,  SIGVTALRM, SIGPROF,
                                  SIGSYS,  SIGPWR,  SIGIO,   SIGSTKFLT};
constexpr int kSignalCount = sizeof kEndingSignals / sizeof kEndingSignals[0];
struct sigaction g_oldActions[kSignalCount];
bool g_signalsArmed = false;

const CacheHostOps& Ops() {
  return g_ops ? *g_ops : DefaultCacheHostOps();
}

int64_t Blocks(int64_t size) {
  return (size + kCacheBlock - 1) / kCacheBlock;
}
int64_t RamAvailable() {
  return (g.quota + g.freeCount) * kCacheBlock;
}
uint32_t Now() {
  return Ops().clock();
}

// ---- Host defaults ---------------------------------------------------------------------------

int HostOpen(const char* path) {
  return ::open(path, O_RDWR | O_CREAT | O_EXCL | O_TRUNC | O_CLOEXEC, 0600);
}

// Whole transfers only: a short read or write is retried, an end of file or error fails.
template <typename Byte, typename Io>
bool Transfer(Io io, int fd, Byte* p, size_t size, int64_t offset) {
  while (size > 0) {
    ssize_t n = io(fd, p, size, offset);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    size -= static_cast<size_t>(n);
    offset += n;
  }
  return true;
}

bool HostWrite(int fd, const void* bytes, size_t size, int64_t offset) {
  return Transfer(::pwrite, fd, static_cast<const uint8_t*>(bytes), size, offset);
}

bool HostRead(int fd, void* bytes, size_t size, int64_t offset) {
  return Transfer(::pread, fd, static_cast<uint8_t*>(bytes), size, offset);
}

bool HostExtend(int fd, int64_t newSize) {
  return ::ftruncate(fd, newSize) == 0;
}
void HostClose(int fd) {
  ::close(fd);
}

int64_t HostDiskFree(const char* dir) {
  struct statvfs st;
  if (::statvfs(dir && *dir ? dir : ".", &st) != 0) return -1;
  return static_cast<int64_t>(st.f_bavail) * static_cast<int64_t>(st.f_frsize);
}

int64_t HostPhysicalMemory() {
  long pages = ::sysconf(_SC_PHYS_PAGES);
  long size = ::sysconf(_SC_PAGESIZE);
  if (pages <= 0 || size <= 0) return 0;
  return static_cast<int64_t>(pages) * size;
}

uint32_t HostClock() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint32_t>(ts.tv_sec * 1000 + ts.tv_nsec / 1000000);
}

void* HostAllocSlab(size_t bytes) {
  return std::malloc(bytes);
}
void HostFreeSlab(void* slab) {
  std::free(slab);
}

// ---- Entries ---------------------------------------------------------------------------------

// Keys are issued in order, so the newest entry (the last) is the one most asked for.
int Find(int32_t key, bool withDeleted) {
  const auto& e = g.entries;
  if (e.empty() || key <= 0) return -1;
  int found = -1;
  if (e.back().key == key) {
    found = static_cast<int>(e.size()) - 1;
  } else if (e.front().key == key) {
    found = 0;
  } else if (key > e.front().key && key < e.back().key) {
    int lo = 0, hi = static_cast<int>(e.size()) - 1;
    while (lo <= hi) {
      int mid = (lo + hi) / 2;
      if (e[mid].key == key) {
        found = mid;
        break;
      }
      if (e[mid].key < key)
        lo = mid + 1;
      else
        hi = mid - 1;
    }
  }
  if (found < 0 || (!withDeleted && e[found].deleted)) return -1;
  return found;
}

void FreeEntryContents(CacheEntry& e);

void ClearAllEntries() {
  for (auto& e : g.entries) FreeEntryContents(e);
  g.entries.clear();
  g.tombstones = 0;
}

int Insert(int32_t key) {
  auto& e = g.entries;
  try {
    if (e.size() == e.capacity()) e.reserve(e.capacity() + kEntryGrowth);
  } catch (const std::bad_alloc&) {
    Message("Panic");
    ClearAllEntries();
    return -1;
  }
  CacheEntry fresh{key, 0, nullptr, nullptr, Now(), 0, 0};
  if (e.empty() || key > e.back().key) {
    e.push_back(fresh);
    return static_cast<int>(e.size()) - 1;
  }
  // A key below the highest comes back only after a compaction removed its tombstone.
  size_t at = 0;
  while (at < e.size() && e[at].key < key) ++at;
  e.insert(e.begin() + static_cast<ptrdiff_t>(at), fresh);
  return static_cast<int>(at);
}

// ---- Memory blocks ---------------------------------------------------------------------------

bool AddSlab() {
  auto* slab = static_cast<uint8_t*>(Ops().allocSlab(kSlabBytes));
  if (!slab) {
    Message(" Not enough memory");
    return false;
  }
  size_t s = 0;
  while (s < g.slabs.size() && g.slabs[s]) ++s;
  if (s == g.slabs.size()) {
    try {
      g.slabs.push_back(nullptr);
      g.slots.resize(g.slots.size() + kSlabSlots);
    } catch (const std::bad_alloc&) {
      Message("Panic");
      std::exit(1);
    }
  }
  g.slabs[s] = slab;
  int64_t made = 0;
  for (int i = 0; i < kSlabSlots; ++i) {
    Slot& slot = g.slots[s * kSlabSlots + i];
    slot = Slot{slab + i * kCacheBlock, slab, nullptr, 0};
    auto* mb = static_cast<MemBlock*>(std::malloc(sizeof(MemBlock)));
    if (!mb) {
      ++g.emptySlots;
      continue;
    }
    mb->slot = static_cast<int32_t>(s * kSlabSlots + i);
    mb->next = g.freeList;
    g.freeList = mb;
    slot.record = mb;
    ++made;
  }
  if (made < kSlabSlots) Message(" Not enough memory");
  g.freeCount += made;
  g.allocated += made;
  g.quota -= made;
  return made > 0;
}

MemBlock* TakeBlock() {
  if (!g.freeList && (g.quota < kSlabSlots || !AddSlab())) return nullptr;
  MemBlock* mb = g.freeList;
  g.freeList = mb->next;
  mb->next = nullptr;
  --g.freeCount;
  g.slots[mb->slot].inUse = 1;
  return mb;
}

void GiveBack(MemBlock* chain) {
  while (chain) {
    MemBlock* next = chain->next;
    g.slots[chain->slot].inUse = 0;
    chain->next = g.freeList;
    g.freeList = chain;
    ++g.freeCount;
    chain = next;
  }
}

void ReleaseRecord(MemBlock* mb) {
  Slot& slot = g.slots[mb->slot];
  slot.record = nullptr;
  slot.inUse = 0;
  std::free(mb);
  --g.allocated;
  ++g.emptySlots;
}

bool SlotEmpty(size_t i) {
  return g.slots[i].addr && !g.slots[i].record;
}

// Moves the used slots out of the last slab that has an empty one and frees that slab.
void CompactOneSlab() {
  ptrdiff_t victim = -1;
  for (ptrdiff_t s = static_cast<ptrdiff_t>(g.slabs.size()) - 1; s >= 0 && victim < 0; --s) {
    if (!g.slabs[s]) continue;
    for (int i = 0; i < kSlabSlots; ++i)
      if (SlotEmpty(s * kSlabSlots + i)) {
        victim = s;
        break;
      }
  }
  if (victim < 0) return;
  const size_t begin = victim * kSlabSlots, end = begin + kSlabSlots;
  int64_t used = 0, emptyInVictim = 0;
  for (size_t i = begin; i < end; ++i) (g.slots[i].record ? used : emptyInVictim)++;
  if (g.emptySlots - emptyInVictim < used) return;
  size_t target = 0;
  for (size_t i = begin; i < end; ++i) {
    MemBlock* rec = g.slots[i].record;
    if (!rec) continue;
    while ((target >= begin && target < end) || !SlotEmpty(target)) ++target;
    if (g.slots[i].inUse) std::memcpy(g.slots[target].addr, g.slots[i].addr, kCacheBlock);
    g.slots[target].record = rec;
    g.slots[target].inUse = g.slots[i].inUse;
    rec->slot = static_cast<int32_t>(target);
    g.slots[i].record = nullptr;
    g.slots[i].inUse = 0;
  }
  Ops().freeSlab(g.slabs[victim]);
  g.slabs[victim] = nullptr;
  for (size_t i = begin; i < end; ++i) g.slots[i] = Slot{};
  g.emptySlots -= kSlabSlots;
}

// ---- Disk blocks -----------------------------------------------------------------------------

bool BitSet(int64_t b) {
  return (g.bits[b >> 6] >> (b & 63)) & 1;
}

bool GrowFile() {
  if (!g.checkDone || g.grownSinceCheck >= kFreeCheckBytes) {
    int64_t free = Ops().diskFree(g.dir.c_str());
    if (free >= 0) {
      if (free < g.warnLimit) {
        Message("Warning!!!\nDisk is 99% full.");
        if (g.warnLimit > kWarnStep) g.warnLimit -= kWarnStep;
      }
      if (free > kPlentyFree) g.warnLimit = kWarnDefault;
    }
    g.checkDone = true;
    g.grownSinceCheck = 0;
  }
  const int64_t blocks = g.fileBlocks + kFileGrowthBlocks;
  if (blocks > INT32_MAX) return false;
  try {
    g.bits.resize(static_cast<size_t>(blocks / 64));
  } catch (const std::bad_alloc&) {
    Message(" Not enough memory");
    return false;
  }
  errno = 0;
  if (!Ops().extend(g.fd, blocks * kCacheBlock)) {
    g.bits.resize(static_cast<size_t>(g.fileBlocks / 64));
    Message(errno ? std::strerror(errno) : "Cache disk error");
    return false;
  }
  g.fileBlocks = blocks;
  g.diskFreeBlocks += kFileGrowthBlocks;
  g.grownSinceCheck += int64_t{kFileGrowthBlocks} * kCacheBlock;
  return true;
}

int32_t AllocDiskBlock() {
  int64_t b = -1;
  if (g.nextHint >= 0 && !BitSet(g.nextHint)) {
    b = g.nextHint;
  } else {
    if (g.diskFreeBlocks == 0 && !GrowFile()) return -1;
    for (int64_t w = g.lowestFree >> 6; w < static_cast<int64_t>(g.bits.size()); ++w) {
      uint64_t word = g.bits[w];
      if (w == (g.lowestFree >> 6)) word |= (uint64_t{1} << (g.lowestFree & 63)) - 1;
      if (word == ~uint64_t{0}) continue;
      b = w * 64 + __builtin_ctzll(~word);
      break;
    }
    if (b < 0) return -1;  // counts disagree with the map: cannot happen
    g.lowestFree = b + 1;
  }
  g.nextHint = -1;
  g.bits[b >> 6] |= uint64_t{1} << (b & 63);
  --g.diskFreeBlocks;
  return static_cast<int32_t>(b);
}

void FreeDiskBlock(int32_t b) {
  if (b < 0 || b >= g.fileBlocks || !BitSet(b)) {
    std::fprintf(stderr, "FreeBlockDiskMap Fail\n");
    return;
  }
  g.bits[b >> 6] &= ~(uint64_t{1} << (b & 63));
  ++g.diskFreeBlocks;
  g.nextHint = b;
  if (b < g.lowestFree) g.lowestFree = b;
}

void FreeDiskMap(CacheEntry& e) {
  if (!e.disk) return;
  const int64_t n = Blocks(e.size);
  for (int64_t i = 0; i < n; ++i) FreeDiskBlock(e.disk[i].block);
  std::free(e.disk);
  e.disk = nullptr;
  g.diskBytes -= e.size;
}

void FreeChain(CacheEntry& e) {
  if (!e.chain) return;
  GiveBack(e.chain);
  e.chain = nullptr;
  g.memBytes -= e.size;
}

void FreeEntryContents(CacheEntry& e) {
  FreeChain(e);
  FreeDiskMap(e);
}

// Writes the entry from bytes, or from its memory chain when bytes is null.
bool WriteToDisk(CacheEntry& e, const uint8_t* bytes) {
  if (g.fd < 0) return false;
  const int64_t n = Blocks(e.size);
  auto* map = static_cast<DiskPair*>(std::malloc(static_cast<size_t>(n) * sizeof(DiskPair)));
  if (!map) {
    Message(" Not enough memory");
    return false;
  }
  for (int64_t i = 0; i < n; ++i) {
    int32_t b = AllocDiskBlock();
    if (b < 0) {
      for (int64_t j = 0; j < i; ++j) FreeDiskBlock(map[j].block);
      std::free(map);
      return false;
    }
    int64_t left = e.size - i * kCacheBlock;
    map[i] = DiskPair{b, static_cast<int32_t>(left < kCacheBlock ? left : kCacheBlock)};
  }
  bool ok = true;
  if (bytes) {
    // Neighbouring blocks go out in one write.
    for (int64_t i = 0; i < n && ok;) {
      int64_t j = i + 1;
      while (j < n && map[j].block == map[j - 1].block + 1) ++j;
      size_t len = static_cast<size_t>((j - i - 1) * kCacheBlock + map[j - 1].bytes);
      ok = Ops().write(g.fd, bytes + i * kCacheBlock, len, int64_t{map[i].block} * kCacheBlock);
      i = j;
    }
  } else {
    MemBlock* mb = e.chain;
    for (int64_t i = 0; i < n && ok; ++i, mb = mb->next)
      ok = Ops().write(g.fd, g.slots[mb->slot].addr, static_cast<size_t>(map[i].bytes),
                       int64_t{map[i].block} * kCacheBlock);
  }
  if (!ok) {
    Message("Cache disk error");
    for (int64_t i = 0; i < n; ++i) FreeDiskBlock(map[i].block);
    std::free(map);
    return false;
  }
  e.disk = map;
  g.diskBytes += e.size;
  return true;
}

bool ReadFromDisk(const CacheEntry& e, uint8_t* dest) {
  const int64_t n = Blocks(e.size);
  for (int64_t i = 0; i < n;) {
    int64_t j = i + 1;
    while (j < n && e.disk[j].block == e.disk[j - 1].block + 1) ++j;
    size_t len = static_cast<size_t>((j - i - 1) * kCacheBlock + e.disk[j - 1].bytes);
    if (!Ops().read(g.fd, dest + i * kCacheBlock, len, int64_t{e.disk[i].block} * kCacheBlock)) {
      Message("Cache disk error");
      return false;
    }
    i = j;
  }
  return true;
}

void DeleteAt(int idx) {
  CacheEntry& e = g.entries[idx];
  FreeEntryContents(e);
  e.deleted = 1;
  e.discardable = 0;
  ++g.tombstones;
}

void MaybeCompact() {
  if (g.tombstones == 0) return;
  if (g.tombstones <= kMaxTombstones && g.tombstones < static_cast<int>(g.entries.size())) return;
  size_t out = 0;
  for (size_t i = 0; i < g.entries.size(); ++i)
    if (!g.entries[i].deleted) g.entries[out++] = g.entries[i];
  g.entries.resize(out);
  g.tombstones = 0;
}

// Frees memory from the four oldest entries until `needed` bytes came free; always tries one.
bool EvictOldest(int64_t needed) {
  int oldest[4];
  int count = 0;
  for (int i = 0; i < static_cast<int>(g.entries.size()); ++i) {
    const CacheEntry& e = g.entries[i];
    if (!e.chain || e.deleted) continue;
    int at = count;
    while (at > 0 && g.entries[oldest[at - 1]].stamp > e.stamp) --at;
    if (at >= 4) continue;
    for (int k = (count < 4 ? count : 3); k > at; --k) oldest[k] = oldest[k - 1];
    oldest[at] = i;
    if (count < 4) ++count;
  }
  bool freed = false;
  for (int k = 0; k < count; ++k) {
    if (k > 0 && needed <= 0) break;
    CacheEntry& e = g.entries[oldest[k]];
    const int64_t bytes = Blocks(e.size) * kCacheBlock;
    if (e.discardable) {
      DeleteAt(oldest[k]);
    } else {
      if (!e.disk && !WriteToDisk(e, nullptr)) break;
      FreeChain(e);
    }
    needed -= bytes;
    freed = true;
  }
  return freed;
}

bool MakeRoom(int64_t size) {
  while (RamAvailable() < size)
    if (!EvictOldest(size - RamAvailable())) break;
  return RamAvailable() >= size;
}

// Builds a memory chain of n blocks; null when the blocks cannot be had (all given back).
MemBlock* TakeChain(int64_t n) {
  MemBlock* head = nullptr;
  MemBlock** tail = &head;
  for (int64_t i = 0; i < n; ++i) {
    MemBlock* mb = TakeBlock();
    if (!mb) {
      GiveBack(head);
      return nullptr;
    }
    *tail = mb;
    tail = &mb->next;
  }
  return head;
}

enum class Load { kLoaded, kNoRoom, kError };

Load LoadBack(int idx) {
  const int64_t size = g.entries[idx].size;
  if (!MakeRoom(size)) return Load::kNoRoom;
  MemBlock* chain = TakeChain(Blocks(size));
  if (!chain) return Load::kNoRoom;
  CacheEntry& e = g.entries[idx];
  MemBlock* mb = chain;
  for (int64_t i = 0; mb; ++i, mb = mb->next) {
    if (!Ops().read(g.fd, g.slots[mb->slot].addr, static_cast<size_t>(e.disk[i].bytes),
                    int64_t{e.disk[i].block} * kCacheBlock)) {
      Message("Cache disk error");
      GiveBack(chain);
      return Load::kError;
    }
  }
  e.chain = chain;
  g.memBytes += size;
  return Load::kLoaded;
}

// Makes sure an entry with a disk copy is in memory when room can be made.
bool EnsureLoaded(int idx) {
  const CacheEntry& e = g.entries[idx];
  if (e.chain || !e.disk) return true;
  return LoadBack(idx) != Load::kError;
}

void DisarmSignals();

// Removes the file, then hands the signal to whoever had it before (the default ends the
// process; a sanitizer reports first). A fault the kernel raised comes again when the faulting
// instruction reruns, so it reaches the old handler with its own address.
void ScratchSignal(int sig, siginfo_t* info, void*) {
  if (g_path[0]) ::unlink(g_path);
  for (int i = 0; i < kSignalCount; ++i) {
    if (kEndingSignals[i] != sig) continue;
    struct sigaction old = g_oldActions[i];
    if (!(old.sa_flags & SA_SIGINFO) && (old.sa_handler == SIG_IGN || old.sa_handler == SIG_ERR))
      old.sa_handler = SIG_DFL;
    ::sigaction(sig, &old, nullptr);
  }
  if (info && info->si_code > 0 &&
      (sig == SIGSEGV || sig == SIGBUS || sig == SIGILL || sig == SIGFPE))
    return;
  ::raise(sig);
}

void ArmSignals() {
  if (g_signalsArmed) return;
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sa_sigaction = ScratchSignal;
  sa.sa_flags = SA_SIGINFO;
  sigemptyset(&sa.sa_mask);
  for (int i = 0; i < kSignalCount; ++i) {
    ::sigaction(kEndingSignals[i], nullptr, &g_oldActions[i]);
    // An ignored signal ends nothing, and stays ignored.
    if (!(g_oldActions[i].sa_flags & SA_SIGINFO) && g_oldActions[i].sa_handler == SIG_IGN) continue;
    ::sigaction(kEndingSignals[i], &sa, nullptr);
  }
  g_signalsArmed = true;
}

void DisarmSignals() {
  if (!g_signalsArmed) return;
  for (int i = 0; i < kSignalCount; ++i) ::sigaction(kEndingSignals[i], &g_oldActions[i], nullptr);
  g_signalsArmed = false;
}

bool ProcessRuns(int pid) {
  if (::kill(pid, 0) != 0 && errno == ESRCH) return false;
  // A zombie keeps its number but no longer its files.
  char path[64];
  std::snprintf(path, sizeof path, "/proc/%d/stat", pid);
  std::FILE* f = std::fopen(path, "r");
  if (!f) return true;
  char buf[512];
  size_t n = std::fread(buf, 1, sizeof buf - 1, f);
  std::fclose(f);
  buf[n] = 0;
  const char* end = std::strrchr(buf, ')');
  return !(end && end[1] == ' ' && end[2] == 'Z');
}

// Scratch files of this user whose process no longer exists were left by a run that was killed.
void RemoveStaleScratch(const std::string& dir) {
  const std::string folder = dir.empty() ? "." : dir;
  DIR* d = ::opendir(folder.c_str());
  if (!d) return;
  while (dirent* e = ::readdir(d)) {
    int pid = 0, number = 0, used = 0;
    if (std::sscanf(e->d_name, "VELA%d.%d.tmp%n", &pid, &number, &used) != 2 || pid <= 0 ||
        e->d_name[used] != 0)
      continue;
    if (ProcessRuns(pid)) continue;
    std::string path = folder + "/" + e->d_name;
    struct stat st;
    if (::lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == ::getuid())
      ::unlink(path.c_str());
  }
  ::closedir(d);
}

void CacheExit() {
  CacheStop();
}

bool OpenScratch(const std::string& dir, int32_t number) {
  const int pid = static_cast<int>(::getpid());
  for (int attempt = 0; attempt < 64; ++attempt) {
    std::snprintf(g_path, sizeof g_path, "%sVELA%d.%d.tmp", dir.c_str(), pid, number + attempt);
    g.fd = Ops().open(g_path);
    if (g.fd >= 0) return true;
    if (errno != EEXIST) break;
  }
  g_path[0] = 0;
  return false;
}

}  // namespace

const CacheHostOps& DefaultCacheHostOps() {
  static const CacheHostOps ops{HostOpen,      HostWrite,    HostRead,           HostExtend,
                                HostClose,     HostDiskFree, HostPhysicalMemory, HostClock,
                                HostAllocSlab, HostFreeSlab};
  return ops;
}

const CacheHostOps* SetCacheHostOps(const CacheHostOps* ops) {
  const CacheHostOps* old = g_ops;
  g_ops = ops;
  return old;
}

int32_t NextKey() {
  return g_nextKey++;
}

int64_t ParseCacheSize(const char* startupCacheSize, const char* mainTemp) {
  auto number = [](const char* s, int64_t* out) {
    if (!s) return false;
    while (*s == ' ' || *s == '\t') ++s;
    const char* p = s;
    if (*p == '-' || *p == '+') ++p;
    if (*p < '0' || *p > '9') return false;
    while (*p >= '0' && *p <= '9') ++p;
    while (*p == ' ' || *p == '\t') ++p;
    if (*p) return false;
    *out = std::strtoll(s, nullptr, 10);
    return true;
  };
  int64_t size = -1;
  if (!number(startupCacheSize, &size)) size = -1;
  int64_t fromMain;
  if (number(mainTemp, &fromMain)) size = fromMain;
  return size < 0 ? -1 : size;
}

int CacheStartWithLimit(int64_t limit) {
  if (g.fd >= 0) CacheStop();
  g.limit = limit < 0 ? -1 : limit;
  g.quota = g.limit >= 0 ? g.limit / kCacheBlock : 0;
  const int32_t number = NextKey();
  g.dir = Paths().tempDir;
  RemoveStaleScratch(g.dir);
  if (!OpenScratch(g.dir, number)) {
    Message("Can't create cache file");
    g.dir.clear();
    if (!OpenScratch("", number)) return 0;
  }
  if (!g_exitArmed) {
    std::atexit(CacheExit);
    g_exitArmed = true;
  }
  ArmSignals();
  if (g.limit < 0) CacheTrim();
  return 1;
}

void CacheStop() {
  ClearAllEntries();
  while (g.freeList) {
    MemBlock* mb = g.freeList;
    g.freeList = mb->next;
    std::free(mb);
  }
  for (uint8_t* slab : g.slabs)
    if (slab) Ops().freeSlab(slab);
  if (g.fd >= 0) Ops().close(g.fd);
  if (g_path[0]) ::unlink(g_path);
  g_path[0] = 0;
  DisarmSignals();
  g = CacheState{};
}

int CachePut(int32_t key, const void* bytes, int32_t size, int mode) {
  if (key <= 0 || size < 0 || (size > 0 && !bytes)) return 0;
  int idx = Find(key, true);
  if (idx < 0) {
    idx = Insert(key);
    if (idx < 0) return 0;
  } else {
    CacheEntry& e = g.entries[idx];
    FreeEntryContents(e);
    if (e.deleted) {
      e.deleted = 0;
      --g.tombstones;
    }
  }
  {
    CacheEntry& e = g.entries[idx];
    e.size = size;
    e.discardable = 0;
    e.stamp = Now();
  }
  if (size == 0) return 1;
  const auto* src = static_cast<const uint8_t*>(bytes);
  bool inMemory = false;
  if (!(mode == 1 && RamAvailable() < size) && MakeRoom(size)) {
    if (MemBlock* chain = TakeChain(Blocks(size))) {
      int64_t at = 0;
      for (MemBlock* mb = chain; mb; mb = mb->next, at += kCacheBlock) {
        const int64_t n = size - at < kCacheBlock ? size - at : kCacheBlock;
        std::memcpy(g.slots[mb->slot].addr, src + at, static_cast<size_t>(n));
      }
      g.entries[idx].chain = chain;
      g.memBytes += size;
      inMemory = true;
    }
  }
  if (!inMemory && (mode == 2 || !WriteToDisk(g.entries[idx], src))) {
    DeleteAt(idx);
    MaybeCompact();
    return 0;
  }
  CacheEntry& e = g.entries[idx];
  e.discardable = mode == 2 ? 1 : 0;
  e.stamp = Now();
  return 1;
}

int CacheGet(int32_t key, void* dest, int32_t capacity, int noLoad) {
  int idx = Find(key, false);
  if (idx < 0 || g.entries[idx].size > capacity || !dest) return 0;
  if (!g.entries[idx].chain && !g.entries[idx].disk) return 0;
  if (!noLoad && !EnsureLoaded(idx)) return 0;
  CacheEntry& e = g.entries[idx];
  e.stamp = Now();
  auto* out = static_cast<uint8_t*>(dest);
  if (e.chain) {
    int64_t at = 0;
    for (MemBlock* mb = e.chain; mb; mb = mb->next, at += kCacheBlock) {
      const int64_t n = e.size - at < kCacheBlock ? e.size - at : kCacheBlock;
      std::memcpy(out + at, g.slots[mb->slot].addr, static_cast<size_t>(n));
    }
    return 1;
  }
  return ReadFromDisk(e, out) ? 1 : 0;
}

int CacheCompare(int32_t key, const void* bytes, int32_t size) {
  int idx = Find(key, false);
  if (idx < 0 || g.entries[idx].size != size) return 0;
  if (size == 0) return 1;
  if (!bytes || !EnsureLoaded(idx)) return 0;
  const CacheEntry& e = g.entries[idx];
  const auto* src = static_cast<const uint8_t*>(bytes);
  if (e.chain) {
    int64_t at = 0;
    for (MemBlock* mb = e.chain; mb; mb = mb->next, at += kCacheBlock) {
      const int64_t n = size - at < kCacheBlock ? size - at : kCacheBlock;
      if (std::memcmp(src + at, g.slots[mb->slot].addr, static_cast<size_t>(n)) != 0) return 0;
    }
    return 1;
  }
  if (!e.disk) return 0;
  uint8_t buffer[kCacheBlock];
  for (int64_t i = 0; i < Blocks(size); ++i) {
    const DiskPair& d = e.disk[i];
    if (!Ops().read(g.fd, buffer, static_cast<size_t>(d.bytes), int64_t{d.block} * kCacheBlock)) {
      std::fprintf(stderr, "GetCacheFileData error ReadFromCache\n");
      return 0;
    }
    if (std::memcmp(src + i * kCacheBlock, buffer, static_cast<size_t>(d.bytes)) != 0) return 0;
  }
  return 1;
}

int CacheDelete(int32_t key) {
  int idx = Find(key, false);
  if (idx < 0) return 0;
  DeleteAt(idx);
  MaybeCompact();
  return 1;
}

int CacheWriteOne() {
  int best = -1;
  for (int i = 0; i < static_cast<int>(g.entries.size()); ++i) {
    const CacheEntry& e = g.entries[i];
    if (!e.chain || e.disk || e.discardable || e.deleted) continue;
    if (best < 0 || e.stamp < g.entries[best].stamp) best = i;
  }
  if (best < 0) return 0;
  return WriteToDisk(g.entries[best], nullptr) ? 1 : 0;
}

void CacheTrim() {
  int64_t target;
  if (g.limit >= 0) {
    target = g.limit - (g.allocated + g.quota) * kCacheBlock;
  } else {
    const int64_t spare = static_cast<int64_t>(0.4 * static_cast<double>(Ops().physicalMemory()));
    target = spare - (g.allocated * kCacheBlock + CacheScratchBytes + BlockBytes);
  }
  // Each round gives back a block's record (520 bytes with its overhead); a block not yet made
  // also gives back its 512 bytes.
  while (target < 0) {
    if (g.quota > 0) {
      --g.quota;
      target += kCacheBlock;
    } else {
      if (!g.freeList) EvictOldest(0);
      if (!g.freeList) break;
      MemBlock* mb = g.freeList;
      g.freeList = mb->next;
      --g.freeCount;
      ReleaseRecord(mb);
      if (g.emptySlots >= kCompactEmptySlots) {
        CompactOneSlab();
        CompactOneSlab();
      }
    }
    target += 520;
  }
  // 532: a block and the overhead of its record.
  if (target > 532480)
    g.quota = (target - 0x82000) / 532;
  else if (g.limit < 0)
    g.quota = 0;
}

void CacheSetLimit(int64_t limit) {
  g.limit = limit < 0 ? -1 : limit;
  CacheTrim();
}

int64_t CacheStats(int which) {
  switch (which) {
    case 0:
      return g.memBytes;
    case 1:
      return g.diskBytes;
    case 2:
      return g.allocated * kCacheBlock;
    case 3:
      return g.fileBlocks * kCacheBlock;
    default:
      return 0;
  }
}

CacheCounts GetCacheCounts() {
  int64_t slabs = 0;
  for (uint8_t* s : g.slabs) slabs += s != nullptr;
  return CacheCounts{
      g.quota,      g.freeCount, g.allocated,  static_cast<int64_t>(g.entries.size()),
      g.tombstones, slabs,       g.emptySlots, g.diskFreeBlocks,
      g.limit};
}

int CacheWhere(int32_t key) {
  int idx = Find(key, false);
  if (idx < 0) return 0;
  return (g.entries[idx].chain ? 1 : 0) | (g.entries[idx].disk ? 2 : 0);
}

const char* CacheFilePath() {
  return g_path;
}

}  // namespace vela
