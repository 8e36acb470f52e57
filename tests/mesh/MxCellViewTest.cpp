#include <tests/support/MeshZoo.h>
#include <velmo/mesh/MbUnstructuredView.h>
#include <velmo/mesh/views/MxCellView.h>

#include <gmock/gmock.h>

using testing::ElementsAreArray;

namespace {
// What a mesh says through its own virtual functions, told apart only by its interfaces.
struct Told
{
  std::vector<std::vector<std::size_t>> nodes;
  std::vector<MiCellShape> shapes;
  std::vector<bool> dead;
  std::vector<MbVec3d> positions;
};

void tellNodes(const MiGeometryI& g, const MbIndex3&, Told& told)
{
  for (std::size_t n = 0; n < g.getNodeCount(); ++n)
    told.positions.push_back(g.getNode(n));
}
void tellNodes(const MiGeometryIj& g, const MbIndex3&, Told& told)
{
  for (std::size_t j = 0; j < g.getNodeCountJ(); ++j)
    for (std::size_t i = 0; i < g.getNodeCountI(); ++i)
      told.positions.push_back(g.getNode(i, j));
}
void tellNodes(const MiGeometryIjk& g, const MbIndex3&, Told& told)
{
  const MbIndex3 n = g.getNodeCounts();
  for (std::size_t k = 0; k < n.z; ++k)
    for (std::size_t j = 0; j < n.y; ++j)
      for (std::size_t i = 0; i < n.x; ++i)
        told.positions.push_back(g.getNode(i, j, k));
}
void tellNodes(const MiGeometryVertexIjk& g, const MbIndex3& n, Told& told)
{
  for (std::size_t k = 0; k < n.z; ++k)
    for (std::size_t j = 0; j < n.y; ++j)
      for (std::size_t i = 0; i < n.x; ++i)
        for (int corner = 0; corner < 8; ++corner)
          told.positions.push_back(g.getCorner(i, j, k, corner));
}

void add(Told& told, MiCellShape shape, std::vector<std::size_t> nodes, bool dead)
{
  told.shapes.push_back(shape);
  told.nodes.push_back(std::move(nodes));
  told.dead.push_back(dead);
}
MbIndex3 tellCells(const MiTopologyI& t, const MiGeometry&, Told& told)
{
  for (std::size_t c = 0; c < t.getCellCount(); ++c) {
    std::vector<std::size_t> nodes;
    t.getCellNodes(c, nodes);
    add(told, t.getCellShape(c), nodes, t.isDead(c));
  }
  return {t.getCellCount(), 1, 1};
}
MbIndex3 tellCells(const MiTopologyRow& t, const MiGeometry&, Told& told)
{
  for (std::size_t i = 0; i < t.getCellCount(); ++i)
    add(told, MiCellShape::Line, {i, i + 1}, t.isDead(i));
  return {t.getCellCount(), 1, 1};
}
MbIndex3 tellCells(const MiTopologyIj& t, const MiGeometry&, Told& told)
{
  const std::size_t ni = t.getCellCountI(), row = ni + 1;
  for (std::size_t j = 0; j < t.getCellCountJ(); ++j)
    for (std::size_t i = 0; i < ni; ++i) {
      const std::size_t n = i + row * j;
      add(told, MiCellShape::Quad, {n, n + 1, n + 1 + row, n + row}, t.isDead(i, j));
    }
  return {ni, t.getCellCountJ(), 1};
}
MbIndex3 tellCells(const MiTopologyIjk& t, const MiGeometry& geometry, Told& told)
{
  const MbIndex3 c = t.getCellCounts();
  const std::size_t row = c.x + 1, sheet = row * (c.y + 1);
  const bool ownCorners = dynamic_cast<const MiGeometryVertexIjk*>(&geometry) != nullptr;
  const auto* named = dynamic_cast<const MiTopologyHexahedronIjk*>(&t);
  for (std::size_t k = 0; k < c.z; ++k)
    for (std::size_t j = 0; j < c.y; ++j)
      for (std::size_t i = 0; i < c.x; ++i) {
        const std::size_t n = i + row * j + sheet * k;
        std::size_t nodes[8] = {n,         n + 1,         n + 1 + row,         n + row,
                                n + sheet, n + 1 + sheet, n + 1 + row + sheet, n + row + sheet};
        for (std::size_t corner = 0; ownCorners && corner < 8; ++corner)
          nodes[corner] = 8 * told.nodes.size() + corner;
        if (named) named->getCellNodes(i, j, k, nodes);
        add(told, MiCellShape::Hexahedron, {nodes, nodes + 8}, t.isDead(i, j, k));
      }
  return c;
}

template <MeshType Kind>
Told tell(const MiMesh& mesh)
{
  const auto& typed = zoo::as<Kind>(mesh);
  Told told;
  const MbIndex3 cells = tellCells(typed.getTopology(), typed.getGeometry(), told);
  tellNodes(typed.getGeometry(), cells, told);
  return told;
}

template <class View>
void expectTells(const View& view, const Told& told)
{
  MxCellBuffer buffer;
  ASSERT_EQ(view.cellCount(), told.nodes.size());
  for (std::size_t cell = 0; cell < told.nodes.size(); ++cell) {
    SCOPED_TRACE(cell);
    EXPECT_EQ(view.shape(cell), told.shapes[cell]);
    EXPECT_EQ(view.isDead(cell), told.dead[cell]);
    EXPECT_THAT(view.nodes(cell, buffer), ElementsAreArray(told.nodes[cell]));
  }
  ASSERT_EQ(view.nodeCount(), told.positions.size());
  for (std::size_t node = 0; node < told.positions.size(); ++node)
    EXPECT_EQ(view.position(node), told.positions[node]) << node;
  EXPECT_FALSE(isFinite(view.position(told.positions.size())));
  EXPECT_FALSE(isFinite(view.position(kNoNode)));
}

/// Hexahedra in an array, of which calls alone tell the dead ones.
class CallsTellTheDead final : public MiVolumeMeshHexahedronIjk, MiTopologyHexahedronIjk
{
public:
  const MiTopologyHexahedronIjk& getTopology() const override { return *this; }
  const MiGeometryI& getGeometry() const override { return source().getGeometry(); }
  std::uint64_t getTimeStamp() const override { return 1; }
  MbIndex3 getCellCounts() const override { return source().getTopology().getCellCounts(); }
  bool hasDeadCells() const override { return true; }
  bool isDead(std::size_t i, std::size_t j, std::size_t k) const override
  {
    return source().getTopology().isDead(i, j, k);
  }
  void getCellNodes(std::size_t i, std::size_t j, std::size_t k,
                    std::size_t (&nodes)[8]) const override
  {
    source().getTopology().getCellNodes(i, j, k, nodes);
  }
  MiArrayView getConnectivityView() const override
  {
    return source().getTopology().getConnectivityView();
  }

private:
  const MiVolumeMeshHexahedronIjk& source() const
  {
    return zoo::as<VOLUME_MESH_HEXAHEDRON_IJK>(*m_mesh);
  }
  std::unique_ptr<MiMesh> m_mesh = zoo::small(VOLUME_MESH_HEXAHEDRON_IJK);
};

class EveryKind : public testing::TestWithParam<MeshType>
{};
INSTANTIATE_TEST_SUITE_P(Kinds, EveryKind, testing::ValuesIn(zoo::kKinds),
                         [](const auto& info) { return meshTypeName(info.param); });
} // namespace

