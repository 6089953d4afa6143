#include "start/parallel.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "start/message.h"

namespace vela {

namespace {
int g_workers = 0;  // 0: not read yet
void (*g_pump)() = nullptr;

int ReadWorkerCount() {
  const char* env = std::getenv("NUMBER_OF_PROCESSORS");
  long n = 0;
  if (env && *env) {
    n = std::strtol(env, nullptr, 10);
    if (n <= 0) n = 1;
  } else {
    n = sysconf(_SC_NPROCESSORS_ONLN);
    if (n <= 0) n = 1;
  }
  return static_cast<int>(std::min<long>(n, 64));
}

void* RunChunk(void* p) {
  auto* c = static_cast<ChunkContext*>(p);
  c->result = c->fn(c, c->start, c->end, c->arg);
  return nullptr;
}
}  // namespace

int WorkerCount() {
  if (g_workers == 0) g_workers = ReadWorkerCount();
  return g_workers;
}

void SetWorkerCount(int workers) { g_workers = workers <= 0 ? 0 : std::min(workers, 64); }

void SetParallelPump(void (*pump)()) { g_pump = pump; }

int ParallelRows(RowFunction fn, int first, int last, void* arg) {
  int workers = WorkerCount();
  if (workers < 2) return fn(nullptr, first, last, arg);

  int rows = last - first + 1;
  if (rows < 1) return 1;
  int chunks = std::min(workers, rows);
  double share = static_cast<double>(rows) / chunks;
  double position = first;

  std::vector<ChunkContext> ctx(chunks);
  std::vector<pthread_t> threads(chunks);
  std::vector<bool> started(chunks, false);
  for (int i = 0; i < chunks; ++i) {
    ChunkContext& c = ctx[i];
    c.chunkCount = chunks;
    c.chunkIndex = i;
    c.start = static_cast<int>(position);
    c.end = i == chunks - 1 ? last : static_cast<int>(position + share - 1);
    position += share;
    c.rowCount = c.end - c.start + 1;
    c.result = 0;
    c.fn = fn;
    c.arg = arg;
    c.isThread = 0;
  }
  // Every chunk but the last gets a thread; the last runs here.
  for (int i = 0; i + 1 < chunks; ++i) {
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    // Row functions are small; a modest stack keeps 64 chunks cheap. Sanitizers need more room.
    pthread_attr_setstacksize(&attr, 1 << 20);
    ctx[i].isThread = 1;
    if (pthread_create(&threads[i], &attr, RunChunk, &ctx[i]) == 0) {
      started[i] = true;
    } else {
      ctx[i].isThread = 0;
      Message("erreur thread");
    }
    pthread_attr_destroy(&attr);
  }
  for (int i = 0; i + 1 < chunks; ++i)
    if (!started[i]) RunChunk(&ctx[i]);
  RunChunk(&ctx[chunks - 1]);
  for (int i = 0; i + 1 < chunks; ++i) {
    if (!started[i]) continue;
    // The pump keeps the window alive while a long chunk finishes.
    while (true) {
      timespec ts;
      clock_gettime(CLOCK_REALTIME, &ts);
      ts.tv_sec += 1;
      if (pthread_timedjoin_np(threads[i], nullptr, &ts) == 0) break;
      if (g_pump) g_pump();
    }
  }
  return 1;
}

}  // namespace vela
