#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>

/// What the programs that time one algorithm read off the clock and the system.
namespace bench {

inline double now()
{
  using namespace std::chrono;
  return duration<double>(steady_clock::now().time_since_epoch()).count();
}

/// The processor time of all threads together, which other programs disturb less.
inline double processorSeconds()
{
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// A line of the process's status, such as "VmRSS:", in MB.
inline double statusMb(const char* key)
{
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind(key, 0) == 0) return std::atof(line.c_str() + std::strlen(key) + 1) / 1024.0;
  return 0;
}

/// Sets the peak of the resident set, "VmHWM:", back to what it is now.
inline void resetPeak()
{
  if (std::FILE* file = std::fopen("/proc/self/clear_refs", "w")) {
    std::fputs("5", file);
    std::fclose(file);
  }
}

} // namespace bench
