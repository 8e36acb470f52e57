#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>

#include <tests/support/CutExtractors.h>
#include <tests/support/ExtractionCounter.h>
#include <tests/support/ExtractorOf.h>

#include <gmock/gmock.h>

#include <cmath>
#include <functional>

namespace {

/// The stamps of the cells and of the points of what was extracted.
struct Stamps
{
  std::uint64_t cells = 0, points = 0;
  friend bool operator==(const Stamps&, const Stamps&) = default;
};

template <class Mesh>
Stamps stampsOf(const Mesh& mesh)
{
  return {mesh.topology.getTimeStamp(), mesh.geometry.getTimeStamp()};
}

enum class Makes
{
  Nothing,
  Points, // the cells keep their stamp
  Some,   // points, with or without the cells
  All
};

struct Change
{
  std::string name;
  Makes makes;
  std::function<void()> apply;
};
using Changes = std::vector<Change>;

/// An extraction, and the changes after which it is asked for again, one after the other.
struct Asked
{
  std::shared_ptr<MiExtractor> extractor;
  std::function<Stamps()> extract;
  Changes changes;
  int runs = 1; // of a first extraction, and of one after a change
};

struct Case
{
  /// The extractor's, and what tells this case from others of it.
  std::string name;
  std::function<Asked()> make;
};

/// A mesh, and a filter of its cells that is used when there is one.
template <class MeshType, class FilterType>
struct Source
{
  std::shared_ptr<MeshType> mesh;
  std::shared_ptr<FilterType> filter;
  const FilterType* used = nullptr;
};
template <class MeshType, class FilterType>
auto share(std::shared_ptr<MeshType> mesh, const FilterType& filter)
{
  using Shared = Source<MeshType, FilterType>;
  return std::make_shared<Shared>(Shared{std::move(mesh), std::make_shared<FilterType>(filter)});
}

/// The changes of what every extraction depends on.
template <class Shared>
Changes changesOf(const std::shared_ptr<Shared>& source, Makes moved)
{
  return {{"a filter", Makes::All, [=] { source->used = source->filter.get(); }},
          {"another stamp of the filter", Makes::All, [=] { source->filter->touch(); }},
          {"moved nodes", moved, [=] { source->mesh->touchGeometry(); }},
          {"other cells", Makes::All, [=] { source->mesh->touchTopology(); }}};
}

Changes operator+(Changes changes, const Changes& more)
{
  changes.insert(changes.end(), more.begin(), more.end());
  return changes;
}

auto tetrahedra()
{
  return share(std::shared_ptr(zoo::blockOf(MiCellShape::Tetrahedron, {4, 4, 4})),
               MbFunctionFilterI([](std::size_t cell) { return cell < 100; }));
}

Asked skin()
{
  const auto source = tetrahedra();
  const std::shared_ptr made = MiSkinExtractUnstructured::getNewInstance(*source->mesh, true);
  return {made, [=] { return stampsOf(made->extractSkin(source->used)); },
          changesOf(source, Makes::Points) +
              Changes{{"a range", Makes::All, [=] { made->setCellRange(1, 50); }}}};
}

Asked edgesOfSkin()
{
  const auto source = tetrahedra();
  const std::shared_ptr made = MiSkinExtractUnstructured::getNewInstance(*source->mesh, true);
  return {made, [=] { return stampsOf(made->extractLine(source->used)); },
          changesOf(source, Makes::All), 2}; // of the skin, too
}

Asked surface()
{
  const std::shared_ptr<MiMesh> mesh = zoo::sheet(SURFACE_MESH_REGULAR, {3, 2, 0});
  const auto source = share(std::dynamic_pointer_cast<MbSurfaceMeshRegular>(mesh),
                            MbFunctionFilterIj([](std::size_t i, std::size_t) { return i < 2; }));
  const std::shared_ptr made = MiSurfaceExtractIj::getNewInstance(*source->mesh, true);
  return {made, [=] { return stampsOf(made->extractSurface(source->used)); },
          changesOf(source, Makes::Points)};
}

/// @param cut  cuts at a place that `by` shifts
template <class Cut>
Case cutCase(const std::string& name, std::shared_ptr<MiSurfaceExtractor> CutExtractors::*which,
             Makes byValues, const Cut& cut)
{
  const auto make = [=]() -> Asked {
    const auto source = tetrahedra();
    std::vector<double> heights;
    for (const MbVec3d& p : zoo::nodePlaces(*source->mesh))
      heights.push_back(p.z);
    const auto set =
        std::make_shared<MbScalardSetI>("z", MiDataBinding::PerNode, std::move(heights));
    const auto cuts = std::make_shared<CutExtractors>(*source->mesh);
    const auto by = std::make_shared<double>(0);
    return {(*cuts).*which, [=] { return stampsOf(cut(*cuts, *set, *by, source->used)); },
            changesOf(source, Makes::Some) +
                Changes{{"another place", Makes::Some, [=] { *by = 0.03; }},
                        {"other values", byValues, [=] { set->touch(); }}}};
  };
  return {name, make};
}

struct Place
{
  MiMesh::Dimension axis = MiMesh::DIMENSION_I;
  double value = 1;
  bool upper = false;
};

template <MeshType K, class Mesh, class Extractor>
Case layerCase(const std::string& name, bool isBetween)
{
  const auto make = [=]() -> Asked {
    const std::shared_ptr<MiMesh> mesh = zoo::block(K, {4, 4, 4});
    const auto source =
        share(std::dynamic_pointer_cast<Mesh>(mesh),
              MbFunctionFilterIjk([](std::size_t i, std::size_t, std::size_t) { return i < 2; }));
    const std::shared_ptr made = Extractor::getNewInstance(*source->mesh, true);
    const auto at = std::make_shared<Place>();
    Changes changes{{"another place", Makes::Some, [=] { at->value = 2; }},
                    {"another axis", Makes::Some, [=] { at->axis = MiMesh::DIMENSION_J; }}};
    if (isBetween)
      changes.push_back({"no place", Makes::Some, [=] { at->value = std::nan(""); }});
    else
      changes.push_back({"the upper side", Makes::Some, [=] { at->upper = true; }});
    const auto extract = [=] {
      if constexpr (requires { made->extractSlice(at->axis, source->used, at->value); })
        return stampsOf(made->extractSlice(at->axis, source->used, at->value));
      else
        return stampsOf(made->extractSlice(at->axis, static_cast<std::size_t>(at->value), at->upper,
                                           source->used));
    };
    return {made, extract, changesOf(source, Makes::Some) + changes};
  };
  return {name + " " + meshTypeName(K), make};
}

template <MeshType K, class Mesh>
void addLayers(std::vector<Case>& cases)
{
  const std::string suffix = K == VOLUME_MESH_HEXAHEDRON_IJK ? "HexahedronIjk" : "";
  const std::string kind = K == VOLUME_MESH_REGULAR       ? "Regular"
                           : K == VOLUME_MESH_RECTILINEAR ? "Rectilinear"
                           : K == VOLUME_MESH_CURVILINEAR ? "Curvilinear"
                                                          : suffix;
  cases.push_back(layerCase<K, Mesh, extractors::Layer<K>>("MiLogicalSliceExtract" + kind, false));
  cases.push_back(layerCase<K, Mesh, extractors::Between<K>>(
      "MiInterpolatedLogicalSliceExtract" + suffix, true));
}

/// @param line  of two, of which the second has another value later
Case isolineCase(std::size_t line)
{
  const auto make = [=]() -> Asked {
    const std::shared_ptr<MiMesh> mesh = zoo::sheet(SURFACE_MESH_REGULAR, {9, 8, 0});
    const std::shared_ptr made =
        MiIsolineExtractIj::getNewInstance(zoo::as<SURFACE_MESH_REGULAR>(*mesh), true);
    std::vector<double> heights;
    for (const MbVec3d& p : zoo::nodePlaces(*mesh))
      heights.push_back(p.x + p.y);
    const auto set =
        std::make_shared<MbScalardSetIj>("s", MiDataBinding::PerNode, 10, 9, std::move(heights));
    const auto values = std::make_shared<std::vector<double>>(std::vector{1.1, 2.2});
    const auto extract = [=] {
      (void)mesh;
      EXPECT_TRUE(made->extractIsolines(*values, *set, nullptr));
      return stampsOf(made->getLines()[line]);
    };
    return {made,
            extract,
            {{"another second value", line ? Makes::All : Makes::Nothing,
              [=] { values->back() = 2.4; }},
             {"other values of nodes", Makes::All, [=] { set->touch(); }}}};
  };
  return {"MiIsolineExtractIj line " + std::to_string(line), make};
}

Asked streamline()
{
  const auto mesh =
      std::make_shared<MbVolumeMeshRegular>(MbIndex3{4, 4, 4}, MbVec3d{0, 0, 0}, MbVec3d{1, 1, 1});
  const std::shared_ptr<MiTypedDataSet<MbVec3d>> field =
      zoo::vectorSet(*mesh, [](const MbVec3d& p) {
        return MbVec3d{1, 0.2 * p.x, 0.1};
      });
  const std::shared_ptr made = MiStreamlineExtractIjk::getNewInstance(*mesh, true);
  const auto seeds = std::make_shared<std::vector<MbVec3d>>(2, MbVec3d{0.5, 0.5, 0.6});
  const auto extract = [=] {
    (void)mesh;
    EXPECT_TRUE(made->extractStreamlines(*seeds, *field, nullptr));
    const auto& line = made->getLines()[1];
    return Stamps{line.getTopology().getTimeStamp(), line.getGeometry().getTimeStamp()};
  };
  return {made,
          extract,
          {{"a limit", Makes::All, [=] { made->setMaxLength(0.5); }},
           {"another seed", Makes::All, [=] { seeds->back().z = 0.7; }},
           {"moved nodes", Makes::All, [=] { mesh->touchGeometry(); }}}};
}

std::vector<Case> makeCases()
{
  using Cuts = CutExtractors;
  using Set = MiTypedDataSet<double>;
  using Filter = MiCellFilter;
  std::vector<Case> cases{
      {"MiSkinExtractUnstructured", skin},
      {"MiSkinExtractUnstructured edges", edgesOfSkin},
      {"MiSurfaceExtractIj", surface},
      cutCase(
          "MiIsosurfExtractUnstructured", &Cuts::isosurfaces, Makes::Some,
          [](const Cuts& cuts, const Set& set, double by, const Filter* filter) -> const auto& {
            return cuts.isosurface(set, 0.6 + by, filter);
          }),
      cutCase(
          "MiPlaneSliceExtractUnstructured", &Cuts::planes, Makes::Nothing,
          [](const Cuts& cuts, const Set&, double by, const Filter* filter) -> const auto& {
            return cuts.plane({0, 0, 1 + by}, 0.6, filter);
          }),
      cutCase(
          "MiSphereSliceExtractUnstructured", &Cuts::spheres, Makes::Nothing,
          [](const Cuts& cuts, const Set&, double by, const Filter* filter) -> const auto& {
            return cuts.sphere({2, 1, 0.6}, 0.55 + by, filter);
          }),
      cutCase(
          "MiCylinderSliceExtractUnstructured", &Cuts::cylinders, Makes::Nothing,
          [](const Cuts& cuts, const Set&, double by, const Filter* filter) -> const auto& {
            return cuts.cylinder({2, 1, 0.6}, {1, by, 0}, 0.45, filter);
          }),
      isolineCase(0),
      isolineCase(1),
      {"MiStreamlineExtractIjk", streamline}};
  addLayers<VOLUME_MESH_HEXAHEDRON_IJK, MbVolumeMeshHexahedronIjk>(cases);
  addLayers<VOLUME_MESH_REGULAR, MbVolumeMeshRegular>(cases);
  addLayers<VOLUME_MESH_RECTILINEAR, MbVolumeMeshRectilinear>(cases);
  addLayers<VOLUME_MESH_CURVILINEAR, MbVolumeMeshCurvilinear>(cases);
  return cases;
}

} // namespace

