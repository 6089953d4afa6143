#include "pixels/disk_cache.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <map>
#include <random>

#include "pixels_fixture.h"

namespace vela {
namespace {

// Host calls that count and fail on demand: the Nth write (from 1), once or from then on.
struct Faults {
  int writes = 0, failWriteAt = 0;
  bool failWritesAfter = false;
  int reads = 0, failReadAt = 0;
  bool failExtend = false;
  int64_t diskFree = int64_t{1} << 40;
  int64_t physical = int64_t{1} << 30;
  uint32_t clock = 0;
} g_faults;

const CacheHostOps& TestOps() {
  static CacheHostOps ops = [] {
    CacheHostOps o = DefaultCacheHostOps();
    o.write = [](int fd, const void* b, size_t n, int64_t off) {
      ++g_faults.writes;
      if (g_faults.failWriteAt &&
          (g_faults.writes == g_faults.failWriteAt ||
           (g_faults.failWritesAfter && g_faults.writes > g_faults.failWriteAt)))
        return false;
      return DefaultCacheHostOps().write(fd, b, n, off);
    };
    o.read = [](int fd, void* b, size_t n, int64_t off) {
      ++g_faults.reads;
      if (g_faults.failReadAt && g_faults.reads == g_faults.failReadAt) return false;
      return DefaultCacheHostOps().read(fd, b, n, off);
    };
    o.extend = [](int fd, int64_t size) {
      return !g_faults.failExtend && DefaultCacheHostOps().extend(fd, size);
    };
    o.diskFree = [](const char*) { return g_faults.diskFree; };
    o.physicalMemory = [] { return g_faults.physical; };
    o.clock = [] { return ++g_faults.clock; };  // every use is strictly later
    return o;
  }();
  return ops;
}

std::vector<uint8_t> Bytes(int size, int seed) {
  std::vector<uint8_t> v(size);
  std::mt19937 rng(seed);
  for (auto& b : v) b = static_cast<uint8_t>(rng());
  return v;
}

class DiskCache : public ScratchTest {
 protected:
  void SetUp() override {
    ScratchTest::SetUp();
    g_faults = Faults{};
    SetCacheHostOps(&TestOps());
  }
  void TearDown() override {
    CacheStop();
    SetCacheHostOps(nullptr);
    ScratchTest::TearDown();
  }
  void Start(int64_t limit) { ASSERT_EQ(CacheStartWithLimit(limit), 1); }
  int32_t Put(const std::vector<uint8_t>& v, int mode = 0) {
    int32_t key = NextKey();
    EXPECT_EQ(PutAt(key, v, mode), 1);
    return key;
  }
  std::vector<uint8_t> Get(int32_t key, int size, int noLoad = 0) {
    std::vector<uint8_t> out(size);
    if (!CacheGet(key, out.data(), size, noLoad)) return {};
    return out;
  }
  static int PutAt(int32_t key, const std::vector<uint8_t>& v, int mode = 0) {
    return CachePut(key, v.data(), static_cast<int32_t>(v.size()), mode);
  }
  static std::vector<int64_t> Stats() {
    return {CacheStats(0), CacheStats(1), CacheStats(2), CacheStats(3)};
  }
  static std::vector<int> Where(const std::vector<int32_t>& keys) {
    std::vector<int> out;
    for (int32_t k : keys) out.push_back(CacheWhere(k));
    return out;
  }
};
using I64 = std::vector<int64_t>;
using Ints = std::vector<int>;

// In memory when there is room; wholly through the file, never loaded back, with a limit of 0.
TEST_F(DiskCache, KeepsBytesOfEverySize) {
  for (int64_t limit : {4 << 20, 0}) {
    SCOPED_TRACE(limit);
    CacheStop();
    Start(limit);
    std::map<int32_t, std::vector<uint8_t>> kept;
    int64_t total = 0;
    for (int size : {1, 511, 512, 513, 1024, 5000, 70000}) {
      auto v = Bytes(size, size);
      kept[Put(v)] = v;
      total += size;
    }
    for (auto& [key, v] : kept) {
      const int n = static_cast<int>(v.size());
      auto changed = v;
      changed.back() ^= 1;
      EXPECT_EQ(Get(key, n), v);
      // Too small a buffer; equal, one byte changed, one byte short.
      EXPECT_EQ((Ints{Get(key, n - 1).empty(), CacheWhere(key), CacheCompare(key, v.data(), n),
                      CacheCompare(key, changed.data(), n), CacheCompare(key, v.data(), n - 1)}),
                (Ints{1, limit ? 1 : 2, 1, 0, 0}));
    }
    // The file grows by 512 blocks.
    EXPECT_EQ(Stats(), (limit ? I64{total, 0, 1024 * 512, 0} : I64{0, total, 0, 0x40000}));
    EXPECT_EQ(g_faults.writes > 0, limit == 0);
  }

  // An entry of size 0 exists but has nothing to give.
  int32_t empty = NextKey();
  EXPECT_EQ(CachePut(empty, nullptr, 0, 0), 1);
  uint8_t byte;
  EXPECT_EQ(
      (Ints{CacheGet(empty, &byte, 1, 0), CacheWhere(empty), CacheGet(NextKey(), &byte, 1, 0)}),
      (Ints{0, 0, 0}));
  int32_t a = NextKey(), b = NextKey();  // keys only grow
  EXPECT_TRUE(0 < a && a < b);
}

TEST_F(DiskCache, TheFileIsPrivateSurvivesAFailedReadAndGoesAtTheEnd) {
  Start(0);
  std::string path = CacheFilePath();
  EXPECT_EQ(path.rfind(dir_ + "/VELA" + std::to_string(getpid()) + ".", 0), 0u) << path;
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);

