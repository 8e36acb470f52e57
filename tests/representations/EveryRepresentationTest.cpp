#include <tests/representations/SkinScene.h>

#include <velmo/mesh/MbDataSet.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/nodes/MoVec3SetI.h>
#include <velmo/nodes/MoVec3SetIjk.h>
#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdLineMeshes.h>
#include <velmo/render/MdPointMesh.h>
#include <velmo/representations/MoMeshCylinderSlice.h>
#include <velmo/representations/MoMeshInterpolatedLogicalSlice.h>
#include <velmo/representations/MoMeshIsoline.h>
#include <velmo/representations/MoMeshIsosurface.h>
#include <velmo/representations/MoMeshLine.h>
#include <velmo/representations/MoMeshLogicalSlice.h>
#include <velmo/representations/MoMeshPlaneSlice.h>
#include <velmo/representations/MoMeshPointProbe.h>
#include <velmo/representations/MoMeshSlab.h>
#include <velmo/representations/MoMeshSphereSlice.h>
#include <velmo/representations/MoMeshStreamline.h>
#include <velmo/representations/MoMeshSurface.h>

#include <tests/support/SceneQueries.h>
#include <tests/support/SkinLaws.h>
#include <tests/support/UniformTessellator.h>
#include <tests/support/WarningLog.h>

#include <gmock/gmock.h>

#include <array>

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// What is known of a representation. It serves the kinds of zoo::kKinds from `first` on for which
/// there is the name of an extractor.
struct Facts
{
  const char* name;
  const char* refuser; ///< whose function warns
  const char* what;    ///< that it cannot compute this
  std::size_t first;
  std::array<const char*, 6> extractors;
};
constexpr std::size_t kVolumes = 0, kSurfaces = 6, kLines = 10;

constexpr std::array<const char*, 6> forVolumes(const char* unstructured, const char* hexahedra,
                                                const char* ijk)
{
  return {unstructured, hexahedra, ijk, ijk, ijk, ijk};
}

template <class Node>
constexpr Facts kFacts{};
template <>
constexpr Facts kFacts<MoMeshSkin>{
    "MoMeshSkin", "MoMeshSkin", "skins", kVolumes,
    forVolumes("MiSkinExtractUnstructured", "MiSkinExtractHexahedronIjk", "MiSkinExtractIjk")};
template <>
constexpr Facts kFacts<MoMeshIsosurface>{
    "MoMeshIsosurface", "MdMeshIsosurface", "isosurface", kVolumes,
    forVolumes("MiIsosurfExtractUnstructured", "MiIsosurfExtractHexahedronIjk",
               "MiIsosurfExtractIjk")};
template <>
constexpr Facts kFacts<MoMeshPlaneSlice>{
    "MoMeshPlaneSlice", "MoMeshPlaneSlice", "a planeslice", kVolumes,
    forVolumes("MiPlaneSliceExtractUnstructured", "MiPlaneSliceExtractHexahedronIjk",
               "MiPlaneSliceExtractIjk")};
template <>
constexpr Facts kFacts<MoMeshSphereSlice>{
    "MoMeshSphereSlice", "MoMeshSphereSlice", "a sphere slice", kVolumes,
    forVolumes("MiSphereSliceExtractUnstructured", "MiSphereSliceExtractUnstructuredIjk",
               "MiShpereSliceExtractIjk")};
template <>
constexpr Facts kFacts<MoMeshCylinderSlice>{
    "MoMeshCylinderSlice", "MoMeshCylinderSlice", "a cylinder slice", kVolumes,
    forVolumes("MiCylinderSliceExtractUnstructured", "MiCylinderSliceExtractHexahedronIjk",
               "MiCylinderSliceExtractIjk")};
template <>
constexpr Facts kFacts<MoMeshLogicalSlice>{
    "MoMeshLogicalSlice",
    "MoMeshLogicalSlice",
    "logical slice",
    kVolumes,
    {nullptr, "MiLogicalSliceExtractHexahedronIjk", nullptr, "MiLogicalSliceExtractRegular",
     "MiLogicalSliceExtractRectilinear", "MiLogicalSliceExtractCurvilinear"}};
