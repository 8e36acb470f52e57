#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/mesh/MeXStructuredMesh.h>
#include <velmo/render/details/MoFaceDetail.h>
#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdSurfaceMesh.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>
#include <velmo/toolkit/shapes/TkLineSet.h>

#include <tests/render/BuilderParts.h>
#include <tests/support/ExtractedMesh.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/StateProbe.h>
#include <tests/support/WarningLog.h>

#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/SoPickedPoint.h>

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Two squares side by side, or more with a wider I; all nodes at the height z.
MeXSurfaceMeshRegular regular(double z)
{
  MeXSurfaceMeshRegular mesh;
  mesh.topology.countI = 2;
  mesh.topology.countJ = 1;
  mesh.topology.touch();
  mesh.geometry.nodeCountI = 3;
  mesh.geometry.nodeCountJ = 2;
  mesh.geometry.origin = {0, 0, z};
  mesh.geometry.stepI = {1, 0, 0};
  mesh.geometry.stepJ = {0, 1, 0};
  mesh.geometry.touch();
  return mesh;
}

MeXSurfaceMeshRectilinear rectilinear(double z)
{
  MeXSurfaceMeshRectilinear mesh;
  mesh.topology.countI = 2;
  mesh.topology.countJ = 1;
  mesh.topology.touch();
  mesh.geometry.axes = {{{0, 1, 2}, {0, 1}}};
  mesh.geometry.origin = {0, 0, z};
  mesh.geometry.touch();
  return mesh;
}

void place(MeXSurfaceMeshRegular& mesh, float z)
{
  mesh = regular(z);
}
void place(MeXSurfaceMeshRectilinear& mesh, float z)
{
  mesh = rectilinear(z);
}
void place(MeXSurfaceMeshCurvilinear& mesh, float z)
{
  mesh.topology.countI = 2;
  mesh.topology.countJ = 1;
  mesh.topology.touch();
  mesh.geometry.nodeCountI = 3;
  mesh.geometry.nodes.points().resizeUninitialized(6);
  for (std::size_t n = 0; n < 6; ++n)
    mesh.geometry.nodes.points()[n] = {static_cast<float>(n % 3), static_cast<float>(n / 3), z};
  mesh.geometry.nodes.touch(false);
}

// A builder that is given something in a traversal.
template <class Builder>
struct Scene
{
  Scene() : builder(root) {}
  void traverse(const std::function<void(SoState*)>& set)
  {
    const StateProbe probe([&](SoAction* action) {
      MoColorMappingElement::set(action->getState(), nullptr, &grey.mapping);
      set(action->getState());
    });
    SoCallbackAction().apply(probe.node());
  }
  template <class Shape>
  const Shape& shape() const
  {
    return *findNode<Shape>(builder.getSeparator());
  }
  template <class Shape>
  SoVertexProperty& vertices() const
  {
    return *static_cast<SoVertexProperty*>(shape<Shape>().vertexProperty.getValue());
  }
  std::vector<std::size_t> fills() const
  {
    const auto counts = builder.getSceneGraph().getFillCounts();
    return {counts.indices, counts.geometry, counts.colors};
  }

  SoRef<SoSeparator> root{new SoSeparator};
  GreyMapping grey;
  Builder builder;
};

template <class Shape>
std::vector<int> indicesOf(const Shape& shape)
{
  return {shape.coordIndex.getValues(0), shape.coordIndex.getValues(0) + shape.coordIndex.getNum()};
}

