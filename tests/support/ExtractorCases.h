#pragma once

#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbTessellator.h>

#include <tests/support/CutExtractors.h>
#include <tests/support/ExtractorOf.h>
#include <tests/support/SkinLaws.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Every extractor on a mesh of every kind that it serves, for what holds for all of them.
namespace cases {

/// An extractor at work.
struct Job
{
  std::shared_ptr<MiExtractor> extractor;
  /// Extracts; the variant shifts what the operation depends on, if anything. Appends all that was
  /// extracted to `bytes`, unless null.
  std::function<void(int variant, std::string* bytes)> extract;
};

struct Case
{
  std::string name;
  std::function<std::unique_ptr<MiMesh>()> makeMesh;
  /// An extractor of a mesh that makeMesh has made.
  std::function<Job(const MiMesh& mesh, bool parallel)> make;
  /// Whether variants differ.
  bool hasVariants = false;
};

template <class... Meshes>
void note(std::string* bytes, const Meshes&... meshes)
{
  if (bytes) ((*bytes += laws::bytesOf(meshes)), ...);
}

/// A wavy number of each node or cell of a grid, between 0 and 1.
inline std::vector<double> waves(MbIndex3 counts)
{
  std::vector<double> values;
  values.reserve(counts.x * counts.y * counts.z);
  for (std::size_t k = 0; k < counts.z; ++k)
    for (std::size_t j = 0; j < counts.y; ++j)
      for (std::size_t i = 0; i < counts.x; ++i) {
        const auto part = [](std::size_t at, std::size_t count) {
          return static_cast<double>(at) / static_cast<double>(count);
        };
        const double x = part(i, counts.x), y = part(j, counts.y), z = part(k, counts.z);
        values.push_back(0.5 + 0.3 * std::sin(9 * x + 4 * y) * std::cos(7 * z - 3 * y) +
                         0.2 * std::sin(3 * x));
      }
  return values;
}

/// The waves as a set for nodes or cells that are numbered so.
template <MxIndexing Indexing>
std::shared_ptr<const MiTypedDataSet<double>> waveSet(MiDataBinding binding, MbIndex3 counts)
{
  if constexpr (Indexing == MxIndexing::I)
    return std::make_shared<MbScalardSetI>("waves", binding, waves(counts));
  else if constexpr (Indexing == MxIndexing::Ij)
    return std::make_shared<MbScalardSetIj>("waves", binding, counts.x, counts.y, waves(counts));
  else
    return std::make_shared<MbScalardSetIjk>("waves", binding, counts, waves(counts));
}

/// The table of one size.
class Table
{
public:
  /// @param edge      cells along an edge of the volumes; surfaces and lines have about as many
  /// cells
  /// @param withDead  some cells of the grids are dead
  explicit Table(std::size_t edge, bool withDead = false)
      : m_cells{edge, edge, edge}, m_total(edge * edge * edge), m_withDead(withDead)
  {
    forKinds(MxVolumeKinds{}, [&]<MeshType K>() { addVolume<K>(); });
    forKinds(MxSurfaceKinds{}, [&]<MeshType K>() { addSurface<K>(); });
    forKinds(MxLineKinds{}, [&]<MeshType K>() { addLines<K>(); });
    // Of the shapes that go ways of their own, in numbers of cells like the others.
    using S = MiCellShape;
    for (const auto& [shape, name, cellsInBox] :
         {std::tuple(S::Tetrahedron, "tetrahedra", 6), std::tuple(S::Polyhedron, "polyhedra", 1)})
      addShape(shape, name, cellsInBox, nullptr);
    // Each of these becomes many.
    addShape(S::QuadraticHexahedron, "refined", 8, std::make_shared<MbUniformTessellator>(2));
    const auto virtualMesh = [cells = m_cells] {
      return zoo::procedural(zoo::block(VOLUME_MESH_UNSTRUCTURED, cells));
    };
    add("procedural skin", virtualMesh, makeSkin<VOLUME_MESH_UNSTRUCTURED>(false, nullptr));
    addCuts<VOLUME_MESH_UNSTRUCTURED>("procedural ", virtualMesh, m_cells, nullptr);
  }