template <>
constexpr Facts kFacts<MoMeshInterpolatedLogicalSlice>{
    "MoMeshInterpolatedLogicalSlice",
    "MoMeshInterpolatedLogicalSlice",
    "interpolated logical slice",
    kVolumes,
    {nullptr, "MiInterpolatedLogicalSliceExtractHexahedronIjk", nullptr,
     "MiInterpolatedLogicalSliceExtract", "MiInterpolatedLogicalSliceExtract",
     "MiInterpolatedLogicalSliceExtract"}};
template <>
constexpr Facts kFacts<MoMeshSlab>{
    "MoMeshSlab", "MoMeshSlab", "slabs", kVolumes,
    forVolumes(nullptr, "MiSkinExtractHexahedronIjk", "MiSkinExtractIjk")};
template <>
constexpr Facts kFacts<MoMeshStreamline>{
    "MoMeshStreamline",
    "MoMeshStreamline",
    "streamlines",
    kVolumes,
    {"MiStreamlineExtractUnstructured", "MiStreamlineExtractHexahedronIjk", nullptr,
     "MiStreamlineExtractIjk", "MiStreamlineExtractIjk", "MiStreamlineExtractIjk"}};
template <>
constexpr Facts kFacts<MoMeshSurface>{"MoMeshSurface",
                                      "MoMeshSurface",
                                      "surface",
                                      kSurfaces,
                                      {"MiSurfaceExtractUnstructured", "MiSurfaceExtractIj",
                                       "MiSurfaceExtractIj", "MiSurfaceExtractIj"}};
template <>
constexpr Facts kFacts<MoMeshIsoline>{"MoMeshIsoline",
                                      "MoMeshIsoline",
                                      "isolines",
                                      kSurfaces,
                                      {"MiIsolineExtractUnstructured", "MiIsolineExtractIj",
                                       "MiIsolineExtractIj", "MiIsolineExtractIj"}};
template <>
constexpr Facts kFacts<MoMeshLine>{
    "MoMeshLine",
    "MoMeshLine",
    "line",
    kLines,
    {"MiLineExtractUnstructured", "MiLineExtractRow", "MiLineExtractRow"}};

/// The name of the extractor for a kind, null when it is not served.
template <class Node>
const char* extractorFor(MeshType kind)
{
  for (std::size_t k = 0; k < 6; ++k)
    if (kFacts<Node>.extractors[k] && zoo::kKinds[kFacts<Node>.first + k] == kind)
      return kFacts<Node>.extractors[k];
  return nullptr;
}
template <class Node>
std::vector<MeshType> servedKinds()
{
  std::vector<MeshType> kinds;
  std::ranges::copy_if(zoo::kKinds, std::back_inserter(kinds), extractorFor<Node>);
  return kinds;
}

// How to place those that would meet nothing of a block of 4 x 3 x 5 boxes or of a sheet.
void place(SoNode&) {}
void place(MoMeshIsosurface& node)
{
  node.isovalue = 0.3f;
}
void place(MoMeshIsoline& node)
{
  node.isovalues = 0.3f;
}
void place(MoMeshPlaneSlice& node)
{
  node.plane = SbPlane(SbVec3f(0, 0, 1), 0.3f);
}
void place(MoMeshSphereSlice& node)
{
  node.center = SbVec3f(2, 0.75f, 0.6f);
}
void place(MoMeshCylinderSlice& node)
{
  node.radius = 0.3f;
  node.center = SbVec3f(2, 0.75f, 0.6f);
}
void place(MoMeshInterpolatedLogicalSlice& node)
{
  node.sliceValue = 0.5f;
}

