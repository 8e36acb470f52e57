#pragma once

#include <cstddef>
#include <unistd.h>

/// False when so many items cannot be in memory. For counts that a few bytes of a file multiply:
/// the system may well promise such memory, and end the program when it is written to.
inline bool mxFitsMemory(std::size_t count, std::size_t bytesEach)
{
  const auto memory = static_cast<std::size_t>(::sysconf(_SC_PHYS_PAGES)) *
                      static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  return count <= memory / bytesEach;
}
