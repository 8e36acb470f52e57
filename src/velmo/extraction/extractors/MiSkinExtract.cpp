#include <velmo/extraction/extractors/MiSkinExtract.h>

#include <velmo/extraction/algorithms/access/MxFlatGrid.h>
#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/skin/MxSkinBox.h>
#include <velmo/extraction/algorithms/skin/MxSkinEdges.h>
#include <velmo/extraction/algorithms/skin/MxSkinIjk.h>
#include <velmo/extraction/algorithms/skin/MxSkinTessellate.h>
#include <velmo/extraction/algorithms/skin/MxSkinUnstructured.h>
#include <velmo/extraction/extractors/MxSurfaceExtractor.h>

namespace {

constexpr std::size_t kNoBound = static_cast<std::size_t>(-1);

/// Renumbers the written polygons, places their nodes and notes where they came from.
template <class Points>
void finishSurface(const MbIndex3& cells, const MbIndex3& nodes, std::size_t sourceNodeCount,
                   const Points& points, bool parallel, MeXSurfaceMeshUnstructured& surface)
{
  surface.provenance.nodes =
      numberByFirstUse(surface.topology.indices().span(), sourceNodeCount, parallel);
  placeNodes(cells, nodes, points, parallel, surface);
}

/// What the skin of a mesh kind depends on, and how it is reported.
template <MeshType K>
struct SkinWork : MxSurfaceWork<K>
{
  static constexpr bool kIsFlat = MxMeshKind<K>::kIndexing == MxIndexing::I;
  static constexpr std::size_t kPhaseCount = kIsFlat ? 6 : 3; // at most
  using Index = std::conditional_t<kIsFlat, std::size_t, MbIndex3>;
  struct Arguments
  {
    Index lower, upper;
    friend bool operator==(const Arguments&, const Arguments&) = default;
  };
  static Arguments noBounds()
  {
    if constexpr (kIsFlat)
      return {kNoBound, kNoBound};
    else
      return {{kNoBound, kNoBound, kNoBound}, {kNoBound, kNoBound, kNoBound}};
  }