/// Says that its mesh is of a kind of which it is not.
class LyingMesh final : public MoMesh
{
public:
  const MiMesh* getMesh(MeshType& type) override
  {
    const MiMesh* mesh = MoMesh::getMesh(type);
    type = claimed;
    return mesh;
  }
  MeshType claimed = VOLUME_MESH_REGULAR;
};

/// The representation with what it needs to draw a mesh of a kind: edges are shown, the values are
/// the heights of nodes, the vectors run along x.
template <class Node>
class Scene : public RepresentationScene<Node>
{
public:
  explicit Scene(MeshType kind = servedKinds<Node>().front())
      : source(kind <= VOLUME_MESH_CURVILINEAR    ? zoo::block(kind, {4, 3, 5})
               : kind <= SURFACE_MESH_CURVILINEAR ? zoo::sheet(kind, {4, 3, 0})
                                                  : zoo::row(kind, 4)),
        heights(zoo::nodeSet(*source, [](const MbVec3d& p) { return p.y + p.z; })),
        flow(zoo::vectorSet(*source, [](const MbVec3d&) {
          return MbVec3d{1, 0, 0};
        }))
  {
    this->mesh->setMesh(source.get());
    this->set->setScalarSet(heights.get());
    style->displayEdges = TRUE;
    this->above->addChild(style);
    const SoRef<MoVec3SetI> vectors(new MoVec3SetI);
    vectors->setVec3Set(dynamic_cast<const MiDataSetI<MbVec3d>*>(flow.get()));
    const SoRef<MoVec3SetIjk> grid(new MoVec3SetIjk);
    grid->setVec3Set(dynamic_cast<const MiDataSetIjk<MbVec3d>*>(flow.get()));
    this->above->addChild(vectors);
    this->above->addChild(grid);
    place(*this->node);
  }
  bool draws() const
  {
    MeshType type;
    if constexpr (requires { this->node->getLineMeshes(); })
      return this->node->getLineMeshes().size() > 0;
    else if constexpr (requires { this->node->getSurfaceMesh(); })
      return this->node->getSurfaceMesh().getExtractedMesh(type) != nullptr;
    else
      return this->node->getLineMesh().getExtractedMesh(type) != nullptr;
  }

  std::unique_ptr<MiMesh> source;
  std::unique_ptr<MiTypedDataSet<double>> heights;
  std::unique_ptr<MiTypedDataSet<MbVec3d>> flow;
  SoRef<MoDrawStyle> style{new MoDrawStyle};
};

template <class Node>
class EveryRepresentation : public testing::Test
{};
template <class Node>
class EverySurface : public testing::Test
{};
struct NodeNames
{
  template <class Node>
  static std::string GetName(int)
  {
    return kFacts<Node>.name;
  }
};
using Surfaces = testing::Types<MoMeshSkin, MoMeshIsosurface, MoMeshPlaneSlice, MoMeshSphereSlice,
                                MoMeshCylinderSlice, MoMeshLogicalSlice,
                                MoMeshInterpolatedLogicalSlice, MoMeshSlab, MoMeshSurface>;
using All = testing::Types<MoMeshSkin, MoMeshIsosurface, MoMeshPlaneSlice, MoMeshSphereSlice,
                           MoMeshCylinderSlice, MoMeshLogicalSlice, MoMeshInterpolatedLogicalSlice,
                           MoMeshSlab, MoMeshSurface, MoMeshIsoline, MoMeshStreamline, MoMeshLine>;
TYPED_TEST_SUITE(EveryRepresentation, All, NodeNames);
TYPED_TEST_SUITE(EverySurface, Surfaces, NodeNames);

} // namespace

