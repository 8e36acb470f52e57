#include <velmo/base/MxArray.h>

#include <cstdint>

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

void velmo_detail::adviseLargePages(void* data, std::size_t byteCount)
{
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  constexpr std::size_t kWorthwhile = std::size_t{2} << 20;
  if (byteCount < kWorthwhile) return;
  const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  const auto first = (reinterpret_cast<std::uintptr_t>(data) + page - 1) / page * page;
  const auto last = (reinterpret_cast<std::uintptr_t>(data) + byteCount) / page * page;
  // A refusal only means that the pages stay small.
  if (last > first) (void)::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#else
  (void)data, (void)byteCount;
#endif
}
