#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/check/MbMeshFaults.h>
#include <velmo/extraction/algorithms/map/MxNodeNormals.h>
#include <velmo/extraction/extractors/MiPointProbe.h>
#include <velmo/mesh/MbCounts.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbTessellator.h>
#include <velmo/mesh/views/MxCellView.h>

#include <tests/io/TestFiles.h>
#include <tests/support/CutExtractors.h>
#include <tests/support/ExtractorOf.h>
#include <tests/support/SkinLaws.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <optional>

/// Everything that can be extracted, from every damaged or awkward file that can be read.
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr MeshType kHexahedronIjk = VOLUME_MESH_HEXAHEDRON_IJK;
constexpr MeshType kVertexHexahedronIjk = VOLUME_MESH_VERTEX_HEXAHEDRON_IJK;

template <MeshType K>
using Probe = std::conditional_t<
    K == VOLUME_MESH_UNSTRUCTURED || K == SURFACE_MESH_UNSTRUCTURED, MiPointProbeUnstructured,
    std::conditional_t<
        K == kHexahedronIjk, MiPointProbeHexahedronIjk,
        std::conditional_t<K == VOLUME_MESH_REGULAR || K == VOLUME_MESH_RECTILINEAR ||
                               K == VOLUME_MESH_CURVILINEAR,
                           MiPointProbeIjk, MiPointProbeIj>>>;

/// A place and a size where most of a mesh is, however far some nodes have strayed.
struct Middle
{
  MbVec3d place;
  double size = 1;
  std::vector<MbVec3d> nodes; ///< some, finite or not
};

template <MeshType K>
Middle middleOf(const MiMesh& mesh)
{
  const MxCellView<K> view(zoo::as<K>(mesh));
  Middle middle;
  std::vector<double> coordinates[3];
  for (std::size_t n = 0; n < view.nodeCount(); ++n) {
    const MbVec3d p = view.position(n);
    if (n % (view.nodeCount() / 50 + 1) == 0) middle.nodes.push_back(p);
    if (!isFinite(p)) continue;
    for (std::size_t axis = 0; axis < 3; ++axis)
      coordinates[axis].push_back(p[axis]);
  }
  double size = 0;
  for (std::size_t axis = 0; axis < 3 && !coordinates[axis].empty(); ++axis) {
    std::vector<double>& own = coordinates[axis];
    std::sort(own.begin(), own.end());
    middle.place[axis] = own[own.size() / 2];
    size = std::max(size, own[own.size() * 9 / 10] - own[own.size() / 10]);
  }
  if (size > 0 && std::isfinite(size)) middle.size = size;
  return middle;
}

/// Extracts by one or several threads and checks each result as it comes.
class Survey
{
public:
  Survey(const MbMeshFile& file, bool parallel) : m_file(file), m_parallel(parallel)
  {
    const MiMesh& mesh = *file.getMesh();
    const MeshType type = file.getMeshType();
    visitMeshKind(MxVolumeKinds{}, type, [&]<MeshType K>() { volume<K>(zoo::as<K>(mesh)); });
    visitMeshKind(MxSurfaceKinds{}, type, [&]<MeshType K>() { surface<K>(zoo::as<K>(mesh)); });
    visitMeshKind(MxLineKinds{}, type, [&]<MeshType K>() {
      const auto lines = extractors::Lines<K>::getNewInstance(zoo::as<K>(mesh), m_parallel);
      note("lines", lines->extractLine(nullptr));
      note("points of lines", lines->extractPoints(nullptr));
      mapOnto("lines", *lines, lines->getLines()->provenance);
    });
  }