  // A failing read is reported and harmless.
  auto b = Bytes(512, 2);
  int32_t kb = Put(b);
  g_faults.failReadAt = g_faults.reads + 1;
  EXPECT_TRUE(Get(kb, 512).empty());
  EXPECT_TRUE(Seen("Cache disk error"));
  EXPECT_EQ(Get(kb, 512), b);

  // Memory only: refused and gone.
  int32_t kc = NextKey();
  EXPECT_EQ(PutAt(kc, Bytes(100, 3), 2), 0);
  EXPECT_TRUE(Get(kc, 100).empty());

  CacheStop();
  EXPECT_NE(stat(path.c_str(), &st), 0);
}

TEST_F(DiskCache, EvictsTheOldestFirstAndWritesOnlyOnce) {
  Start(1024 * 512);  // one slab
  const int size = 200 * 512;
  std::vector<int32_t> keys;
  for (int i = 0; i < 6; ++i) keys.push_back(Put(Bytes(size, i)));
  EXPECT_EQ(Where(keys), (Ints{2, 1, 1, 1, 1, 1}));
  // Reading the first back makes room by sending out the next oldest, and marks it new.
  EXPECT_EQ(Get(keys[0], size), Bytes(size, 0));
  EXPECT_EQ(Where(keys), (Ints{3, 2, 1, 1, 1, 1}));

  // Idle writing copies the oldest entry without a disk copy and keeps it in memory...
  ASSERT_EQ(CacheWriteOne(), 1);
  EXPECT_EQ(CacheWhere(keys[2]), 3);
  int writes = g_faults.writes;
  // ...so its later eviction costs no write.
  Put(Bytes(size, 6));
  EXPECT_EQ(CacheWhere(keys[2]), 2);
  EXPECT_EQ(g_faults.writes, writes);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(Get(keys[i], size, 1), Bytes(size, i)) << i;

  // Four entries in memory lack a disk copy; then there is nothing to do.
  int more = 0;
  while (CacheWriteOne() && more < 10) ++more;
  EXPECT_EQ(more, 4);
}

TEST_F(DiskCache, ModesOneAndTwo) {
  Start(1024 * 512);
  const int size = 300 * 512;
  int32_t a = Put(Bytes(size, 1), 2), b = Put(Bytes(size, 2), 0), c = Put(Bytes(size, 3), 0);
  // Mode 1 does not push others out when memory lacks.
  int32_t d = Put(Bytes(size, 4), 1);
  EXPECT_EQ(Where({d, a}), (Ints{2, 1}));
  // Mode 0 evicts; the discardable oldest is dropped, not written.
  int32_t e = Put(Bytes(size, 5), 0);
  EXPECT_EQ(Where({e, a}), (Ints{1, 0}));
  EXPECT_TRUE(Get(a, size).empty());
  EXPECT_TRUE(Get(b, size) == Bytes(size, 2) && Get(c, size) == Bytes(size, 3) &&
              Get(d, size) == Bytes(size, 4));
  // Discardable entries are never written in idle time.
  int32_t f = Put(Bytes(10, 6), 2);
  while (CacheWriteOne()) continue;
  EXPECT_EQ(CacheWhere(f), 1);
}

TEST_F(DiskCache, PutAgainWithANewSizeFreesTheOldBlocks) {
  Start(0);
  int32_t k = Put(Bytes(5000, 1));
  const int64_t freeBlocks = GetCacheCounts().diskFree;
  auto small = Bytes(100, 2);
  ASSERT_EQ(PutAt(k, small), 1);
  EXPECT_EQ((I64{GetCacheCounts().diskFree, CacheStats(1)}), (I64{freeBlocks + 10 - 1, 100}));
  EXPECT_EQ(Get(k, 100), small);
  EXPECT_TRUE(Get(k, 99).empty());

  CacheSetLimit(2 << 20);
  ASSERT_EQ(PutAt(k, Bytes(20000, 3)), 1);
  EXPECT_EQ(CacheWhere(k), 1);
  EXPECT_EQ(Stats(), (I64{20000, 0, 1024 * 512, 0x40000}));
  ASSERT_EQ(PutAt(k, small), 1);
  EXPECT_EQ((I64{CacheStats(0), GetCacheCounts().freeCount}), (I64{100, 1023}));
}

TEST_F(DiskCache, DeletedKeysAreGoneBeforeAndAfterCompaction) {
  Start(4 << 20);
  std::vector<int32_t> keys;
  for (int i = 0; i < 300; ++i) keys.push_back(Put(Bytes(600, i)));
  auto counts = [] { return I64{GetCacheCounts().tombstones, GetCacheCounts().entries}; };
  EXPECT_EQ((Ints{CacheDelete(keys[10]), CacheDelete(keys[10]), Get(keys[10], 600).empty(),
                  CacheCompare(keys[10], Bytes(600, 10).data(), 600)}),
            (Ints{1, 0, 1, 0}));
  EXPECT_EQ(counts(), (I64{1, 300}));
  for (int i = 0; i < 256; ++i)
    if (i != 10) CacheDelete(keys[i]);
  EXPECT_EQ(counts(), (I64{256, 300}));
  CacheDelete(keys[256]);
  EXPECT_EQ(counts(), (I64{0, 43}));
  for (int i = 0; i < 300; ++i) EXPECT_EQ(Get(keys[i], 600).empty(), i <= 256) << i;
  // A deleted key may be put again, also after its tombstone was swept away.
  ASSERT_EQ(PutAt(keys[3], Bytes(40, 7)), 1);
  EXPECT_EQ(Get(keys[3], 40), Bytes(40, 7));
  EXPECT_EQ(Get(keys[299], 600), Bytes(600, 299));
  EXPECT_EQ(CacheStats(0), 43 * 600 + 40);
}

// The Nth write fails, once or from then on, for N from 1 until nothing fails (N is spaced out
// as it grows); whatever a put confirmed must read back, and nothing may leak.
TEST_F(DiskCache, AFailingWriteLosesNothingStored) {
  for (int failAt = 1;; failAt += 1 + failAt / 6) {
    SCOPED_TRACE(failAt);
    CacheStop();
    g_faults = Faults{};
    g_faults.failWriteAt = failAt;
    g_faults.failWritesAfter = failAt % 2 == 0;
    g_messages.clear();
    Start(1024 * 512);
    std::mt19937 rng(failAt);
    std::map<int32_t, std::vector<uint8_t>> kept;
    for (int i = 0; i < 24; ++i) {
      auto v = Bytes(static_cast<int>(rng() % 90000) + 1, i);
      int32_t key = NextKey();
      if (PutAt(key, v, i % 5 == 0 ? 1 : 0))
        kept[key] = v;
      else
        EXPECT_TRUE(Get(key, static_cast<int>(v.size())).empty());
      if (i % 7 == 0) CacheWriteOne();
      for (auto& [k, want] : kept)
        ASSERT_EQ(Get(k, static_cast<int>(want.size()), 1), want) << "key " << k;
    }
    const bool failed = g_faults.writes >= failAt;
    EXPECT_EQ(Seen("Cache disk error"), failed);
    g_faults.failWriteAt = 0;
    for (auto& [k, want] : kept) ASSERT_EQ(Get(k, static_cast<int>(want.size())), want);
    for (auto& [k, want] : kept) CacheDelete(k);
    const CacheCounts n = GetCacheCounts();
    EXPECT_EQ(Stats(), (I64{0, 0, n.freeCount * 512, n.diskFree * 512}));
    if (!failed) break;
  }
}

TEST_F(DiskCache, FileGrowthWarnsOfAFullDiskAndSurvivesAFailedExtension) {
  g_faults.diskFree = 0x1000000;  // under the warning limit of 30 MB
  Start(0);
  auto v = Bytes(0x40000, 1);
  int32_t a = Put(v);
  EXPECT_TRUE(Seen("Warning!!!\nDisk is 99% full."));
  EXPECT_EQ(CacheStats(3), 0x40000);
  g_messages.clear();
  // The next check waits for 10 MB of growth.
  int32_t b = Put(v);
  EXPECT_TRUE(g_messages.empty());
  EXPECT_EQ(CacheStats(3), 0x80000);

  g_faults.failExtend = true;
  int32_t c = NextKey();
  EXPECT_EQ(PutAt(c, v), 0);
  EXPECT_TRUE(Get(c, 0x40000).empty());
  EXPECT_TRUE(Get(a, 0x40000) == v && Get(b, 0x40000) == v);
  // Freed disk blocks are used again before the file grows.
  CacheDelete(a);
  EXPECT_EQ(PutAt(c, v), 1);
  EXPECT_EQ(CacheStats(3), 0x80000);
  EXPECT_EQ(Get(c, 0x40000), v);
}

TEST_F(DiskCache, AutomaticTrimFollowsPhysicalMemory) {
  g_faults.physical = int64_t{100} << 20;
  Start(-1);
  const int64_t spare = static_cast<int64_t>(0.4 * (100 << 20)) - BlockBytes - CacheScratchBytes;
  EXPECT_EQ(GetCacheCounts().quota, (spare - 0x82000) / 532);

  std::vector<int32_t> keys;
  for (int i = 0; i < 12; ++i) keys.push_back(Put(Bytes(300 * 1024, i)));
  EXPECT_GE(GetCacheCounts().slabs, 7);

  // Nothing spare any more: the first trim spends the quota, the second gives memory back;
  // entries stay readable. Each block given back counts 520 bytes against the target, so a few
  // blocks stay.
  const int64_t before = GetCacheCounts().allocated;
  g_faults.physical = 0;
  CacheTrim();
  EXPECT_EQ((I64{GetCacheCounts().quota, GetCacheCounts().allocated}), (I64{0, before}));
  CacheTrim();
  CacheCounts n = GetCacheCounts();
  EXPECT_EQ(n.quota, 0);
  EXPECT_TRUE(n.allocated <= before / 50 && n.slabs <= 2 && n.emptySlots < 2048) << n.allocated;
  EXPECT_GT(CacheStats(1), 0);
  for (int i = 0; i < 12; ++i) EXPECT_EQ(Get(keys[i], 300 * 1024), Bytes(300 * 1024, i)) << i;
}

// Worked by hand: a round that lowers the quota gains 520 + 512 bytes, one that gives back a
// block 520; a target above 532480 sets the quota to (target - 0x82000) / 532.
TEST_F(DiskCache, TrimArithmetic) {
  Start(1 << 20);
  EXPECT_EQ(GetCacheCounts().quota, 2048);
  CacheSetLimit(4 << 20);  // target 4 MB - 2048 * 512 = 3145728
  EXPECT_EQ(GetCacheCounts().quota, 4912);
  CacheSetLimit(512 << 10);  // target -1990656: 1929 rounds leave 72
  EXPECT_EQ(GetCacheCounts().quota, 2983);

  // Automatic: a quota to spend comes before the blocks of the free list.
  CacheStop();
  g_faults.physical = int64_t{100} << 20;
  Start(-1);
  Put(Bytes(512, 1));  // one slab: 1024 blocks, 1023 of them free
  const int64_t used = 1024 * 512 + CacheScratchBytes + BlockBytes;
  g_faults.physical = (used - 10000) * 5 / 2;  // 0.4 of it is 10000 short
  auto counts = [] {
    CacheCounts n = GetCacheCounts();
    return I64{n.quota, n.freeCount, n.allocated};
  };
  CacheTrim();
  EXPECT_EQ(counts(), (I64{0, 1023, 1024}));
  CacheTrim();  // 20 rounds of 520
  EXPECT_EQ(counts(), (I64{0, 1003, 1004}));
}

TEST_F(DiskCache, TrimCompactsSlabsKeepingLiveBlocks) {
  Start(3 * 1024 * 512);
  // Three slabs, the first two then mostly given back to the free list.
  std::vector<int32_t> keys;
  for (int i = 0; i < 3 * 1024; ++i) keys.push_back(Put(Bytes(512, i)));
  EXPECT_EQ(GetCacheCounts().slabs, 3);
  for (int i = 0; i < 3 * 1024; ++i)
    if (i % 64 != 0) CacheDelete(keys[i]);
  CacheSetLimit(200 * 512);
  CacheCounts n = GetCacheCounts();
  EXPECT_TRUE(n.allocated >= 48 && n.allocated * 512 <= 200 * 512 + 3072 * 8) << n.allocated;
  EXPECT_EQ((I64{n.slabs, n.emptySlots}), (I64{1, 1024 - n.allocated}));
  for (int i = 0; i < 3 * 1024; i += 64) EXPECT_EQ(Get(keys[i], 512), Bytes(512, i)) << i;
}

TEST(CacheSize, ReadsTheIniValueThenANumberInMain) {
  EXPECT_EQ((I64{ParseCacheSize("-1", ""), ParseCacheSize("1048576", ""),
                 ParseCacheSize("1048576", "/tmp/"), ParseCacheSize("-1", "2000000"),
                 ParseCacheSize("-1", "0"), ParseCacheSize("lots", nullptr),
                 ParseCacheSize("12abc", "12 monkeys")}),
            (I64{-1, 1048576, 1048576, 2000000, 0, -1, -1}));
}

// A child starts a cache, tells its scratch path and ends by the signal. Without status it is
// left unreaped, a zombie, and *pid tells which.
std::string ChildEndsBy(int sig, int* status, pid_t* pid = nullptr) {
  int pipefd[2];
  if (pipe(pipefd) != 0) return "";
  pid_t child = fork();
  if (child == 0) {
    rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    SetCacheHostOps(nullptr);
    if (CacheStartWithLimit(0) != 1) _exit(3);
    auto v = Bytes(1000, 1);
    CachePut(NextKey(), v.data(), 1000, 0);
    std::string path = CacheFilePath();
    if (write(pipefd[1], path.c_str(), path.size()) < 0) _exit(4);
    close(pipefd[1]);
    raise(sig);
    _exit(5);
  }
  close(pipefd[1]);
  char buf[4200] = {};
  ssize_t n = read(pipefd[0], buf, sizeof buf - 1);
  close(pipefd[0]);
  if (status) waitpid(child, status, 0);
  if (pid) *pid = child;
  return n > 0 ? buf : "";
}

TEST_F(DiskCache, NoScratchFileOutlivesItsProcess) {
  struct stat st;
  for (int sig : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1}) {
    int status = 0;
    std::string path = ChildEndsBy(sig, &status);
    ASSERT_EQ(path.rfind(dir_, 0), 0u) << sig;
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == sig) << sig;
    EXPECT_NE(stat(path.c_str(), &st), 0) << sig;
  }
  // A kill leaves the file; the next start of this user removes it, not the file of a process
  // that still runs. A zombie runs no more.
  pid_t zombie = 0;
  std::string killed = ChildEndsBy(SIGKILL, nullptr, &zombie);
  ASSERT_EQ(stat(killed.c_str(), &st), 0);
  siginfo_t info;
  ASSERT_EQ(waitid(P_PID, zombie, &info, WEXITED | WNOWAIT), 0);
  const std::string live = dir_ + "/VELA" + std::to_string(getpid()) + ".999999.tmp";
  std::ofstream(live) << "x";
  Start(0);
  EXPECT_NE(stat(killed.c_str(), &st), 0);
  EXPECT_EQ(stat(live.c_str(), &st), 0);
  waitpid(zombie, nullptr, 0);
}

}  // namespace
}  // namespace vela
