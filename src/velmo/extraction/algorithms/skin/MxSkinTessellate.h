#pragma once

#include <velmo/extraction/algorithms/skin/MxFaceMatch.h>
#include <velmo/extraction/interfaces/MiMesh.h>
#include <velmo/extraction/interfaces/MiTessellator.h>
#include <velmo/mesh/MeXMesh.h>

/// Faces as their cells have them, quadratic ones with all their nodes; or cells of two or one
/// dimensions likewise.
struct MxWholeFaces
{
  bool hasQuadratic = false; ///< without, nothing else is filled
  MxArray<std::uint32_t> cells;
  MxArray<MiCellShape> shapes;
  MxArray<std::uint32_t> begins; ///< face f has the nodes begins[f] .. begins[f + 1]
  MxArray<std::uint32_t> nodes;

  std::size_t size() const { return cells.size(); }
};

MxWholeFaces collectWholeFaces(const MiTopologyI& topology, std::size_t nodeCount,
                               const MxFaceList& faces);

/// Fills the surface with what the tessellator makes of the quadratic faces (their linear sub-faces
/// where it declines or answers with something else than triangles or quads) and with the linear
/// ones as they are. Points with the same nodes and weights become one node, so two faces meet in
/// an edge without a gap where the tessellator refines it alike from both.
void writeTessellated(const MiMeshUnstructuredI& mesh, const MxWholeFaces& faces,
                      const MiTessellator& tessellator, bool parallel, MxExtractionMonitor& monitor,
                      MeXSurfaceMeshUnstructured& surface);

/// The same for cells of one dimension.
void writeTessellated(const MiMeshUnstructuredI& mesh, const MxWholeFaces& cells,
                      const MiTessellator& tessellator, bool parallel, MxExtractionMonitor& monitor,
                      MeXLineMeshUnstructured& lines);

/// The edges of the whole faces, each once, refined likewise.
void writeTessellatedEdges(const MiMeshUnstructuredI& mesh, const MxWholeFaces& faces,
                           const MiTessellator& tessellator, bool parallel,
                           MxExtractionMonitor& monitor, MeXLineMeshUnstructured& lines);

/// The mesh's own nodes of the whole faces.
void writeWholeFaceNodes(const MiMeshUnstructuredI& mesh, const MxWholeFaces& faces, bool parallel,
                         MeXPointMeshCurvilinear& points);