  const std::vector<Case>& all() const { return m_cases; }

private:
  using MakeMesh = decltype(Case::makeMesh);
  using Tessellator = std::shared_ptr<const MiTessellator>;

  template <MeshType... Kinds, class Body>
  static void forKinds(MxKinds<Kinds...>, const Body& body)
  {
    (body.template operator()<Kinds>(), ...);
  }
  template <MeshType K>
  static constexpr bool kHasLayers =
      K != VOLUME_MESH_UNSTRUCTURED&& K != VOLUME_MESH_VERTEX_HEXAHEDRON_IJK;

  zoo::Active active(const MbIndex3& cells) const
  {
    return m_withDead ? zoo::someDead(cells) : zoo::Active{};
  }

  void add(const std::string& name, MakeMesh makeMesh, decltype(Case::make) make,
           bool hasVariants = false)
  {
    m_cases.push_back({name, std::move(makeMesh), std::move(make), hasVariants});
  }

  template <MeshType K>
  static decltype(Case::make) makeSkin(bool outlines, Tessellator tessellator)
  {
    return [=](const MiMesh& mesh, bool parallel) {
      using Extractor = extractors::Skin<K>;
      const std::shared_ptr<Extractor> made =
          Extractor::getNewInstance(zoo::as<K>(mesh), parallel, tessellator.get());
      return Job{made, [=](int, std::string* bytes) {
                   (void)tessellator;
                   note(bytes, made->extractSkin(nullptr));
                   if (outlines)
                     note(bytes, made->extractLine(nullptr), made->extractPoints(nullptr));
                 }};
    };
  }

  template <MeshType K>
  void addCuts(const std::string& prefix, const MakeMesh& makeMesh, MbIndex3 cells,
               Tessellator tessellator)
  {
    using Kind = MxMeshKind<K>;
    const double size = static_cast<double>(cells.x);
    // In the middle of a block, whose boxes are 1 by 1/2 by 1/4.
    const MbVec3d middle{0.5 * size, 0.25 * size, 0.125 * size};
    const auto add = [&](const char* name, auto&& pick, auto&& cut) {
      this->add(
          prefix + name, makeMesh,
          [=](const MiMesh& mesh, bool parallel) {
            const auto cuts = std::make_shared<CutExtractors>(mesh, parallel, tessellator.get());
            return Job{pick(*cuts), [=](int variant, std::string* bytes) {
                         (void)tessellator;
                         note(bytes, cut(*cuts, 1 + 0.01 * variant));
                       }};
          },
          true);
    };
    add(
        "plane", [](auto& cuts) { return cuts.planes; },
        [=](auto& cuts, double by) -> const auto& {
          const MbVec3d normal{0.1, 0.7, 1};
          return cuts.plane(normal, dot(normal, middle) * by, nullptr);
        });
    if (tessellator) return;
    add(
        "sphere", [](auto& cuts) { return cuts.spheres; },
        [=](auto& cuts, double by) -> const auto& {
          return cuts.sphere(middle, 0.3 * size * by, nullptr);
        });
    add(
        "cylinder", [](auto& cuts) { return cuts.cylinders; },
        [=](auto& cuts, double by) -> const auto& {
          return cuts.cylinder(middle, {0.2, 1, 0.1}, 0.1 * size * by, nullptr);
        });
    const auto addField = [&](const char* name, MiDataBinding binding) {
      const MbIndex3 counts = binding == MiDataBinding::PerCell ? cells : cells + MbIndex3{1, 1, 1};
      const auto set = [=] {
        if (binding == MiDataBinding::PerCell) return waveSet<Kind::kIndexing>(binding, counts);
        return waveSet<Kind::kNodeIndexing>(binding, counts);
      };
      add(
          name, [](auto& cuts) { return cuts.isosurfaces; },
          [ set, known = std::make_shared<std::shared_ptr<const MiTypedDataSet<double>>>() ](
              auto& cuts, double by) -> const auto& {
            if (!*known) *known = set();
            return cuts.isosurface(**known, 0.5 * by, nullptr);
          });
    };
    addField("isosurface", MiDataBinding::PerNode);
    if (Kind::kIndexing == MxIndexing::Ijk) addField("isosurface of cells", MiDataBinding::PerCell);
  }