template <class Mesh>
void expectShown(MeshType kind)
{
  SCOPED_TRACE(meshTypeName(kind));
  Mesh mesh;
  place(mesh, 0);
  Scene<MdSurfaceMesh> scene;
  MeXDataSetI<double> values("nodes", MiDataBinding::PerNode);
  values.values = {0, 1, 2, 3, 4, 5};
  for (int i = 0; i < 3; ++i)
    scene.traverse([&](SoState* state) { scene.builder.set(state, mesh, &values); });
  const auto& shape = scene.shape<SoIndexedFaceSetOutline>();
  const SoVertexProperty& vertices = scene.vertices<SoIndexedFaceSetOutline>();
  EXPECT_THAT(scene.fills(), ElementsAre(1, 1, 1)) << "nothing has changed";
  EXPECT_THAT(indicesOf(shape), ElementsAre(0, 1, 4, 3, -1, 1, 2, 5, 4, -1));
  ASSERT_EQ(vertices.vertex.getNum(), 6);
  for (int n = 0; n < 6; ++n)
    EXPECT_EQ(vertices.vertex[n], SbVec3f(static_cast<float>(n % 3), static_cast<float>(n / 3), 0));
  ASSERT_EQ(vertices.orderedRGBA.getNum(), 6);
  EXPECT_EQ(vertices.orderedRGBA[5], 0xffffffffu);
  MeshType type;
  EXPECT_EQ(scene.builder.getExtractedMesh(type), &mesh);
  EXPECT_EQ(type, kind);

  SoRayPickAction pick(SbViewportRegion(100, 100));
  pick.setRay(SbVec3f(0.5f, 0.5f, 5), SbVec3f(0, 0, -1));
  pick.apply(scene.root);
  scene.builder.rayPick(&pick);
  ASSERT_NE(pick.getPickedPoint(), nullptr);
  EXPECT_FALSE(pick.getPickedPoint()->getDetail()->isOfType(MoFaceDetail::getClassTypeId()));

  // Moved, and made anew: the counts are the same, and so is the list.
  const int* list = shape.coordIndex.getValues(0);
  place(mesh, 2);
  scene.traverse([&](SoState* state) { scene.builder.set(state, mesh, &values); });
  EXPECT_THAT(scene.fills(), ElementsAre(1, 2, 1));
  EXPECT_EQ(shape.coordIndex.getValues(0), list);
  EXPECT_EQ(vertices.vertex[5], SbVec3f(2, 1, 2));

  MeXSurfaceMeshUnstructured other;
  fillPoints(other, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
  fillCells(other, {{0, 1, 2}});
  scene.traverse([&](SoState* state) { scene.builder.set(state, other, {}); });
  EXPECT_THAT(indicesOf(shape), ElementsAre(0, 1, 2, -1));
  scene.traverse([&](SoState* state) { scene.builder.set(state, mesh, &values); });
  EXPECT_EQ(shape.coordIndex.getNum(), 10);
}

// A sheet of many nodes that take their time.
class SlowSheet final : public MiSurfaceMeshCurvilinear
{
public:
  const MeXTopologyIj& getTopology() const override { return m_topology; }
  const MiGeometryIj& getGeometry() const override { return m_geometry; }

private:
  static constexpr std::size_t kCount = 200;
  struct Geometry final : MiGeometryIj
  {
    std::uint64_t getTimeStamp() const override { return 1; }
    std::size_t getNodeCountI() const override { return kCount + 1; }
    std::size_t getNodeCountJ() const override { return kCount + 1; }
    MbVec3d getNode(std::size_t i, std::size_t j) const override
    {
      if (i == 0 && j % 10 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(25));
      return {static_cast<double>(i), static_cast<double>(j), 0};
    }
  };
  static MeXTopologyIj cells()
  {
    MeXTopologyIj topology;
    topology.countI = topology.countJ = kCount;
    topology.touch();
    return topology;
  }
  MeXTopologyIj m_topology = cells();
  Geometry m_geometry;
};

class Listener final : public MiExtractorCallback
{
public:
  void beginExtract(const std::string& name, std::size_t) override { heard.push_back(name); }
  void endExtract() override { heard.push_back("end"); }
  void beginPhase(const std::string& name, std::size_t) override { heard.push_back(name); }
  void endPhase() override {}
  bool endStep(std::size_t) override { return goesOn; }

  std::vector<std::string> heard;
  bool goesOn = true;
};

} // namespace