TEST_P(EveryKind, ItsCellViewTellsWhatItsVirtualFunctionsTell)
{
  for (const bool procedural : {false, true}) {
    SCOPED_TRACE(procedural ? "procedural" : "arrays");
    std::unique_ptr<MiMesh> mesh = zoo::small(GetParam());
    if (procedural) mesh = zoo::procedural(std::move(mesh));
    ASSERT_EQ(classifyMesh(mesh.get()), GetParam());
    const bool known = visitCellView(MxAllKinds{}, mesh.get(), [&](const auto& view) {
      const Told told = tell<std::remove_cvref_t<decltype(view)>::kType>(*mesh);
      EXPECT_TRUE(view.hasDead());
      EXPECT_TRUE(told.dead[1]);
      expectTells(view, told);
    });
    EXPECT_TRUE(known);
  }
}

TEST_P(EveryKind, IsTheSameAsAnUnstructuredView)
{
  std::unique_ptr<MiMesh> meshes[] = {zoo::small(GetParam()),
                                      zoo::procedural(zoo::small(GetParam())), nullptr};
  if (GetParam() == VOLUME_MESH_HEXAHEDRON_IJK) meshes[2] = std::make_unique<CallsTellTheDead>();
  for (const auto& mesh : meshes) {
    if (!mesh) continue;
    std::unique_ptr<MiMesh> view = mbUnstructuredVolume(*mesh);
    if (!view) view = mbUnstructuredSurface(*mesh);
    if (!view) view = mbUnstructuredLine(*mesh);
    ASSERT_TRUE(view);
    visitCellView(MxAllKinds{}, mesh.get(), [&](const auto& source) {
      const Told told = tell<std::remove_cvref_t<decltype(source)>::kType>(*mesh);
      visitCellView(MxAllKinds{}, view.get(), [&](const auto& flat) { expectTells(flat, told); });
    });
  }
}

