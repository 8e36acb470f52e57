#include "OurMesh.h"

CheckValues checkOurSurface(const MeXSurfaceMeshUnstructured& surface,
                            const MeXDataSetI<double>* colour)
{
  CheckValues values;
  values.vertices = surface.geometry.getNodeCount();
  std::vector<double> corners, colours;
  for (std::size_t cell = 0; cell < surface.topology.getCellCount(); ++cell) {
    corners.clear();
    colours.clear();
    for (const int node : surface.topology.getCell(cell)) {
      const auto n = static_cast<std::size_t>(node);
      const MbVec3d p = surface.geometry.getNode(n);
      corners.insert(corners.end(), {p.x, p.y, p.z});
      if (colour) colours.push_back(colour->values[n]);
    }
    values.addFace(corners.data(), corners.size() / 3, surface.provenance.cells[cell],
                   colour ? colours.data() : nullptr);
  }
  return values;
}