  /// Neighbours are found by the numbers of their nodes, but for cells with corners of their own.
  bool dependsOnCellsAlone() const { return K != VOLUME_MESH_VERTEX_HEXAHEDRON_IJK; }

protected:
  /// The check of the cells in range, of meshes numbered by I, J and K.
  static std::shared_ptr<const MxMeshCheck> checkRange(const typename SkinWork::Mesh& mesh,
                                                       const Arguments& range,
                                                       const typename SkinWork::Request& request)
  {
    Index lower = range.lower;
    for (std::size_t axis = 0; axis < 3; ++axis)
      if (lower[axis] == kNoBound) lower[axis] = 0;
    return checkBox(mesh, lower, range.upper, request.parallel, request.monitor);
  }
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

template <MeshType K>
struct SkinOf;

template <>
struct SkinOf<VOLUME_MESH_UNSTRUCTURED> : SkinWork<VOLUME_MESH_UNSTRUCTURED>
{
  std::shared_ptr<const MxMeshCheck> build(const MiVolumeMeshUnstructured& mesh,
                                           const Arguments& range, const Request& request,
                                           MeXSurfaceMeshUnstructured& surface)
  {
    const MiCellFilterI* filter = request.filter;
    const std::size_t lower = range.lower, upper = range.upper;
    const MiTessellator* tessellator = request.tessellator;
    const bool parallel = request.parallel;
    MxExtractionMonitor& monitor = request.monitor;
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
    m_wholes = {};
    if (tessellator) m_wholes = collectWholeFaces(topology, nodeCount, faces);
    if (m_wholes.hasQuadratic) {
      writeTessellated(mesh, m_wholes, *tessellator, parallel, monitor, surface);
      return check;
    }
    writeFaces(topology, nodeCount, faces, parallel, monitor, surface.topology);
    surface.provenance.cells = std::move(faces.cells);
    visitPoints(geometry.getView(), nodeCount, MxVirtualNodes{&geometry}, [&](const auto& points) {
      finishSurface({topology.getCellCount(), 1, 1}, {nodeCount, 1, 1}, nodeCount, points, parallel,
                    surface);
    });
    return check;
  }
  void buildLines(const MiVolumeMeshUnstructured& mesh, const MeXSurfaceMeshUnstructured& surface,
                  const Request& request, MeXLineMeshUnstructured& lines)
  {
    if (!m_wholes.hasQuadratic) {
      SkinWork::buildLines(mesh, surface, request, lines);
      return;
    }
    request.monitor.beginPhase("Collecting edges", 1);
    writeTessellatedEdges(mesh, m_wholes, *request.tessellator, request.parallel, request.monitor,
                          lines);
  }
  void buildPoints(const MiVolumeMeshUnstructured& mesh, const MeXSurfaceMeshUnstructured& surface,
                   const Request& request, MeXPointMeshCurvilinear& points)
  {
    if (!m_wholes.hasQuadratic) {
      SkinWork::buildPoints(mesh, surface, request, points);
      return;
    }
    request.monitor.beginPhase("Collecting nodes", 1);
    writeWholeFaceNodes(mesh, m_wholes, request.parallel, points);
  }
  bool dependsOnCellsAlone() const { return !m_wholes.hasQuadratic; }
  void clear() { m_wholes = {}; }

private:
  MxWholeFaces m_wholes; ///< of the last surface, while there is a tessellator
};

template <>
struct SkinOf<VOLUME_MESH_HEXAHEDRON_IJK> : SkinWork<VOLUME_MESH_HEXAHEDRON_IJK>
{
  std::shared_ptr<const MxMeshCheck> build(const MiVolumeMeshHexahedronIjk& mesh,
                                           const Arguments& range, const Request& request,
                                           MeXSurfaceMeshUnstructured& surface)
  {
    const bool parallel = request.parallel;
    MxExtractionMonitor& monitor = request.monitor;
    std::shared_ptr<const MxMeshCheck> check = checkRange(mesh, range, request);
    const MiGeometryI& geometry = mesh.getGeometry();
    const std::size_t nodeCount = geometry.getNodeCount();
    const MxIjkChoice choice = chooseCells(mesh.getTopology(), check->unusable, request.filter,
                                           range.lower, range.upper, parallel, monitor);
    writeHexahedronSkin(mesh, choice, parallel, monitor, surface.topology,
                        surface.provenance.cells);
    visitPoints(geometry.getView(), nodeCount, MxVirtualNodes{&geometry}, [&](const auto& points) {
      finishSurface(choice.numbering.counts, {nodeCount, 1, 1}, nodeCount, points, parallel,
                    surface);
    });
    return check;
  }
};

template <>
struct SkinOf<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK> : SkinWork<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK>
{
  std::shared_ptr<const MxMeshCheck> build(const MiVolumeMeshVertexHexahedronIjk& mesh,
                                           const Arguments& range, const Request& request,
                                           MeXSurfaceMeshUnstructured& surface)
  {
    const bool parallel = request.parallel;
    MxExtractionMonitor& monitor = request.monitor;
    std::shared_ptr<const MxMeshCheck> check = this->checkRange(mesh, range, request);
    const MxIjkChoice choice = chooseCells(mesh.getTopology(), check->unusable, request.filter,
                                           range.lower, range.upper, parallel, monitor);
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

/// Regular, rectilinear and curvilinear: neighbours always share their faces.
template <MeshType Type>
struct SkinOf : SkinWork<Type>
{
  using typename SkinWork<Type>::Mesh, typename SkinWork<Type>::Arguments,
      typename SkinWork<Type>::Request;

  std::shared_ptr<const MxMeshCheck> build(const Mesh& mesh, const Arguments& range,
                                           const Request& request,
                                           MeXSurfaceMeshUnstructured& surface)
  {
    const bool parallel = request.parallel;
    MxExtractionMonitor& monitor = request.monitor;
    std::shared_ptr<const MxMeshCheck> check = this->checkRange(mesh, range, request);
    const MxIjkChoice choice = chooseCells(mesh.getTopology(), check->unusable, request.filter,
                                           range.lower, range.upper, parallel, monitor);
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

template <class Interface, MeshType K>
class SkinExtractor final : public MxSurfaceExtractor<Interface, SkinOf<K>>
{
  using Base = MxSurfaceExtractor<Interface, SkinOf<K>>;
  using Work = SkinOf<K>;

public:
  using typename Base::Filter, typename Base::Mesh;
  using Index = typename Work::Index;

  using Base::Base;

  void setCellRange(const Index& lower, const Index& upper) override { m_range = {lower, upper}; }
  void clearCellRanges() override { m_range = Work::noBounds(); }
  const MeXSurfaceMeshUnstructured& extractSkin(const Filter* filter) override
  {
    return this->m_results.extractSurface(m_range, filter);
  }
  const MeXLineMeshUnstructured& extractLine(const Filter* filter) override
  {
    return this->m_results.extractLines(m_range, filter);
  }
  const MeXPointMeshCurvilinear& extractPoints(const Filter* filter) override
  {
    return this->m_results.extractPoints(m_range, filter);
  }

private:
  typename Work::Arguments m_range = Work::noBounds();
};

} // namespace

template <>
inline constexpr MxExtractorRow<SkinExtractor> kExtractorRow<MiSkinExtractUnstructured>{
    "MiSkinExtractUnstructured"};
template <>
inline constexpr MxExtractorRow<SkinExtractor> kExtractorRow<MiSkinExtractHexahedronIjk>{
    "MiSkinExtractHexahedronIjk"};
template <>
inline constexpr MxExtractorRow<SkinExtractor> kExtractorRow<MiSkinExtractIjk>{"MiSkinExtractIjk"};

template struct MiExtractorMaker<MiSkinExtractUnstructured, MiVolumeMeshUnstructured>;
template struct MiExtractorMaker<MiSkinExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>;
template struct MiExtractorMaker<MiSkinExtractIjk, MiVolumeMeshVertexHexahedronIjk>;
template struct MiExtractorMaker<MiSkinExtractIjk, MiVolumeMeshRegular>;
template struct MiExtractorMaker<MiSkinExtractIjk, MiVolumeMeshRectilinear>;
template struct MiExtractorMaker<MiSkinExtractIjk, MiVolumeMeshCurvilinear>;
