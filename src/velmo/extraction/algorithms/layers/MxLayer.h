#pragma once

#include <velmo/extraction/algorithms/access/MxKeptCells.h>
#include <velmo/extraction/algorithms/check/MxMeshCheck.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/mesh/MeXMesh.h>

/// A sheet across one index of a grid: a quad for each cell of one layer of cells, between the
/// cells' lower and upper faces along an axis.
struct MxLayer
{
  std::size_t axis = 0;   ///< 0 to 2
  std::size_t cell = 0;   ///< the layer of cells
  double fraction = 0;    ///< 0: the lower faces; 1: the upper ones; between them: as far between
  bool isNowhere = false; ///< no layer of any mesh
  bool facesUp = false;   ///< quads face as the cells' upper faces do

  /// The lower or upper faces of the cells at `index`.
  static MxLayer atCell(std::size_t axis, std::size_t index, bool upper)
  {
    return {axis, index, upper ? 1.0 : 0.0, false, upper};
  }
  /// The sheet at a fractional index of nodes, `cellCount` being the mesh's along the axis. On a
  /// layer of nodes it belongs to the cells above, on the last one to the cells below; outside
  /// [0, cellCount] it is nowhere.
  static MxLayer atValue(std::size_t axis, double value, std::size_t cellCount);

  bool isBetween() const { return fraction > 0 && fraction < 1; }
};

/// Writes the sheet of the live, accepted and usable cells of a layer, in cell order: nodes of the
/// mesh, or points on the edges along the axis with the fraction as weight. Quads face as the
/// cells' lower faces do unless the layer says otherwise. Faces of fewer than three different nodes
/// are left out.
///
/// Only the layer is looked at: the check answers for its cells. A layer outside the mesh is empty.
/// @param kept  of the surfaces that were written before; knows of this one afterwards
template <class Mesh>
std::shared_ptr<const MxMeshCheck>
writeLayer(const Mesh& mesh, const MxLayer& layer, const MiCellFilterIjk* filter, bool parallel,
           MxExtractionMonitor& monitor, MeXSurfaceMeshUnstructured& surface, MxKeptCells& kept);