TYPED_TEST(EveryRepresentation, RefusesOtherKindsAtEveryAttemptAndDrawsNothing)
{
  Scene<TypeParam> scene;
  scene.traverse();
  ASSERT_TRUE(scene.draws());
  constexpr const Facts& facts = kFacts<TypeParam>;
  for (const MeshType kind : zoo::kKinds) {
    if (extractorFor<TypeParam>(kind)) continue;
    SCOPED_TRACE(meshTypeName(kind));
    const auto other = zoo::small(kind);
    scene.mesh->setMesh(other.get());
    WarningLog warnings;
    scene.traverse(3);
    EXPECT_THAT(warnings.texts(),
                AllOf(SizeIs(3), Each(std::string(facts.refuser) + "::doExtract: Cannot compute " +
                                      facts.what + " on this type of mesh.")));
    EXPECT_FALSE(scene.draws());
    if constexpr (requires { scene.node->getUnstructuredExtractor(); }) {
      EXPECT_EQ(scene.node->getUnstructuredExtractor(), nullptr);
    }
    scene.mesh->setMesh(nullptr);
  }
  scene.mesh->setMesh(scene.source.get());
  scene.traverse();
  EXPECT_TRUE(scene.draws());
  EXPECT_EQ(scene.counter.count, 2);

  const SoRef<LyingMesh> liar(new LyingMesh);
  liar->claimed = servedKinds<TypeParam>().back();
  liar->setMesh(scene.source.get());
  scene.above->addChild(liar);
  WarningLog warnings;
  scene.traverse(2);
  EXPECT_THAT(
      warnings.texts(),
      AllOf(SizeIs(2), Each(std::string(facts.name) +
                            "::doExtract: Cannot compute representation on this type of mesh")));
  EXPECT_FALSE(scene.draws());
}

TYPED_TEST(EveryRepresentation, ExtractsAndFillsOnceInTenTraversals)
{
  Scene<TypeParam> scene;
  const auto fills = [&] {
    const auto text = [](const MdMesh& builder) {
      const auto counts = builder.getSceneGraph().getFillCounts();
      return std::to_string(counts.indices) + " " + std::to_string(counts.geometry) + " " +
             std::to_string(counts.colors);
    };
    if constexpr (requires { scene.node->getLineMeshes(); })
      return text(scene.node->getLineMeshes()[0]);
    else if constexpr (requires { scene.node->getSurfaceMesh(); })
      return text(scene.node->getSurfaceMesh());
    else
      return text(scene.node->getLineMesh());
  };
  scene.traverse(10);
  EXPECT_EQ(scene.counter.count, 1);
  EXPECT_EQ(fills(), "1 1 1");
  scene.mapping->colors.set1Value(1, SbVec4f(1, 0, 0, 1));
  scene.traverse(3);
  EXPECT_EQ(fills(), "1 1 2") << "another mapping";
  // Other colours than those that it is made of, if it is.
  const auto numbers = zoo::cellNumbers(*scene.source);
  const SoRef<MoScalarSet> second(new MoScalarSet);
  second->setScalarSet(numbers.get());
  scene.above->addChild(second);
  scene.node->colorScalarSetId = 1;
  scene.traverse(3);
  EXPECT_EQ(fills(), "1 1 3") << "another set";
  EXPECT_EQ(scene.counter.count, 1) << "colours need no extraction";
}

