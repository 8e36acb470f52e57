#include <velmo/extraction/extractors/MiSkinExtract.h>

#include <velmo/extraction/algorithms/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/MxSkinBox.h>
#include <velmo/extraction/algorithms/MxSkinEdges.h>
#include <velmo/extraction/algorithms/MxSkinIjk.h>
#include <velmo/extraction/algorithms/MxSkinTessellate.h>
#include <velmo/extraction/algorithms/MxSkinUnstructured.h>
#include <velmo/extraction/extractors/MxSkinExtractor.h>

namespace {

constexpr std::size_t kNoBound = static_cast<std::size_t>(-1);

/// Places the nodes of numbered polygons and notes where they came from.
/// @param points  the places of the source nodes, which stand in surface.provenance.nodes
template <class Points>
void placeNodes(const MbIndex3& cells, const MbIndex3& nodes, const Points& points, bool parallel,
                MeXSurfaceMeshUnstructured& surface)
{
  MeXProvenance& provenance = surface.provenance;
  provenance.form = MeXProvenance::NodeForm::Node;
  provenance.weights.clear();
  provenance.offsets.clear();
  provenance.sourceCells = cells;
  provenance.sourceNodes = nodes;
  const MxArray<std::uint32_t>& sources = provenance.nodes;
  placePoints(
      sources.size(), [&](std::size_t n) { return points[sources[n]]; },
      [&](std::size_t n) { prefetchPoint(points, sources[n]); }, parallel, surface.geometry);
}

/// Renumbers the written polygons, places their nodes and notes where they came from.
template <class Points>
void finishSurface(const MbIndex3& cells, const MbIndex3& nodes, std::size_t sourceNodeCount,
                   const Points& points, bool parallel, MeXSurfaceMeshUnstructured& surface)
{
  surface.provenance.nodes =
      numberByFirstUse(surface.topology.indices().span(), sourceNodeCount, parallel);
  placeNodes(cells, nodes, points, parallel, surface);
}

/// Lines and points of kinds whose cells are all linear: those of the surface.
template <class Mesh>
struct LinearKind
{
  struct Parts
  {};
  static void buildLines(const Mesh&, const Parts&, const MeXSurfaceMeshUnstructured& surface,
                         const MiTessellator*, bool parallel, MxExtractionMonitor& monitor,
                         MeXLineMeshUnstructured& lines)
  {
    monitor.beginPhase("Collecting edges", 1);
    writeEdges(surface, parallel, lines);
  }
  static void buildPoints(const Mesh&, const Parts&, const MeXSurfaceMeshUnstructured& surface,
                          bool parallel, MxExtractionMonitor& monitor,
                          MeXPointMeshCurvilinear& points)
  {
    monitor.beginPhase("Collecting nodes", 1);
    writeNodes(surface, parallel, points);
  }
};

template <MeshType Type>
struct IjkKind : LinearKind<typename MxMeshKind<Type>::Interface>
{
  using Index = MbIndex3;
  using Filter = MiCellFilterIjk;
  static constexpr MeshType kKind = Type;
  static constexpr MxIndexing kNodeIndexing = MxIndexing::Ijk;
  static constexpr const char* kName = "MiSkinExtractIjk";
  static constexpr std::size_t kPhaseCount = 3;
  static MbIndex3 noBound() { return {kNoBound, kNoBound, kNoBound}; }
};

struct NodeOfPlaces
{
  const MxVertexCorners& corners;
  MxIjkNumbering cells;
  const MxArray<std::uint64_t>& places;
  MbVec3d operator[](std::size_t place) const
  {
    const MbIndex3 at = cells.split(places[place] / 8);
    return corners.corner(at.x, at.y, at.z, static_cast<int>(places[place] % 8));
  }
};

struct NodeOfAxes
{
  MxAxes axes;
  MxIjkNumbering nodes;
  MbVec3d operator[](std::size_t node) const
  {
    const MbIndex3 at = nodes.split(node);
    return axes.node(at.x, at.y, at.z);
  }
};

} // namespace