  /// The bytes of each result by its name.
  const std::map<std::string, std::string>& results() const { return m_results; }

private:
  template <MeshType K, class Mesh>
  void volume(const Mesh& mesh)
  {
    const Middle middle = middleOf<K>(mesh);
    const MbUniformTessellator tessellator(2);
    for (const MiTessellator* with : {static_cast<const MiTessellator*>(nullptr), //
                                      static_cast<const MiTessellator*>(&tessellator)})
    {
      const std::string prefix = with ? "refined " : "";
      const auto skin = extractors::Skin<K>::getNewInstance(mesh, m_parallel, with);
      note(prefix + "skin", skin->extractSkin(nullptr));
      mapOnto(prefix + "skin", *skin, skin->getSurface()->provenance);
      note(prefix + "edges", skin->extractLine(nullptr));
      note(prefix + "points", skin->extractPoints(nullptr));
      cuts(prefix, mesh, middle, with);
      if (K != VOLUME_MESH_UNSTRUCTURED) break; // no other has quadratic cells
    }
    if constexpr (K != VOLUME_MESH_UNSTRUCTURED) {
      const MbIndex3 counts = mesh.getTopology().getCellCounts();
      constexpr std::size_t kOpen = std::numeric_limits<std::size_t>::max();
      for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::string name = " " + std::to_string(axis);
        MbIndex3 lower{kOpen, kOpen, kOpen}, upper = lower;
        lower[axis] = counts[axis] / 2;
        upper[axis] = counts[axis] / 2 + 1;
        const auto slab = extractors::Skin<K>::getNewInstance(mesh, m_parallel);
        slab->setCellRange(lower, upper);
        note("slab" + name, slab->extractSkin(nullptr));
        if constexpr (K != kVertexHexahedronIjk) {
          const auto dimension = static_cast<MiMesh::Dimension>(axis);
          const auto layer = extractors::Layer<K>::getNewInstance(mesh, m_parallel);
          const auto between = extractors::Between<K>::getNewInstance(mesh, m_parallel);
          for (const std::size_t index : {std::size_t{0}, counts[axis] / 2, counts[axis]}) {
            const std::string at = name + " at " + std::to_string(index);
            note("layer" + at, layer->extractSlice(dimension, index, index % 2 == 1, nullptr));
            const double value = 0.98 * static_cast<double>(index);
            note("sheet" + at, between->extractSlice(dimension, nullptr, value));
          }
          mapOnto("layer" + name, *layer, layer->getSurface()->provenance);
          mapOnto("sheet" + name, *between, between->getSurface()->provenance);
        }
      }
    }
    if constexpr (K != kVertexHexahedronIjk) {
      probe<K>(mesh, middle);
      streamlines<K>(mesh, middle);
    }
    faults(mesh);
  }

  template <MeshType K, class Mesh>
  void surface(const Mesh& mesh)
  {
    const MbUniformTessellator tessellator(2);
    for (const MiTessellator* with : {static_cast<const MiTessellator*>(nullptr), //
                                      static_cast<const MiTessellator*>(&tessellator)})
    {
      const std::string prefix = with ? "refined " : "";
      const auto whole = extractors::Surface<K>::getNewInstance(mesh, m_parallel, with);
      note(prefix + "surface", whole->extractSurface(nullptr));
      mapOnto(prefix + "surface", *whole, whole->getSurface()->provenance);
      note(prefix + "edges", whole->extractLine(nullptr));
      note(prefix + "points", whole->extractPoints(nullptr));
      if (K != SURFACE_MESH_UNSTRUCTURED) break;
    }
    const auto isolines = extractors::Isolines<K>::getNewInstance(mesh, m_parallel);
    forScalars([&](const std::string& name, const auto& set, const std::vector<double>& values) {
      isolines->extractIsolines(values, set, nullptr);
      noteLines("isolines of " + name, *isolines);
    });
    probe<K>(mesh, middleOf<K>(mesh));
    faults(mesh);
  }

  template <class Mesh>
  void cuts(const std::string& prefix, const Mesh& mesh, const Middle& middle,
            const MiTessellator* tessellator)
  {
    CutExtractors kept(mesh, m_parallel, tessellator);
    const MbVec3d& at = middle.place;
    const double size = middle.size;
    // What is cut again and again, which is a way of its own, is what a first cut gives.
    const auto noteCut = [&](const std::string& name, auto extractorOf, const auto& cut) {
      CutExtractors fresh(mesh, m_parallel, tessellator);
      const std::string first = laws::bytesOf(cut(fresh));
      note(prefix + name, cut(kept));
      EXPECT_TRUE(m_results[prefix + name] == first) << name << " depends on earlier cuts";
      mapOnto(prefix + name, *extractorOf(kept), extractorOf(kept)->getSurface()->provenance);
    };
    std::vector<MbVec3d> places = {at, at + MbVec3d{0.013, 0.021, 0.017} * size,
                                   at - MbVec3d{0.3, 0.2, 0.1} * size};
    for (std::size_t n = 0; n < middle.nodes.size(); n += 17)
      if (isFinite(middle.nodes[n])) places.push_back(middle.nodes[n]);
    for (std::size_t p = 0; p < places.size(); ++p) {
      const std::string through = " " + std::to_string(p);
      for (const MbVec3d& normal :
           {MbVec3d{0, 0, 1}, MbVec3d{0.3, 0.5, 0.8}, MbVec3d{-1, 0, 0}, MbVec3d{1e200, 2e199, 0}})
        noteCut(
            "plane" + through + " " + std::to_string(normal.x),
            [](auto& cuts) { return cuts.planes; },
            [&](auto& cuts) -> const auto& {
              return cuts.plane(normal, dot(normal, places[p]), nullptr);
            });
      for (const double radius : {0.0, 0.31 * size, 20 * size, 1e117, 1e200}) {
        const std::string wide = through + " " + std::to_string(radius);
        noteCut(
            "sphere" + wide, [](auto& cuts) { return cuts.spheres; },
            [&](auto& cuts) -> const auto& { return cuts.sphere(places[p], radius, nullptr); });
        noteCut(
            "cylinder" + wide, [](auto& cuts) { return cuts.cylinders; },
            [&](auto& cuts) -> const auto& {
              return cuts.cylinder(places[p], {0.1, 1, 0.2}, radius, nullptr);
            });
      }
    }
    forScalars([&](const std::string& name, const auto& set, const std::vector<double>& values) {
      for (const double value : values)
        noteCut(
            "isosurface of " + name + " " + std::to_string(value),
            [](auto& cuts) { return cuts.isosurfaces; },
            [&](auto& cuts) -> const auto& { return cuts.isosurface(set, value, nullptr); });
    });
  }

  template <MeshType K, class Mesh>
  void probe(const Mesh& mesh, const Middle& middle)
  {
    const MxCellView<K> view(mesh);
    const auto own = Probe<K>::getNewInstance(mesh, m_parallel);
    std::vector<MbVec3d> points = middle.nodes;
    for (std::size_t n = 0; n < middle.nodes.size(); ++n)
      points.push_back((middle.place + middle.nodes[n]) * 0.5);
    points.push_back(middle.place + MbVec3d{0.01, 0.02, 0.03} * middle.size);
    for (const double far : {1e40, -1e150, 1e308, kNaN})
      points.push_back({far, middle.place.y, -far});
    std::string bytes;
    std::vector<bool> found;
    for (const MbVec3d& p : points) {
      found.push_back(own->locate(p, {}, nullptr));
      bytes += found.back() ? '1' : '0';
      if (!found.back()) continue;
      EXPECT_TRUE(isFinite(p));
      double sum = 0;
      for (const double weight : own->getWeights())
        sum += weight;
      EXPECT_NEAR(sum, 1, 1e-6);
      ASSERT_EQ(own->getNodes().size(), own->getWeights().size());
      for (const std::uint32_t node : own->getNodes()) {
        EXPECT_LT(node, m_file.getNodeCount());
        bytes += std::to_string(node) + " ";
      }
      std::size_t cell = 0;
      if constexpr (std::is_same_v<std::decay_t<decltype(own->getCell())>, std::size_t>)
        cell = own->getCell();
      else
        cell = MxIjkNumbering{view.cellCounts()}.flat(own->getCell().x, own->getCell().y,
                                                      own->getCell().z);
      ASSERT_LT(cell, view.cellCount());
      EXPECT_FALSE(view.isDead(cell));
      bytes += "in " + std::to_string(cell) + "\n";
    }
    forScalars([&](const std::string& name, const auto& set, const auto&) {
      std::vector<double> values(points.size());
      EXPECT_EQ(own->getValues(points, nullptr, set, values),
                static_cast<std::size_t>(std::count(found.begin(), found.end(), true)))
          << name;
    });
    m_results["probe"] = bytes;
  }

  template <MeshType K, class Mesh>
  void streamlines(const Mesh& mesh, const Middle& middle)
  {
    const auto lines = extractors::Streamlines<K>::getNewInstance(mesh, m_parallel);
    lines->setMaxStepNumber(300);
    std::vector<MbVec3d> seeds;
    for (std::size_t n = 0; n < middle.nodes.size(); n += 5) {
      seeds.push_back(middle.nodes[n]);
      seeds.push_back((middle.place + middle.nodes[n]) * 0.5);
    }
    const auto follow = [&](const std::string& name, const MiTypedDataSet<MbVec3d>& vectors) {
      for (const auto direction : {MiStreamlineDirection::Forward, MiStreamlineDirection::Backward})
      {
        lines->setDirection(direction);
        lines->extractStreamlines(seeds, vectors, nullptr);
        noteLines("streamlines of " + name + std::to_string(static_cast<int>(direction)), *lines);
        for (std::size_t n = 0; n < lines->getLines().size(); ++n) {
          for (const MbVec3d& p : lines->getPoints(n))
            EXPECT_TRUE(isFinite(p)) << name << ", line " << n;
          for (const double time : lines->getTimes(n).values)
            EXPECT_TRUE(std::isfinite(time)) << name << ", line " << n;
        }
      }
    };
    for (const MbMeshFileArray& array : m_file.getArrays())
      if (const auto* vectors = array.as<MiTypedDataSet<MbVec3d>>()) follow(array.name, *vectors);
    // Along the longest diagonal, and much faster than the mesh is large.
    const std::size_t count = m_file.getNodeCount();
    for (const double speed : {1.0, 1e200}) {
      std::vector<double> values;
      for (std::size_t n = 0; n < count; ++n)
        values.insert(values.end(), {speed, 0.6 * speed, -0.3 * speed});
      const std::string name = "a wind of " + std::to_string(speed);
      if constexpr (MxMeshKind<K>::kNodeIndexing == MxIndexing::I)
        follow(name, MbVec3dSetI("wind", MiDataBinding::PerNode, std::move(values)));
      else
        follow(name, MbVec3dSetIjk("wind", MiDataBinding::PerNode, MxCellView<K>(mesh).nodeCounts(),
                                   std::move(values)));
    }
  }

  template <class Mesh>
  void faults(const Mesh&)
  {
    mbFindFaults(*m_file.getMesh(), m_parallel);
  }

  /// Calls body(name, set, values) for the sets of single numbers per node, and values to cut at.
  template <class Body>
  void forScalars(const Body& body)
  {
    for (const MbMeshFileArray& array : m_file.getArrays()) {
      const auto* set = array.as<MiTypedDataSet<double>>();
      if (!set || array.ranges.empty() || array.binding != MiDataBinding::PerNode) continue;
      const double min = array.ranges[0].min, max = array.ranges[0].max;
      body(array.name, *set,
           std::vector<double>{min, min / 2 + max / 2, min * 0.7 + max * 0.3, max, 0, 0.3, -1e300,
                               kNaN});
    }
  }

  /// Maps all sets onto what was extracted.
  template <class Extractor>
  void mapOnto(const std::string& name, Extractor& extractor, const MeXProvenance& provenance)
  {
    for (const MbMeshFileArray& array : m_file.getArrays()) {
      std::size_t size = 0;
      bool isMapped = false;
      if (const auto* scalars = array.as<MiTypedDataSet<double>>()) {
        const auto* mapped = extractor.extractScalarSet(*scalars);
        isMapped = mapped;
        size = mapped ? mapped->getSize() : 0;
      } else if (const auto* vectors = array.as<MiTypedDataSet<MbVec3d>>()) {
        const auto* mapped = extractor.extractVec3Set(*vectors);
        isMapped = mapped;
        size = mapped ? mapped->getSize() : 0;
      }
      const bool perCell = array.binding == MiDataBinding::PerCell;
      if (isMapped && perCell) {
        EXPECT_EQ(size, provenance.cells.size()) << name << array.name;
      }
    }
  }

  /// Checks what was extracted and keeps its bytes.
  template <class Mesh>
  void note(const std::string& name, const Mesh& extracted)
  {
    SCOPED_TRACE(name);
    const MeXProvenance& provenance = extracted.provenance;
    const std::size_t nodeCount = extracted.geometry.getNodeCount();
    for (const MbVec3f& p : extracted.geometry.points())
      if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
        ADD_FAILURE() << "a point that is not finite: " << p.x << " " << p.y << " " << p.z;
        break;
      }
    EXPECT_TRUE(isFinite(extracted.geometry.origin));
    std::size_t wrong = 0;
    if constexpr (requires { extracted.topology; })
      for (std::size_t c = 0; c < extracted.topology.getCellCount(); ++c)
        for (const int node : extracted.topology.getCell(c))
          wrong += node < 0 || static_cast<std::size_t>(node) >= nodeCount;
    EXPECT_EQ(wrong, 0u) << "nodes that are not there";
    const auto allBelow = [](const auto& numbers, const MbIndex3& counts) {
      const std::size_t count = mbProduct(counts);
      return std::all_of(numbers.begin(), numbers.end(), [&](auto n) { return n < count; });
    };
    EXPECT_TRUE(allBelow(provenance.cells, provenance.sourceCells));
    EXPECT_TRUE(allBelow(provenance.nodeCells, provenance.sourceCells));
    EXPECT_TRUE(allBelow(provenance.nodes, provenance.sourceNodes));
    EXPECT_LE(mbProduct(provenance.sourceNodes), 8 * m_file.getNodeCount());
    for (const double weight : provenance.weights)
      if (!std::isfinite(weight) ||
          (provenance.form == MeXProvenance::NodeForm::Edge && !(weight >= 0 && weight <= 1)))
      {
        ADD_FAILURE() << "a weight of " << weight;
        break;
      }
    if constexpr (std::is_same_v<Mesh, MeXSurfaceMeshUnstructured>) {
      MxArray<MbVec3f> normals;
      nodeNormals(extracted, m_parallel, normals);
      for (const MbVec3f& n : normals)
        if (!std::isfinite(n.x) || !std::isfinite(n.y) || !std::isfinite(n.z)) {
          ADD_FAILURE() << "a normal that is not finite";
          break;
        }
    }
    m_results[name] = laws::bytesOf(extracted);
  }
  void noteLines(const std::string& name, const MiMultiLineExtractor& extractor)
  {
    std::size_t number = 0;
    for (const auto& set : extractor.getLines())
      note(name + ", set " + std::to_string(number++), *set.lines);
  }

  const MbMeshFile& m_file;
  bool m_parallel;
  std::map<std::string, std::string> m_results;
};

TEST(HostileExtraction, EveryRepresentationOfEveryFileHoldsTheLaws)
{
  SKIP_WITHOUT_DATA();
  const std::size_t read = forEachReadable(dataFolder() / "hostile", [](const MbMeshFile& file) {
    const Survey serial(file, false), parallel(file, true);
    EXPECT_EQ(serial.results().size(), parallel.results().size());
    for (const auto& [name, bytes] : serial.results())
      EXPECT_TRUE(parallel.results().at(name) == bytes) << name << " depends on threads";
  });
  EXPECT_GE(read, 40u);
}

} // namespace
