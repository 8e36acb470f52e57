#pragma once

#include <array>
#include <cstdint>

// Plain C++17, as both sides of a comparison use it.
namespace bench {

inline constexpr double kPi = 3.14159265358979323846;

using Point = std::array<double, 3>;

/// The linear congruential generator that shuffles meshes and draws points.
struct Generator
{
  std::uint64_t state;

  std::uint64_t next() { return state = state * 6364136223846793005ull + 1442695040888963407ull; }
  std::uint64_t below(std::uint64_t bound) { return (next() >> 11) % bound; }
  double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
};

} // namespace bench