TYPED_TEST(EveryRepresentation, UsesTheExtractorOfTheKindAndNamesIt)
{
  for (const MeshType kind : servedKinds<TypeParam>()) {
    SCOPED_TRACE(meshTypeName(kind));
    Scene<TypeParam> scene(kind);
    WarningLog warnings;
    scene.traverse(2);
    EXPECT_TRUE(scene.draws());
    EXPECT_EQ(scene.counter.count, 1);
    EXPECT_THAT(warnings.texts(), IsEmpty());

    const bool isUnstructured = kind == VOLUME_MESH_UNSTRUCTURED ||
                                kind == SURFACE_MESH_UNSTRUCTURED || kind == LINE_MESH_UNSTRUCTURED;
    const bool isHexahedra = kind == VOLUME_MESH_HEXAHEDRON_IJK;
    const bool isOther = !isUnstructured && !isHexahedra;
    const auto& node = *scene.node;
    if constexpr (requires { node.getUnstructuredExtractor(); }) {
      EXPECT_EQ(node.getUnstructuredExtractor() != nullptr, isUnstructured);
    }
    if constexpr (requires { node.getHexahedronIjkExtractor(); }) {
      EXPECT_EQ(node.getHexahedronIjkExtractor() != nullptr, isHexahedra);
      EXPECT_EQ(node.getUnstructuredIjkExtractor(), node.getHexahedronIjkExtractor());
    }
    if constexpr (requires { node.getIjkExtractor(); }) {
      EXPECT_EQ(node.getIjkExtractor() != nullptr, isOther);
    }
    if constexpr (requires { node.getRegularExtractor(); }) {
      EXPECT_EQ(node.getRegularExtractor(), node.getIjkExtractor());
    }
    if constexpr (requires { node.getIjExtractor(); }) {
      EXPECT_EQ(node.getIjExtractor() != nullptr, isOther);
    }
    if constexpr (requires { node.getRowExtractor(); }) {
      EXPECT_EQ(node.getRowExtractor() != nullptr, isOther);
    }

    // Colours of a numbering that no mesh here has.
    const bool isSurface = kind >= SURFACE_MESH_UNSTRUCTURED && kind <= SURFACE_MESH_CURVILINEAR;
    const MbScalardSetIj ij("bad", MiDataBinding::PerNode, 5, 24, std::vector<double>(120));
    const MbScalardSetIjk ijk("bad", MiDataBinding::PerNode, {5, 4, 6}, std::vector<double>(120));
    const SoRef<MoScalarSet> second(new MoScalarSet);
    second->setScalarSet(isSurface ? static_cast<const MiTypedDataSet<double>*>(&ijk) : &ij);
    scene.above->addChild(second);
    scene.node->colorScalarSetId = 1;
    scene.traverse();
    EXPECT_THAT(warnings.texts(),
                Each(extractorFor<TypeParam>(kind) +
                     std::string("::extractScalarSet(): Cannot extract data set with the "
                                 "given binding on this type of mesh.")));
    EXPECT_FALSE(warnings.texts().empty());
    EXPECT_TRUE(scene.draws());
    EXPECT_EQ(scene.counter.count, 1);
  }
}

TYPED_TEST(EverySurface, DrawsEdgesAndPointsAsMeshesOfTheirOwnWhileATessellatorIsInUse)
{
  Scene<TypeParam> scene;
  scene.style->displayPoints = TRUE;
  scene.traverse();
  const auto& node = *scene.node;
  MeshType type;
  EXPECT_EQ(node.getLineMesh().getExtractedMesh(type), nullptr);
  EXPECT_EQ(node.getPointMesh().getExtractedMesh(type), nullptr);
  EXPECT_FALSE(node.getSurfaceMesh().getSceneGraph().isIgnoringExtraStyle());

  UniformTessellator tessellator;
  tessellator.declines = true;
  const SoRef<MoTessellator> holder(new MoTessellator);
  holder->setTessellator(&tessellator);
  scene.above->addChild(holder);
  scene.traverse(3);
  EXPECT_EQ(scene.counter.count, 1 + 3) << "the surface anew, its lines and its points";
  EXPECT_TRUE(node.getSurfaceMesh().getSceneGraph().isIgnoringExtraStyle());
  const auto* surface = scene.template extracted<MeXSurfaceMeshUnstructured>(type);
  const auto* lines =
      dynamic_cast<const MeXLineMeshUnstructured*>(node.getLineMesh().getExtractedMesh(type));
  const auto* points =
      dynamic_cast<const MeXPointMeshCurvilinear*>(node.getPointMesh().getExtractedMesh(type));
  ASSERT_TRUE(surface && lines && points);
  EXPECT_EQ(points->geometry.getNodeCount(), surface->geometry.getNodeCount());
  EXPECT_EQ(lines->topology.getCellCount(), laws::edgesOf(*surface).size());

  scene.style->displayEdges = scene.style->displayPoints = FALSE;
  scene.traverse();
  EXPECT_EQ(node.getLineMesh().getExtractedMesh(type), nullptr);
  EXPECT_EQ(node.getPointMesh().getExtractedMesh(type), nullptr);
}

