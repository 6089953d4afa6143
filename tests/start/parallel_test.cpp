#include "start/parallel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <vector>

namespace vela {
namespace {

struct Seen {
  std::mutex lock;
  std::vector<int> hits;  // per row
  std::vector<std::pair<int, int>> chunks;
  int nullContexts = 0;
  int base = 0;
};

int Record(ChunkContext* c, int first, int last, void* arg) {
  auto* s = static_cast<Seen*>(arg);
  std::lock_guard<std::mutex> g(s->lock);
  if (!c)
    ++s->nullContexts;
  else
    EXPECT_EQ(c->rowCount, last - first + 1);
  s->chunks.push_back({first, last});
  for (int r = first; r <= last; ++r) ++s->hits[r - s->base];
  return last - first + 1;
}

class ParallelRowsTest : public ::testing::Test {
 protected:
  void TearDown() override { SetWorkerCount(0); }
};

TEST_F(ParallelRowsTest, BelowTwoWorkersRunsOnceWithNullContext) {
  SetWorkerCount(1);
  Seen s;
  s.hits.assign(10, 0);
  EXPECT_EQ(ParallelRows(Record, 0, 9, &s), 10);  // the row function's own result
  EXPECT_EQ(s.nullContexts, 1);
  EXPECT_EQ(s.chunks, (std::vector<std::pair<int, int>>{{0, 9}}));
}

TEST_F(ParallelRowsTest, ChunksCoverEveryRowOnceInOrder) {
  for (int workers : {2, 3, 7, 8, 64}) {
    for (int rows : {1, 2, 3, 5, 17, 100, 1081}) {
      SetWorkerCount(workers);
      Seen s;
      s.base = 40;
      s.hits.assign(rows, 0);
      EXPECT_EQ(ParallelRows(Record, 40, 40 + rows - 1, &s), 1);
      for (int r = 0; r < rows; ++r) ASSERT_EQ(s.hits[r], 1) << workers << " workers, row " << r;
      EXPECT_EQ(static_cast<int>(s.chunks.size()), std::min(workers, rows));
      EXPECT_EQ(s.nullContexts, 0);
      // Chunks are within one row of each other in size: three rows for eight workers are three
      // chunks of one.
      int lo = rows, hi = 0;
      for (auto [a, b] : s.chunks) lo = std::min(lo, b - a + 1), hi = std::max(hi, b - a + 1);
      EXPECT_LE(hi - lo, 1) << workers << " workers, " << rows << " rows";
    }
  }
}

TEST_F(ParallelRowsTest, WorkerCountComesFromTheEnvironmentAndIsCapped) {
  for (auto [processors, workers] : {std::pair{"1000", 64}, {"0", 1}}) {
    SetWorkerCount(0);
    setenv("NUMBER_OF_PROCESSORS", processors, 1);
    EXPECT_EQ(WorkerCount(), workers);
  }
  SetWorkerCount(0);
  unsetenv("NUMBER_OF_PROCESSORS");
  EXPECT_GE(WorkerCount(), 1);
}

}  // namespace
}  // namespace vela
