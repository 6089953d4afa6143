// Row-parallel work: the only threads of the program. Chunks own disjoint rows and take no locks.
#pragma once

#include <cstdint>

namespace vela {

struct ChunkContext {
  int chunkCount;
  int chunkIndex;
  int isThread;
  int start;
  int end;
  int rowCount;
  int result;
  int (*fn)(ChunkContext*, int, int, void*);
  void* arg;
};

// fn(context or null, first row, last row, arg). Below two workers fn runs once with a null
// context and its result is returned; else the rows are cut into chunks and 1 is returned.
using RowFunction = int (*)(ChunkContext* context, int first, int last, void* arg);
int ParallelRows(RowFunction fn, int first, int last, void* arg);

// Worker count: the value set in the hidden panel, else NUMBER_OF_PROCESSORS, else the number of
// online processors; at most 64. Read once, on first use.
int WorkerCount();
void SetWorkerCount(int workers);  // 0 forgets the setting and reads the environment again

// Called while ParallelRows waits, so the host window keeps painting.
void SetParallelPump(void (*pump)());

}  // namespace vela
