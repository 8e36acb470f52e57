#pragma once

#include <velmo/extraction/algorithms/check/MxMeshCheck.h>
#include <velmo/extraction/algorithms/cut/MxCutShapes.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiTessellator.h>
#include <velmo/mesh/MeXMesh.h>

#include <map>
#include <memory>
#include <typeindex>

/// Something that is kept between cuts.
class MxCutKept
{
public:
  virtual ~MxCutKept() = default;
  virtual std::size_t getByteCount() const = 0;
};

/// What one extractor keeps between its cuts: buffers that are used again, and its share of the
/// structures that all extractors of a mesh or field have in common. Empty at first; may be thrown
/// away at any time. *Threads*: one cut at a time.
class MxCutMemory
{
public:
  /// The part of a type of its own, made when it is asked for first.
  template <class Part>
  Part& part()
  {
    std::unique_ptr<MxCutKept>& kept = m_parts[typeid(Part)];
    if (!kept) kept = std::make_unique<Part>();
    return static_cast<Part&>(*kept);
  }
  /// Bytes held, those of shared structures included.
  std::size_t getByteCount() const
  {
    std::size_t sum = 0;
    for (const auto& [type, kept] : m_parts)
      sum += kept->getByteCount();
    return sum;
  }

private:
  std::map<std::type_index, std::unique_ptr<MxCutKept>> m_parts;
};

/// Cuts the cells of a volume mesh that are alive, usable and accepted.
///
/// The surface gets a polygon for each loop in which a cell is cut, not triangulated; quadratic
/// cells are cut by the linear cells through all their nodes. Polygons are counter-clockwise seen
/// from larger values, from where the plane's normal points, from outside the sphere or cylinder.
/// They come in ascending order of their cells. Vertices lie on edges of the cells and are shared
/// by all polygons at that edge; their provenance is NodeForm::Edge: the two nodes, the smaller one
/// first, and the second one's weight. They come in ascending order of these two nodes; on regular,
/// rectilinear and curvilinear grids, though, cells and vertices come brick by brick. A node that
/// lies on the surface is itself the vertex of all edges there: it is named twice, with weight
/// zero, and polygons that lose a corner or an edge by this are written without, or not at all.
/// So the cut is that of the limit from below: faces of cells that lie in the surface are polygons
/// of the cell below.
///
/// A tessellator's sub-cells are cut instead of quadratic cells; vertices then are
/// NodeForm::Weighted.
///
/// Nodes without a finite level are on no side; cells that have one are not cut. The result is the
/// same, byte for byte, for any number of threads and whatever the memory holds.
///
/// @param filter       null for all cells
/// @param tessellator  how higher-order cells are refined; null for their own linear cells
/// @param surface      filled but for the stamp of its topology
/// @return what had to be left out
/// @throw std::bad_alloc, MiCancellationException; std::length_error when the mesh or the surface
/// passes what 32-bit indices can name
template <class Mesh, class Filter>
std::shared_ptr<const MxMeshCheck>
cutMesh(const Mesh& mesh, const Filter* filter, const MxCutShape& shape,
        const MiTessellator* tessellator, bool parallel, MxExtractionMonitor& monitor,
        MxCutMemory& memory, MeXSurfaceMeshUnstructured& surface);

#define MX_CUT_KIND(Mesh, Filter)                                                                  \
  extern template std::shared_ptr<const MxMeshCheck> cutMesh(                                      \
      const Mesh&, const Filter*, const MxCutShape&, const MiTessellator*, bool,                   \
      MxExtractionMonitor&, MxCutMemory&, MeXSurfaceMeshUnstructured&);
MX_CUT_KIND(MiVolumeMeshUnstructured, MiCellFilterI)
MX_CUT_KIND(MiVolumeMeshHexahedronIjk, MiCellFilterIjk)
MX_CUT_KIND(MiVolumeMeshVertexHexahedronIjk, MiCellFilterIjk)
MX_CUT_KIND(MiVolumeMeshRegular, MiCellFilterIjk)
MX_CUT_KIND(MiVolumeMeshRectilinear, MiCellFilterIjk)
MX_CUT_KIND(MiVolumeMeshCurvilinear, MiCellFilterIjk)
#undef MX_CUT_KIND
