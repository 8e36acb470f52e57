#include "Measure.h"

#include <tbb/global_control.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <malloc.h>
#include <thread>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace {

double now()
{
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// A size of /proc/self/status in MB (2^20 bytes), 0 where there is none.
double statusMb(const std::string& key)
{
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind(key, 0) == 0) return std::atof(line.c_str() + key.size()) / 1024;
  return 0;
}

/// Sets the peak of the resident set back to its present size; false where that is refused.
bool resetPeak()
{
  std::FILE* file = std::fopen("/proc/self/clear_refs", "w");
  if (!file) return false;
  const bool written = std::fputs("5", file) >= 0;
  return std::fclose(file) == 0 && written;
}

/// Touches memory and gives it back at once. The host of a virtual machine takes pages that are
/// free for a second or two, and a run that gets such a page waits for the host: both sides shall
/// find pages that are there, whatever ran before.
void fetchPages()
{
#ifdef __linux__
  constexpr std::size_t kSize = std::size_t{512} << 20;
  void* pages = ::mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) return;
  (void)::madvise(pages, kSize, MADV_HUGEPAGE);
  for (std::size_t at = 0; at < kSize; at += 4096)
    static_cast<volatile char*>(pages)[at] = 1;
  ::munmap(pages, kSize);
#endif
}

} // namespace

double median(std::vector<double> values)
{
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 ? values[half] : 0.5 * (values[half - 1] + values[half]);
}

RunResult measureRun(JobMaker make, const MeshArrays& mesh, const Task& task, int threads)
{
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                  static_cast<std::size_t>(threads));
  RunResult result;
  const std::unique_ptr<Job> job = make(mesh, task, threads);
  malloc_trim(0); // what earlier runs freed would hide what this one needs
  fetchPages();
  const double before = statusMb("VmRSS:");
  const bool peakIsKnown = resetPeak();
  const auto timed = [](const auto& work) {
    const double start = now();
    work();
    return now() - start;
  };
  result.seconds = timed([&] { job->run(); });
  if (task.steps > 0) {
    result.buildSeconds = result.seconds;
    std::vector<double> steps;
    for (int step = 1; step <= task.steps; ++step)
      steps.push_back(timed([&] { job->step(step); }));
    result.seconds = median(steps);
  }
  if (peakIsKnown) {
    result.peakMb = statusMb("VmHWM:");
    result.growthMb = result.peakMb - before;
  }
  result.meshCheckSeconds = job->meshCheckSeconds();
  result.extractions = job->extractionCount();
  result.expectedExtractions = 1 + static_cast<std::size_t>(task.steps);
  result.check = job->check();
  return result;
}

double triadBandwidth(int threads, std::size_t count)
{
  std::vector<double> a(count, 1), b(count, 2), c(count, 3), seconds;
  for (int round = 0; round < 7; ++round) {
    const double start = now();
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
      pool.emplace_back([&, t] {
        const auto bound = [&](int part) {
          return count * static_cast<std::size_t>(part) / static_cast<std::size_t>(threads);
        };
        double* out = a.data();
        const double *in = b.data(), *scaled = c.data();
        for (std::size_t i = bound(t), last = bound(t + 1); i < last; ++i)
          out[i] = in[i] + 3.0 * scaled[i];
      });
    for (std::thread& thread : pool)
      thread.join();
    seconds.push_back(now() - start);
  }
  return 3.0 * sizeof(double) * static_cast<double>(count) / median(seconds);
}

std::string machineDescription()
{
  std::string name = "unknown processor";
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);)
    if (line.rfind("model name", 0) == 0) {
      name = line.substr(std::min(line.size(), line.find(':') + 2));
      break;
    }
  return name + ", " + std::to_string(std::thread::hardware_concurrency()) + " cores";
}
