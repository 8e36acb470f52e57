#include "Cases.h"

#include "Ours.h"

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