TEST(Extractors, ExtractAnewForAnotherQuestionAlone)
{
  for (const Case& one : makeCases()) {
    SCOPED_TRACE(one.name);
    const Asked asked = one.make();
    ExtractionCounter counter;
    asked.extractor->setCallback(&counter);
    Stamps before = asked.extract();
    const std::string name = one.name.substr(0, one.name.find(' '));
    EXPECT_EQ(counter.names, std::vector<std::string>(asked.runs, name));
    const auto expectSame = [&] {
      counter.count = 0;
      EXPECT_EQ(asked.extract(), before);
      EXPECT_EQ(counter.count, 0);
    };
    expectSame();
    for (const Change& change : asked.changes) {
      SCOPED_TRACE(change.name);
      counter.count = 0;
      change.apply();
      const Stamps after = asked.extract();
      EXPECT_EQ(after.points != before.points, change.makes != Makes::Nothing);
      if (change.makes != Makes::Some) {
        EXPECT_EQ(after.cells != before.cells, change.makes == Makes::All);
      }
      if (change.makes != Makes::Nothing) {
        EXPECT_EQ(counter.count, asked.runs);
      }
      before = after;
      expectSame();
    }
    EXPECT_EQ(counter.ended, static_cast<int>(counter.names.size()));
    EXPECT_EQ(counter.phasesEnded, static_cast<int>(counter.phases.size()));
  }
}
