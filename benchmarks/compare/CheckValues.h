#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

/// What two results must have in common. Plain C++17, as both sides fill it.
struct CheckValues
{
  std::size_t faces = 0;
  std::size_t vertices = 0;
  double area = 0;
  double volume = 0;            ///< enclosed; its sign is the orientation, positive outward
  std::uint64_t cellDigest = 0; ///< of the cells that the faces came from, in any order

  /// Counts a polygon of `size` corners, three numbers each, that came from `cell`.
  void addFace(const double* corners, std::size_t size, std::uint64_t cell)
  {
    double vectorArea[3] = {0, 0, 0}, centre[3] = {0, 0, 0};
    for (std::size_t i = 0; i < size; ++i) {
      const double* p = corners + 3 * i;
      const double* q = corners + 3 * ((i + 1) % size);
      for (int a = 0; a < 3; ++a) {
        const int b = (a + 1) % 3, c = (a + 2) % 3;
        // Relative to the first corner, to keep the digits.
        vectorArea[a] += 0.5 * ((p[b] - corners[b]) * (q[c] - corners[c]) -
                                (p[c] - corners[c]) * (q[b] - corners[b]));
        centre[a] += p[a] / static_cast<double>(size);
      }
    }
    ++faces;
    area += std::sqrt(vectorArea[0] * vectorArea[0] + vectorArea[1] * vectorArea[1] +
                      vectorArea[2] * vectorArea[2]);
    for (int a = 0; a < 3; ++a)
      volume += centre[a] * vectorArea[a] / 3;
    // A sum of scrambled numbers: the finaliser of MurmurHash3, with an offset so that cell 0
    // counts.
    std::uint64_t h = cell + 0x9e3779b97f4a7c15u;
    h = (h ^ (h >> 33)) * 0xff51afd7ed558ccdu;
    h = (h ^ (h >> 33)) * 0xc4ceb9fe1a85ec53u;
    cellDigest += h ^ (h >> 33);
  }
};

/// Relative difference allowed in area and volume: our coordinates are single precision.
inline constexpr double kCheckTolerance = 1e-6;

/// Says what two results do not share, empty where they agree.
/// @param compareVertices  both share every vertex, so that their numbers must be equal
inline std::string disagreement(const CheckValues& ours, const CheckValues& peer,
                                bool compareVertices)
{
  std::ostringstream text;
  text.precision(12);
  const auto report = [&](const char* what, auto a, auto b, bool same) {
    if (!same) text << (text.tellp() > 0 ? ", " : "") << what << ' ' << a << " and " << b;
  };
  // Not-a-number is close to nothing.
  const auto close = [](double a, double b) {
    return std::abs(a - b) <= kCheckTolerance * std::max(std::abs(a), std::abs(b));
  };
  report("faces", ours.faces, peer.faces, ours.faces == peer.faces);
  if (compareVertices)
    report("vertices", ours.vertices, peer.vertices, ours.vertices == peer.vertices);
  report("area", ours.area, peer.area, close(ours.area, peer.area));
  report("volume", ours.volume, peer.volume, close(ours.volume, peer.volume));
  report("digest of the faces' cells", ours.cellDigest, peer.cellDigest,
         ours.cellDigest == peer.cellDigest);
  return text.str();
}
