#include <velmo/representation/MdMeshSurfaceRepresentation.h>

#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/representation/MdExtractBy.h>
#include <velmo/representations/MoMeshSkin.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/StateProbe.h>
#include <tests/support/UniformTessellator.h>
#include <tests/support/WarningLog.h>

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

/// A skin of all cells, told by nothing.
struct Whole
{
  using Node = MoMeshRepresentation;
  using Extractors =
      MdExtractorFamily<MiSkinExtractUnstructured, MiSkinExtractHexahedronIjk, MiSkinExtractIjk>;
  static constexpr MdRepresentationTexts kTexts{
      .node = "Homeless", .extractors = {"A", "B", "C"}, .refusalFunction = "", .refusal = ""};
  template <MeshType>
  using Arguments = int;

  template <MeshType>
  static std::optional<int> read(SoState*, const Node&)
  {
    return 0;
  }
  static const auto& extractMesh(MiSkinExtractUnstructured& extractor, int,
                                 const MiCellFilterI* filter)
  {
    return extractor.extractSkin(filter);
  }
  static const auto& extractLine(MiSkinExtractUnstructured& extractor, int,
                                 const MiCellFilterI* filter)
  {
    return extractor.extractLine(filter);
  }
  static const auto& extractPoints(MiSkinExtractUnstructured& extractor, int,
                                   const MiCellFilterI* filter)
  {
    return extractor.extractPoints(filter);
  }
};

/// Has no builders unless it is given some.
class Homeless final
    : public MdMeshSurfaceRepresentation<MdExtractBy<Whole, VOLUME_MESH_UNSTRUCTURED>>
{
public:
  explicit Homeless(MoMeshRepresentation& owner) : MdMeshSurfaceRepresentation(owner, Whole::kTexts)
  {}
};

} // namespace

TEST(MdMeshSurfaceRepresentation, WarnsOfEveryBuilderThatIsMissing)
{
  const auto mesh = zoo::block(VOLUME_MESH_UNSTRUCTURED, {2, 1, 1});
  const SoRef<MoMesh> meshNode(new MoMesh);
  meshNode->setMesh(mesh.get());
  const SoRef<MoMeshSkin> owner(new MoMeshSkin);
  Homeless homeless(*owner);
  const SoRef<MoDrawStyle> style(new MoDrawStyle);
  style->displayEdges = style->displayPoints = TRUE;
  const auto extract = [&](MoTessellator* tessellator) {
    lookBehind([&](SoState* state) { homeless.doExtract(state, mesh.get()); }, meshNode.get(),
               style.get(), tessellator);
  };
  const SoRef<MoTessellator> none(new MoTessellator), some(new MoTessellator);
  UniformTessellator tessellator;
  tessellator.declines = true;
  some->setTessellator(&tessellator);

  WarningLog warnings;
  extract(none);
  EXPECT_THAT(warnings.texts(),
              ElementsAre("Homeless::doExtract: Cannot find child surface nodes."))
      << "without a tessellator the surface draws its edges and points itself";
  warnings.clear();
  extract(some);
  EXPECT_THAT(warnings.texts(), ElementsAre("Homeless::doExtract: Cannot find child surface nodes.",
                                            "Homeless::doExtract: Cannot find child line nodes.",
                                            "Homeless::doExtract: Cannot find child point nodes."));
}

TEST(MdMeshSurfaceRepresentation, KeepsResultsAliveThatABuilderStillDraws)
{
  const auto mesh = zoo::block(VOLUME_MESH_UNSTRUCTURED, {2, 1, 1});
  const SoRef<MoMesh> meshNode(new MoMesh);
  meshNode->setMesh(mesh.get());
  const SoRef<MoMeshSkin> owner(new MoMeshSkin);
  Homeless representation(*owner);
  const SoRef<SoSeparator> root(new SoSeparator);
  MdSurfaceMesh surfaces(root);
  representation.setBuilders(&surfaces, nullptr, nullptr);
  lookBehind([&](SoState* state) { representation.doExtract(state, mesh.get()); }, meshNode.get());
  MeshType type;
  const auto* drawn =
      dynamic_cast<const MeXSurfaceMeshUnstructured*>(surfaces.getExtractedMesh(type));
  ASSERT_NE(drawn, nullptr);
  EXPECT_TRUE(representation.tryClear());
  EXPECT_EQ(representation.getExtractedMesh(type), nullptr);
  EXPECT_EQ(type, UNDEFINED_MESH);
  // Read under the address sanitizer.
  EXPECT_EQ(drawn->getTopology().getCellCount(), 10u);
  EXPECT_EQ(drawn->getGeometry().getMax(), (MbVec3d{2, 0.5, 0.25}));
}

TEST(MdMeshSurfaceRepresentation, IsEmptiedByAMissingMesh)
{
  const auto mesh = zoo::block(VOLUME_MESH_UNSTRUCTURED, {2, 1, 1});
  const SoRef<MoMeshSkin> owner(new MoMeshSkin);
  Homeless representation(*owner);
  const auto before = owner->getTimeStamp();
  lookBehind([&](SoState* state) { representation.doExtract(state, nullptr); });
  EXPECT_NE(owner->getTimeStamp(), before) << "the owner was cleared";
}
