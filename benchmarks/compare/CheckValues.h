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
  std::size_t triangles = 0; ///< that the faces would be split into
  std::size_t vertices = 0;
  double area = 0;
  /// The area and the integral of the colour, of the triangles between each face's first corner and
  /// its other edges.
  double fanArea = 0, fanIntegral = 0;
  double volume = 0;            ///< enclosed; its sign is the orientation, positive outward
  std::uint64_t cellDigest = 0; ///< of the cells that the faces came from, in any order

  /// Counts a polygon of `size` corners, three numbers each, that came from `cell`.
  /// @param colours  one per corner, null for none
  void addFace(const double* corners, std::size_t size, std::uint64_t cell,
               const double* colours = nullptr)
  {
    double vectorArea[3] = {0, 0, 0}, centre[3] = {0, 0, 0};
    for (std::size_t i = 1; i + 1 < size; ++i)
      addTriangle(corners, i, colours);
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
    triangles += size - 2;
    area += lengthOf(vectorArea);
    for (int a = 0; a < 3; ++a)
      volume += centre[a] * vectorArea[a] / 3;
    // A sum of scrambled numbers: the finaliser of MurmurHash3, with an offset so that cell 0
    // counts.
    std::uint64_t h = cell + 0x9e3779b97f4a7c15u;
    h = (h ^ (h >> 33)) * 0xff51afd7ed558ccdu;
    h = (h ^ (h >> 33)) * 0xc4ceb9fe1a85ec53u;
    cellDigest += h ^ (h >> 33);
  }

  /// Counts the values that were found; others are NaN. Their sum stands where faces have areas.
  template <class Values>
  void addFound(const Values& values)
  {
    for (const double value : values) {
      if (std::isnan(value)) continue;
      ++triangles;
      fanArea += value;
    }
  }

  /// Counts a segment of a line; its length stands where faces have their area.
  void addSegment(const double* from, const double* to)
  {
    const double way[3] = {to[0] - from[0], to[1] - from[1], to[2] - from[2]};
    ++faces;
    ++triangles;
    area += lengthOf(way);
    fanArea += lengthOf(way);
  }

private:
  static double lengthOf(const double (&v)[3])
  {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
  }
  /// The triangle between corner 0 and the edge from corner i to the next.
  void addTriangle(const double* corners, std::size_t i, const double* colours)
  {
    const double *p = corners + 3 * i, *q = p + 3;
    double vectorArea[3];
    for (int a = 0; a < 3; ++a) {
      const int b = (a + 1) % 3, c = (a + 2) % 3;
      vectorArea[a] = 0.5 * ((p[b] - corners[b]) * (q[c] - corners[c]) -
                             (p[c] - corners[c]) * (q[b] - corners[b]));
    }
    const double own = lengthOf(vectorArea);
    fanArea += own;
    if (colours) fanIntegral += own * (colours[0] + colours[i] + colours[i + 1]) / 3;
  }
};

/// How far two results must agree.
struct CheckRule
{
  bool faces = true;    ///< the same faces, from the same cells; otherwise triangles are compared
  bool vertices = true; ///< the same number, where the filter shares every vertex
  bool volume = true;   ///< the surface is closed: compare what it encloses
  bool orientation = true; ///< and its sign
  /// Relative difference of sizes, and that of the number of triangles. Our coordinates are single
  /// precision, which costs 1e-6.
  double sizes = 1e-6, triangles = 0;
  /// The same of the integral of the colour.
  double integral = 1e-6;

  /// Added to all three: what shrinks with the square of the cell size, for a mesh of one cell.
  double perCell = 0;
  /// Added to sizes and integral: what shrinks with the cell size, for a mesh of one cell.
  double perStep = 0;
};

/// Says what two results do not share, empty where they agree.
/// @param shared  both share every vertex
/// @param cellCount  of the mesh
inline std::string disagreement(const CheckValues& ours, const CheckValues& peer,
                                const CheckRule& rule, bool shared, std::size_t cellCount = 1)
{
  const double more = rule.perCell * std::pow(static_cast<double>(cellCount), -2.0 / 3);
  const double steps = more + rule.perStep * std::pow(static_cast<double>(cellCount), -1.0 / 3);
  std::ostringstream text;
  text.precision(12);
  const auto report = [&](const char* what, auto a, auto b, bool same) {
    if (!same) text << (text.tellp() > 0 ? ", " : "") << what << ' ' << a << " and " << b;
  };
  // Not-a-number is close to nothing.
  const auto close = [](double a, double b, double tolerance) {
    return std::abs(a - b) <= tolerance * std::max(std::abs(a), std::abs(b));
  };
  if (rule.faces) {
    report("faces", ours.faces, peer.faces, ours.faces == peer.faces);
    report("area", ours.area, peer.area, close(ours.area, peer.area, rule.sizes + steps));
    report("digest of the faces' cells", ours.cellDigest, peer.cellDigest,
           ours.cellDigest == peer.cellDigest);
  } else {
    report("triangles", ours.triangles, peer.triangles,
           close(static_cast<double>(ours.triangles), static_cast<double>(peer.triangles),
                 rule.triangles + more));
    report("area", ours.fanArea, peer.fanArea,
           close(ours.fanArea, peer.fanArea, rule.sizes + steps));
    report("integral", ours.fanIntegral, peer.fanIntegral,
           close(ours.fanIntegral, peer.fanIntegral, rule.integral + steps));
  }
  if (rule.vertices && shared)
    report("vertices", ours.vertices, peer.vertices, ours.vertices == peer.vertices);
  if (rule.volume) {
    const double peerVolume =
        rule.orientation ? peer.volume : std::copysign(peer.volume, ours.volume);
    report("volume", ours.volume, peer.volume, close(ours.volume, peerVolume, rule.sizes + steps));
  }
  return text.str();
}