TEST(StructuredMeshes, SurfacesAreShownByAListThatFollowsFromTheirCounts)
{
  expectShown<MeXSurfaceMeshRegular>(SURFACE_MESH_REGULAR);
  expectShown<MeXSurfaceMeshRectilinear>(SURFACE_MESH_RECTILINEAR);
  expectShown<MeXSurfaceMeshCurvilinear>(SURFACE_MESH_CURVILINEAR);
}

TEST(StructuredMeshes, AnApplicationsOwnMayHaveDeadCellsAndWrongCounts)
{
  WarningLog warnings;
  Scene<MdSurfaceMesh> scene;
  MeXDataSetI<double> values("cells", MiDataBinding::PerCell);
  values.values = {0, 5};
  const MbSurfaceMeshRectilinear dead(MbTopologyIj(2, 1, std::vector<unsigned char>{1, 0}),
                                      std::vector<double>{0, 1, 2}, std::vector<double>{0, 1});
  for (int i = 0; i < 2; ++i)
    scene.traverse([&](SoState* state) { scene.builder.set(state, dead, &values); });
  EXPECT_THAT(warnings.texts(),
              ElementsAre("MxUnstrMeshSceneGraph::fillIndices: Extracted topology should not have "
                          "dead cells"));
  EXPECT_EQ(scene.shape<SoIndexedFaceSetOutline>().coordIndex.getNum(), 10);
  EXPECT_EQ(scene.vertices<SoIndexedFaceSetOutline>().orderedRGBA.getNum(), 2);

  MeXSurfaceMeshRectilinear wrong = rectilinear(0);
  wrong.geometry.axes[0].pop_back();
  scene.traverse([&](SoState* state) { scene.builder.set(state, wrong, &values); });
  EXPECT_EQ(scene.shape<SoIndexedFaceSetOutline>().coordIndex.getNum(), 0);
  MeshType type;
  EXPECT_EQ(scene.builder.getExtractedMesh(type), nullptr);
  EXPECT_EQ(type, UNDEFINED_MESH);
}

TEST(StructuredMeshes, RowsAreShownAsTheirSegments)
{
  Scene<MdLineMesh> scene;
  MeXLineMeshCurvilinear row;
  row.topology.count = 2;
  row.topology.touch();
  row.geometry.points().resizeUninitialized(3);
  for (std::size_t n = 0; n < 3; ++n)
    row.geometry.points()[n] = {static_cast<float>(n), 1, 0};
  row.geometry.touch(false);
  MeXDataSetI<double> values("cells", MiDataBinding::PerCell);
  values.values = {0, 5};
  for (int i = 0; i < 2; ++i)
    scene.traverse([&](SoState* state) { scene.builder.set(state, row, &values); });
  EXPECT_THAT(scene.fills(), ElementsAre(1, 1, 1));
  EXPECT_THAT(indicesOf(scene.shape<TkLineSet>()), ElementsAre(0, 1, -1, 1, 2, -1));
  EXPECT_EQ(scene.vertices<TkLineSet>().vertex[2], SbVec3f(2, 1, 0));
  EXPECT_EQ(scene.vertices<TkLineSet>().orderedRGBA.getNum(), 2);
  MeshType type;
  EXPECT_EQ(scene.builder.getExtractedMesh(type), &row);
  EXPECT_EQ(type, LINE_MESH_CURVILINEAR);
}

