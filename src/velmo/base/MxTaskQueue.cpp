#include <velmo/base/MxTaskQueue.h>

#include <tbb/task_arena.h>

void enqueueTask(void (*run)())
{
  // Never deleted: a worker may be in it while the program's statics go.
  static auto* arena = new tbb::task_arena;
  arena->enqueue([run] { run(); });
}