template <>
struct MxSkinKind<MiVolumeMeshUnstructured>
{
  using Index = std::size_t;
  using Filter = MiCellFilterI;
  using Parts = MxWholeFaces;
  static constexpr MeshType kKind = VOLUME_MESH_UNSTRUCTURED;
  static constexpr MxIndexing kNodeIndexing = MxIndexing::I;
  static constexpr const char* kName = "MiSkinExtractUnstructured";
  static constexpr std::size_t kPhaseCount = 5;
  static std::size_t noBound() { return kNoBound; }

  static std::shared_ptr<const MxMeshCheck>
  build(const MiVolumeMeshUnstructured& mesh, const MiCellFilterI* filter, std::size_t lower,
        std::size_t upper, const MiTessellator* tessellator, bool parallel,
        MxExtractionMonitor& monitor, Parts& parts, MeXSurfaceMeshUnstructured& surface)
  {
    const MiTopologyI& topology = mesh.getTopology();
    const MiGeometryI& geometry = mesh.getGeometry();
    const std::size_t nodeCount = geometry.getNodeCount();
    const bool whole = tessellator != nullptr;
    std::shared_ptr<const MxMeshCheck> check = checkNodes(mesh, parallel, monitor);
    const auto choose = [&](const MxBits& unusable) {
      return chooseCells(topology, unusable, filter, lower == kNoBound ? 0 : lower, upper, parallel,
                         monitor);
    };
    // Where the whole mesh is taken and nothing is known of it yet, its cells are swept over while
    // they are hashed: the arrays, which are most of what is read, are read once less.
    MxFaceList faces;
    bool found = false;
    if (!check) {
      const bool plain =
          !filter && lower == kNoBound && upper == kNoBound && !topology.hasDeadCells();
      found = plain &&
              findSkinFaces(topology, nodeCount, choose({}), whole, true, parallel, monitor, faces);
      check = found ? rememberClean(mesh) : checkMesh(mesh, parallel, monitor);
    }
    if (!found)
      findSkinFaces(topology, nodeCount, choose(check->unusable), whole, false, parallel, monitor,
                    faces);
    monitor.beginPhase("Writing faces", 2 * blockCount(faces.size(), 4096));
    parts = {};
    if (tessellator) parts = collectWholeFaces(topology, nodeCount, faces);
    if (parts.hasQuadratic) {
      writeTessellated(mesh, parts, *tessellator, parallel, monitor, surface);
      return check;
    }
    writeFaces(topology, nodeCount, faces, parallel, monitor, surface.topology);
    surface.provenance.cells = std::move(faces.cells);
    visitPoints(geometry.getView(), nodeCount, Nodes{&geometry}, [&](const auto& points) {
      finishSurface({topology.getCellCount(), 1, 1}, {nodeCount, 1, 1}, nodeCount, points, parallel,
                    surface);
    });
    return check;
  }
  static void buildLines(const MiVolumeMeshUnstructured& mesh, const Parts& parts,
                         const MeXSurfaceMeshUnstructured& surface,
                         const MiTessellator* tessellator, bool parallel,
                         MxExtractionMonitor& monitor, MeXLineMeshUnstructured& lines)
  {
    monitor.beginPhase("Collecting edges", 1);
    if (parts.hasQuadratic)
      writeTessellatedEdges(mesh, parts, *tessellator, parallel, monitor, lines);
    else
      writeEdges(surface, parallel, lines);
  }
  static void buildPoints(const MiVolumeMeshUnstructured& mesh, const Parts& parts,
                          const MeXSurfaceMeshUnstructured& surface, bool parallel,
                          MxExtractionMonitor& monitor, MeXPointMeshCurvilinear& points)
  {
    monitor.beginPhase("Collecting nodes", 1);
    if (parts.hasQuadratic)
      writeWholeFaceNodes(mesh, parts, parallel, points);
    else
      writeNodes(surface, parallel, points);
  }

private:
  struct Nodes
  {
    const MiGeometryI* geometry;
    MbVec3d operator[](std::size_t node) const { return geometry->getNode(node); }
  };
};