TEST(StructuredMeshes, FillingThatLastsIsToldOfAndCanBeCancelled)
{
  Scene<MdSurfaceMesh> scene;
  const SlowSheet slow;
  Listener listener;
  const auto quick = rectilinear(0);
  scene.traverse([&](SoState* state) { scene.builder.set(state, quick, {}, &listener); });
  EXPECT_THAT(listener.heard, IsEmpty()) << "it did not last";
  listener.goesOn = false;
  bool cancelled = false;
  scene.traverse([&](SoState* state) {
    try {
      scene.builder.set(state, slow, {}, &listener);
    } catch (const MiCancellationException&) {
      cancelled = true;
    }
  });
  EXPECT_TRUE(cancelled);
  EXPECT_THAT(listener.heard, ElementsAre("MdSurfaceMesh", "Building", "end"));
  const auto& shape = scene.shape<SoIndexedFaceSetOutline>();
  EXPECT_EQ(shape.coordIndex.getNum(), 0) << "nothing half-filled is shown";
  listener.goesOn = true;
  scene.traverse([&](SoState* state) { scene.builder.set(state, slow, {}, &listener); });
  EXPECT_EQ(shape.coordIndex.getNum(), 200 * 200 * 5);
  EXPECT_EQ(scene.vertices<SoIndexedFaceSetOutline>().vertex[201 * 201 - 1], SbVec3f(200, 200, 0));
}

TEST(SurfaceNormals, OfADataSetAreTakenWhereTheyFit)
{
  WarningLog warnings;
  Scene<MdSurfaceMesh> scene;
  MeXSurfaceMeshUnstructured squares;
  fillPoints(squares, {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 1, 0}});
  fillCells(squares, {{0, 1, 4, 3}, {1, 2, 5, 4}});
  MeXDataSetI<MbVec3d> perNode("nodes", MiDataBinding::PerNode);
  perNode.values.assign(6, MbVec3d{0, 3, 4});
  MeXDataSetI<MbVec3d> perCell("cells", MiDataBinding::PerCell);
  perCell.values.assign(2, MbVec3d{0, 0, 7});
  const SoVertexProperty& vertices = scene.vertices<SoIndexedFaceSetOutline>();
  const auto show = [&](const MeXDataSetI<MbVec3d>* normals) {
    scene.traverse([&](SoState* state) {
      scene.builder.set(state, squares, {});
      scene.builder.setNormalDataSet(normals);
    });
  };
  show(&perNode);
  ASSERT_EQ(vertices.normal.getNum(), 6);
  EXPECT_EQ(vertices.normal[5], SbVec3f(0, 0.6f, 0.8f)) << "of any length";
  EXPECT_EQ(vertices.normalBinding.getValue(), SoVertexProperty::PER_VERTEX_INDEXED);
  const auto unchanged = vertices.getNodeId();
  show(&perNode);
  EXPECT_EQ(vertices.getNodeId(), unchanged) << "copied once a stamp";

  show(&perCell);
  ASSERT_EQ(vertices.normal.getNum(), 2);
  EXPECT_EQ(vertices.normal[1], SbVec3f(0, 0, 1));
  EXPECT_EQ(vertices.normalBinding.getValue(), SoVertexProperty::PER_FACE);
  scene.builder.setOverallNormal(SbVec3f(1, 0, 0));
  EXPECT_EQ(vertices.normal.getNum(), 1);
  EXPECT_EQ(vertices.normalBinding.getValue(), SoVertexProperty::OVERALL);
  scene.builder.setOverallNormal(SbVec3f(0, 0, 0));
  EXPECT_EQ(vertices.normal.getNum(), 2);

  // Another surface: those of the old one must not be read for it.
  fillCells(squares, {{0, 1, 4, 3}, {1, 2, 5, 4}, {0, 3, 4, 1}});
  scene.traverse([&](SoState* state) { scene.builder.set(state, squares, {}); });
  EXPECT_EQ(vertices.normal.getNum(), 0);
  EXPECT_THAT(warnings.texts(), IsEmpty());
  show(&perCell);
  show(&perCell);
  EXPECT_EQ(vertices.normal.getNum(), 0);
  EXPECT_EQ(vertices.normalBinding.getValue(), SoVertexProperty::PER_VERTEX_INDEXED);
  EXPECT_THAT(warnings.texts(),
              ElementsAre("MdSurfaceMesh::setNormalDataSet: The number of normals "
                          "does not fit the surface"));
  show(&perNode);
  EXPECT_EQ(vertices.normal.getNum(), 6);
  show(nullptr);
  EXPECT_EQ(vertices.normal.getNum(), 0);
}
