#include "Cases.h"

#include "Ours.h"

#include <algorithm>
#include <sstream>

namespace {

/// Connectivity read, each output vertex read and written, the faces' nodes written.
double unstructuredSkinBytes(const MeshArrays& mesh, const CheckValues& output)
{
  return 8.0 * static_cast<double>(mesh.connectivityCount) +
         48.0 * static_cast<double>(output.vertices) + 32.0 * static_cast<double>(output.faces);
}

double structuredBytes(const MeshArrays&, const CheckValues& output)
{
  return 64.0 * static_cast<double>(output.vertices) + 32.0 * static_cast<double>(output.faces);
}

bool close(double a, double b)
{
  return std::abs(a - b) <= kTolerance * std::max(std::abs(a), std::abs(b));
}

} // namespace

std::span<const Case> comparisonCases()
{
  static const std::vector<Case> cases{
      {"skin_hex", "hex", 10, makeOurSkin, peerSkinFilters(false), unstructuredSkinBytes},
      {"skin_tet", "tet", 10, makeOurSkin, peerSkinFilters(false), unstructuredSkinBytes},
      {"skin_tetshuf", "tetshuf", 50, makeOurSkin, peerSkinFilters(false), unstructuredSkinBytes},
      {"skin_mixed", "mixed", 10, makeOurSkin, peerSkinFilters(false), unstructuredSkinBytes},
      {"skin_curv", "curv", 1.2, makeOurSkin, peerSkinFilters(true), structuredBytes},
  };
  return cases;
}

std::string disagreement(const CheckValues& ours, const CheckValues& peer, bool compareVertices)
{
  std::ostringstream text;
  text.precision(12);
  const auto report = [&](const char* what, auto a, auto b, bool same) {
    if (!same) text << (text.str().empty() ? "" : ", ") << what << ' ' << a << " and " << b;
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