template <>
struct MxSkinKind<MiVolumeMeshHexahedronIjk> : IjkKind<VOLUME_MESH_HEXAHEDRON_IJK>
{
  static constexpr MxIndexing kNodeIndexing = MxIndexing::I;
  static constexpr const char* kName = "MiSkinExtractHexahedronIjk";

  static std::shared_ptr<const MxMeshCheck>
  build(const MiVolumeMeshHexahedronIjk& mesh, const MiCellFilterIjk* filter, const MbIndex3& lower,
        const MbIndex3& upper, const MiTessellator*, bool parallel, MxExtractionMonitor& monitor,
        Parts&, MeXSurfaceMeshUnstructured& surface)
  {
    std::shared_ptr<const MxMeshCheck> check = checkMesh(mesh, parallel, monitor);
    const MiGeometryI& geometry = mesh.getGeometry();
    const std::size_t nodeCount = geometry.getNodeCount();
    const MxIjkChoice choice =
        chooseCells(mesh.getTopology(), check->unusable, filter, lower, upper, parallel, monitor);
    writeHexahedronSkin(mesh, choice, parallel, monitor, surface.topology,
                        surface.provenance.cells);
    struct Nodes
    {
      const MiGeometryI* geometry;
      MbVec3d operator[](std::size_t node) const { return geometry->getNode(node); }
    };
    visitPoints(geometry.getView(), nodeCount, Nodes{&geometry}, [&](const auto& points) {
      finishSurface(choice.numbering.counts, {nodeCount, 1, 1}, nodeCount, points, parallel,
                    surface);
    });
    return check;
  }
};

template <>
struct MxSkinKind<MiVolumeMeshVertexHexahedronIjk> : IjkKind<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK>
{
  static std::shared_ptr<const MxMeshCheck>
  build(const MiVolumeMeshVertexHexahedronIjk& mesh, const MiCellFilterIjk* filter,
        const MbIndex3& lower, const MbIndex3& upper, const MiTessellator*, bool parallel,
        MxExtractionMonitor& monitor, Parts&, MeXSurfaceMeshUnstructured& surface)
  {
    std::shared_ptr<const MxMeshCheck> check = checkMesh(mesh, parallel, monitor);
    const MxIjkChoice choice =
        chooseCells(mesh.getTopology(), check->unusable, filter, lower, upper, parallel, monitor);
    const MxVertexCorners corners(mesh);
    const MxIjkNumbering cells = choice.numbering, nodes{nodeCountsOf(cells.counts)};
    const MxArray<std::uint64_t> places = writeVertexSkin(
        corners, choice, parallel, monitor, surface.topology, surface.provenance.cells);
    finishSurface(cells.counts, nodes.counts, places.size(), NodeOfPlaces{corners, cells, places},
                  parallel, surface);
    for (std::uint32_t& node : surface.provenance.nodes) {
      const MbIndex3 at = cells.split(places[node] / 8);
      const auto& step = kCornerSteps[places[node] % 8];
      node = static_cast<std::uint32_t>(nodes.flat(at.x + step[0], at.y + step[1], at.z + step[2]));
    }
    return check;
  }
};

namespace {

/// Regular, rectilinear and curvilinear: neighbours always share their faces.
template <MeshType Type>
struct GridKind : IjkKind<Type>
{
  using Mesh = typename MxMeshKind<Type>::Interface;