  template <class Extractor, MeshType K, class... Place>
  void addLayer(const char* name, const MakeMesh& makeMesh, Place... place)
  {
    add(
        std::string(name) + " " + meshTypeName(K), makeMesh,
        [=](const MiMesh& mesh, bool parallel) {
          const std::shared_ptr<Extractor> made =
              Extractor::getNewInstance(zoo::as<K>(mesh), parallel);
          return Job{made, [=](int variant, std::string* bytes) {
                       const auto axis = static_cast<MiMesh::Dimension>(variant % 3);
                       if constexpr (sizeof...(Place) == 2)
                         note(bytes, made->extractSlice(axis, place..., nullptr));
                       else
                         note(bytes, made->extractSlice(axis, nullptr, place...));
                     }};
        },
        true);
  }

  template <MeshType K>
  void addVolume()
  {
    const std::string kind = std::string(" ") + meshTypeName(K);
    const MakeMesh makeMesh = [cells = m_cells, active = active(m_cells)] {
      return zoo::block(K, cells, active);
    };
    add("skin" + kind, makeMesh, makeSkin<K>(false, nullptr));
    add("skin, edges and points" + kind, makeMesh, makeSkin<K>(true, nullptr));
    const std::string prefix = meshTypeName(K) + std::string(" ");
    addCuts<K>(prefix, makeMesh, m_cells, nullptr);
    const std::size_t layer = m_cells.x / 2;
    const double value = 0.37 * static_cast<double>(m_cells.x);
    if constexpr (kHasLayers<K>) {
      addLayer<extractors::Layer<K>, K>("layer", makeMesh, layer, false);
      addLayer<extractors::Between<K>, K>("sheet", makeMesh, value);
    }
    if constexpr (K != VOLUME_MESH_VERTEX_HEXAHEDRON_IJK)
      addStreamlines<K, extractors::Streamlines<K>>(makeMesh);
  }

  template <MeshType K, class Extractor>
  void addStreamlines(const MakeMesh& makeMesh)
  {
    add(
        std::string("streamlines ") + meshTypeName(K), makeMesh,
        [cells = m_cells](const MiMesh& mesh, bool parallel) {
          const MbIndex3 counts = cells + MbIndex3{1, 1, 1};
          const double size = static_cast<double>(cells.x);
          // Round and round about the middle.
          std::vector<double> values;
          values.reserve(3 * counts.x * counts.y * counts.z);
          for (std::size_t k = 0; k < counts.z; ++k)
            for (std::size_t j = 0; j < counts.y; ++j)
              for (std::size_t i = 0; i < counts.x; ++i)
                values.insert(values.end(), {0.5 * static_cast<double>(j) - 0.25 * size,
                                             0.5 * size - static_cast<double>(i), 0.0001 * size});
          std::shared_ptr<const MiTypedDataSet<MbVec3d>> field;
          if constexpr (MxMeshKind<K>::kNodeIndexing == MxIndexing::I)
            field = std::make_shared<MbVec3dSetI>("v", MiDataBinding::PerNode, std::move(values));
          else
            field = std::make_shared<MbVec3dSetIjk>("v", MiDataBinding::PerNode, counts,
                                                    std::move(values));
          const std::shared_ptr<Extractor> made =
              Extractor::getNewInstance(zoo::as<K>(mesh), parallel);
          made->setMaxStepNumber(2000);
          return Job{made, [=](int variant, std::string* bytes) {
                       std::vector<MbVec3d> seeds;
                       for (int s = 1; s < 16; ++s) {
                         const double part = (s + 0.1 * variant) / 34;
                         seeds.push_back({size * part, 0.5 * size * part, 0.1 * size});
                       }
                       made->extractStreamlines(seeds, *field, nullptr);
                       for (const auto& line : made->getLines())
                         note(bytes, *line.lines);
                     }};
        },
        true);
  }