// Files name them.
TEST(Nodes, HaveTheirFieldsAndDefaultsInOrder)
{
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"MoMeshSkin", {"minCellRanges [  ]", "maxCellRanges [  ]"}},
      {"MoMeshIsosurface", {"isovalue 0", "isoScalarSetId 0"}},
      {"MoMeshPlaneSlice", {"plane 1 0 0  0"}},
      {"MoMeshSphereSlice", {"center 0 0 0", "radius 1"}},
      {"MoMeshCylinderSlice", {"center 0 0 0", "radius 1", "direction 1 0 0"}},
      {"MoMeshLogicalSlice",
       {"sliceIndex 0x0", "sliceAxis MiMesh::DIMENSION_I", "upperVertex FALSE"}},
      {"MoMeshInterpolatedLogicalSlice", {"sliceValue 0", "sliceAxis MiMesh::DIMENSION_I"}},
      {"MoMeshSlab", {"dimension MiMesh::DIMENSION_I", "index 0x0", "thickness 0x1"}},
      {"MoMeshSurface", {}},
      {"MoMeshIsoline",
       {"isovalues [  ]", "isoScalarSetId 0", "majorPeriod 0x3", "firstMajor 0x0",
        "majorLinePattern 0xffff", "minorLinePattern 0xf0f"}},
      {"MoMeshStreamline",
       {"vec3SetId 0", "startingPoints 0 0 0", "maxLifeTime 0", "maxLength 0", "minSpeed 0",
        "integrationStepLengthFactor 0.300000011920929", "maxStepNumber 0", "direction FORWARD"}},
      {"MoMeshLine", {}},
      {"MoMeshPointProbe", {"position 0 0 0", "scalarSetIds 0", "vectorSetIds 0"}},
      {"MoDrawStyle",
       {"displayFaces TRUE", "displayEdges FALSE", "displayPoints FALSE", "fadingThreshold 0"}},
      {"MoMaterial",
       {"faceColoring CONTOURING", "lineColoring CONTOURING", "pointColoring CONTOURING",
        "faceColor 1 1 1", "lineColor 1 0 0", "pointColor 0 1 0", "transparency 0",
        "enhancedColoring FALSE"}},
      {"MoDataBinding", {"dataBinding PER_CELL"}},
  };
  for (const auto& [name, own] : cases) {
    const SoType type = SoType::fromName(name);
    ASSERT_FALSE(type.isBad()) << name;
    const SoRef<SoNode> node(static_cast<SoNode*>(type.createInstance()));
    std::vector<std::string> fields = fieldsOf(*node);
    if (type.isDerivedFrom(MoMeshRepresentation::getClassTypeId())) {
      ASSERT_GE(fields.size(), 2u);
      EXPECT_THAT((std::vector{fields[0], fields[1]}),
                  ElementsAre("colorScalarSetId 0", "parallel TRUE"));
      fields.erase(fields.begin(), fields.begin() + 2);
    }
    EXPECT_THAT(fields, ElementsAreArray(own)) << name;
  }
  const SoRef<MoMeshSlab> slab(new MoMeshSlab);
  for (const auto& [value, name] : {std::pair{MiMesh::DIMENSION_I, "MiMesh::DIMENSION_I"},
                                    {MiMesh::DIMENSION_J, "MiMesh::DIMENSION_J"},
                                    {MiMesh::DIMENSION_K, "MiMesh::DIMENSION_K"}})
  {
    slab->dimension.setValue(SbName(name));
    EXPECT_EQ(slab->dimension.getValue(), value);
    EXPECT_EQ(fieldsOf(*slab)[2], std::string("dimension ") + name);
  }
}