  static std::shared_ptr<const MxMeshCheck>
  build(const Mesh& mesh, const MiCellFilterIjk* filter, const MbIndex3& lower,
        const MbIndex3& upper, const MiTessellator*, bool parallel, MxExtractionMonitor& monitor,
        typename IjkKind<Type>::Parts&, MeXSurfaceMeshUnstructured& surface)
  {
    std::shared_ptr<const MxMeshCheck> check = checkMesh(mesh, parallel, monitor);
    const MxIjkChoice choice =
        chooseCells(mesh.getTopology(), check->unusable, filter, lower, upper, parallel, monitor);
    const MxIjkNumbering nodes{nodeCountsOf(choice.numbering.counts)};
    const bool isBox = choice.accepted.empty() && !choice.isEmpty();
    if (isBox)
      writeBoxSkin(choice, parallel, monitor, surface.topology, surface.provenance.cells,
                   surface.provenance.nodes);
    else
      writeGridSkin(choice, parallel, monitor, surface.topology, surface.provenance.cells);
    const auto finish = [&](const auto& points) {
      if (isBox)
        placeNodes(choice.numbering.counts, nodes.counts, points, parallel, surface);
      else
        finishSurface(choice.numbering.counts, nodes.counts, nodes.total(), points, parallel,
                      surface);
    };
    if constexpr (Type == VOLUME_MESH_CURVILINEAR) {
      struct Nodes
      {
        const MiGeometryIjk* geometry;
        MxIjkNumbering numbering;
        MbVec3d operator[](std::size_t node) const
        {
          const MbIndex3 at = numbering.split(node);
          return geometry->getNode(at.x, at.y, at.z);
        }
      };
      const MiGeometryIjk& geometry = mesh.getGeometry();
      visitPoints(geometry.getView(), nodes.total(), Nodes{&geometry, nodes},
                  [&](const auto& points) { finish(points); });
    } else if (choice.isEmpty()) {
      finish(NodeOfAxes{{}, nodes});
    } else {
      finish(NodeOfAxes{makeAxes(mesh), nodes});
    }
    return check;
  }
};

} // namespace

template <>
struct MxSkinKind<MiVolumeMeshRegular> : GridKind<VOLUME_MESH_REGULAR>
{};
template <>
struct MxSkinKind<MiVolumeMeshRectilinear> : GridKind<VOLUME_MESH_RECTILINEAR>
{};
template <>
struct MxSkinKind<MiVolumeMeshCurvilinear> : GridKind<VOLUME_MESH_CURVILINEAR>
{};

std::unique_ptr<MiSkinExtractUnstructured>
MiSkinExtractUnstructured::getNewInstance(const MiVolumeMeshUnstructured& mesh, bool parallel,
                                          const MiTessellator* tessellator)
{
  return std::make_unique<MxSkinExtractor<MiSkinExtractUnstructured, MiVolumeMeshUnstructured>>(
      mesh, parallel, tessellator);
}

std::unique_ptr<MiSkinExtractHexahedronIjk>
MiSkinExtractHexahedronIjk::getNewInstance(const MiVolumeMeshHexahedronIjk& mesh, bool parallel,
                                           const MiTessellator* tessellator)
{
  return std::make_unique<MxSkinExtractor<MiSkinExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>>(
      mesh, parallel, tessellator);
}

std::unique_ptr<MiSkinExtractIjk>
MiSkinExtractIjk::getNewInstance(const MiVolumeMeshVertexHexahedronIjk& mesh, bool parallel,
                                 const MiTessellator* tessellator)
{
  return std::make_unique<MxSkinExtractor<MiSkinExtractIjk, MiVolumeMeshVertexHexahedronIjk>>(
      mesh, parallel, tessellator);
}

std::unique_ptr<MiSkinExtractIjk> MiSkinExtractIjk::getNewInstance(const MiVolumeMeshRegular& mesh,
                                                                   bool parallel,
                                                                   const MiTessellator* tessellator)
{
  return std::make_unique<MxSkinExtractor<MiSkinExtractIjk, MiVolumeMeshRegular>>(mesh, parallel,
                                                                                  tessellator);
}

std::unique_ptr<MiSkinExtractIjk>
MiSkinExtractIjk::getNewInstance(const MiVolumeMeshRectilinear& mesh, bool parallel,
                                 const MiTessellator* tessellator)
{
  return std::make_unique<MxSkinExtractor<MiSkinExtractIjk, MiVolumeMeshRectilinear>>(
      mesh, parallel, tessellator);
}

std::unique_ptr<MiSkinExtractIjk>
MiSkinExtractIjk::getNewInstance(const MiVolumeMeshCurvilinear& mesh, bool parallel,
                                 const MiTessellator* tessellator)
{
  return std::make_unique<MxSkinExtractor<MiSkinExtractIjk, MiVolumeMeshCurvilinear>>(
      mesh, parallel, tessellator);
}