  template <MeshType K>
  void addSurface()
  {
    const auto edge = static_cast<std::size_t>(std::sqrt(static_cast<double>(m_total)));
    const MbIndex3 cells{edge, edge, 0}, nodes{edge + 1, edge + 1, 1};
    const MakeMesh makeMesh = [cells, active = active({edge, edge, 1})] {
      return zoo::sheet(K, cells, active);
    };
    for (const bool outlines : {false, true})
      add(std::string(outlines ? "surface, edges and points " : "surface ") + meshTypeName(K),
          makeMesh, [=](const MiMesh& mesh, bool parallel) {
            using Extractor = extractors::Surface<K>;
            const std::shared_ptr<Extractor> made =
                Extractor::getNewInstance(zoo::as<K>(mesh), parallel);
            return Job{made, [=](int, std::string* bytes) {
                         note(bytes, made->extractSurface(nullptr));
                         if (outlines)
                           note(bytes, made->extractLine(nullptr), made->extractPoints(nullptr));
                       }};
          });
    add(
        std::string("isolines ") + meshTypeName(K), makeMesh,
        [=](const MiMesh& mesh, bool parallel) {
          using Extractor = extractors::Isolines<K>;
          const std::shared_ptr<Extractor> made =
              Extractor::getNewInstance(zoo::as<K>(mesh), parallel);
          const auto set = waveSet<MxMeshKind<K>::kNodeIndexing>(MiDataBinding::PerNode, nodes);
          return Job{made, [=](int variant, std::string* bytes) {
                       std::vector<double> values;
                       for (int v = 1; v < 10; ++v)
                         values.push_back(0.1 * v + 0.01 * variant);
                       made->extractIsolines(values, *set, nullptr);
                       for (const auto& line : made->getLines())
                         note(bytes, *line.lines);
                     }};
        },
        true);
  }

  template <MeshType K>
  void addLines()
  {
    add(
        std::string("lines ") + meshTypeName(K),
        [total = m_total, active = active({m_total, 1, 1})] { return zoo::row(K, total, active); },
        [=](const MiMesh& mesh, bool parallel) {
          using Extractor = extractors::Lines<K>;
          const std::shared_ptr<Extractor> made =
              Extractor::getNewInstance(zoo::as<K>(mesh), parallel);
          return Job{made, [=](int, std::string* bytes) {
                       note(bytes, made->extractLine(nullptr), made->extractPoints(nullptr));
                     }};
        });
  }

  void addShape(MiCellShape shape, const std::string& name, std::size_t cellsInBox,
                Tessellator tessellator)
  {
    const auto edge = static_cast<std::size_t>(
        std::cbrt(static_cast<double>(m_total) / static_cast<double>(cellsInBox)));
    const MakeMesh makeMesh = [=] { return zoo::blockOf(shape, {edge, edge, edge}); };
    add("skin, edges and points of " + name, makeMesh,
        makeSkin<VOLUME_MESH_UNSTRUCTURED>(true, tessellator));
    addCuts<VOLUME_MESH_UNSTRUCTURED>(name + " ", makeMesh, {edge, edge, edge}, tessellator);
  }

  MbIndex3 m_cells;
  std::size_t m_total;
  bool m_withDead;
  std::vector<Case> m_cases;
};

} // namespace cases