TEST(MxCellView, GivesPolyhedraTheirFaces)
{
  for (const bool procedural : {false, true}) {
    std::unique_ptr<MiMesh> mesh = zoo::blockOf(MiCellShape::Polyhedron, {2, 1, 1});
    if (procedural) mesh = zoo::procedural(std::move(mesh));
    const MxCellView<VOLUME_MESH_UNSTRUCTURED> view(zoo::as<VOLUME_MESH_UNSTRUCTURED>(*mesh));
    MxCellBuffer buffer;
    const auto faces = view.faces(1, buffer);
    ASSERT_EQ(faces.size(), 1u + 6 * 5);
    EXPECT_THAT(faces.first(6), testing::ElementsAre(6u, 4u, 1u, 4u, 5u, 2u));
  }
}

TEST(MxCellView, BelongsPerNodeDataOfVertexHexahedraToTheLogicalCorner)
{
  const auto mesh = zoo::pillarBlock({2, 2, 2});
  const MxCellView<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK> view(
      zoo::as<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK>(*mesh));
  EXPECT_EQ(view.nodeCounts(), (MbIndex3{3, 3, 3}));
  for (std::size_t node = 0; node < view.nodeCount(); ++node) {
    const MbIndex3 at = splitIndex(view.dataNode(node), view.nodeCounts());
    const MbVec3d position = view.position(node);
    EXPECT_EQ(position.x, static_cast<double>(at.x));
    EXPECT_EQ(position.y, static_cast<double>(at.y) / 2);
    EXPECT_EQ(position.z, static_cast<double>(at.z) / 4);
  }
}

namespace {
// A foreign mesh whose arrays and counts do not fit together.
class ShortGrid final : public MiVolumeMeshCurvilinear, MiTopologyIjk, MiGeometryIjk
{
public:
  const MiTopologyIjk& getTopology() const override { return *this; }
  const MiGeometryIjk& getGeometry() const override { return *this; }
  std::uint64_t getTimeStamp() const override { return 1; }
  MbIndex3 getCellCounts() const override { return {2, 2, 2}; }
  bool hasDeadCells() const override { return true; }
  MiArrayView getActiveView() const override { return MiArrayView(std::span(m_active)); }
  MbIndex3 getNodeCounts() const override { return {3, 3, 2}; }
  MbVec3d getNode(std::size_t, std::size_t, std::size_t) const override { return {}; }
  MiArrayView getView() const override { return MiArrayView::triples(std::span(m_points)); }

private:
  const std::vector<std::uint8_t> m_active{1, 1, 1};
  const std::vector<float> m_points = std::vector<float>(6);
};
} // namespace

TEST(MxCellView, NeverReadsBeyondArraysThatAreTooShort)
{
  const ShortGrid mesh;
  const MxCellView<VOLUME_MESH_CURVILINEAR> view(mesh);
  EXPECT_TRUE(isFinite(view.position(1)));
  EXPECT_FALSE(isFinite(view.position(2)));
  EXPECT_FALSE(view.isDead(0));
  EXPECT_TRUE(view.isDead(3)); // no entry in the array of active cells
  EXPECT_TRUE(view.isDead(4)); // no nodes above it
}

TEST(MxCellView, AnswersBrokenOffsetsWithNoNodes)
{
  const std::vector<std::uint8_t> shapes{10, 10, 10, 200};
  const std::vector<int> offsets{0, 4, 2, -1, 9}, connectivity{0, -1, 2, 3};
  const MbVolumeMeshUnstructured mesh({shapes, offsets, connectivity}, std::vector<float>(12));
  const MxCellView<VOLUME_MESH_UNSTRUCTURED> view(mesh);
  MxCellBuffer buffer;
  EXPECT_EQ(view.nodes(0, buffer).size(), 4u);
  for (const std::size_t cell : {1, 2, 3})
    EXPECT_TRUE(view.nodes(cell, buffer).empty()) << cell;
  EXPECT_EQ(cellShapeFacts(view.shape(3)).dimension, -1);
}
