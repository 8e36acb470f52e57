#include <velmo/representation/MdMeshSurfaceRepresentation.h>

#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/representation/MdExtract.h>
#include <velmo/representations/MoMeshSkin.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/StateProbe.h>
#include <tests/support/UniformTessellator.h>
#include <tests/support/WarningLog.h>

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

using Family =
    MdExtractorFamily<MiSkinExtractUnstructured, MiSkinExtractHexahedronIjk, MiSkinExtractIjk>;

constexpr MdRepresentationTexts kTexts{
    .node = "Homeless", .extractors = {"A", "B", "C"}, .refusalFunction = "", .refusal = ""};

class Extract final : public MdExtract<MdTraits<VOLUME_MESH_UNSTRUCTURED, Family>>
{
public:
  using MdExtract::MdExtract;
  const MeXLineMeshUnstructured* extractLine(SoState*, const MiCellFilterI* filter) override
  {
    return &getExtractor().extractLine(filter);
  }
  const MeXPointMeshCurvilinear* extractPoints(SoState*, const MiCellFilterI* filter) override
  {
    return &getExtractor().extractPoints(filter);
  }
};

/// Extracts skins, and has no builders unless it is given some.
class Homeless final : public MdMeshSurfaceRepresentation<Extract>
{
public:
  explicit Homeless(MoMeshRepresentation& owner) : MdMeshSurfaceRepresentation(owner, kTexts) {}

protected:
  std::unique_ptr<Extract> makeExtract(const MiVolumeMeshUnstructured& mesh, bool parallel,
                                       const MiTessellator* tessellator) override
  {
    return std::make_unique<Extract>(
        MiSkinExtractUnstructured::getNewInstance(mesh, parallel, tessellator), "A");
  }
  const MeXSurfaceMeshUnstructured* extractSurface(SoState*, const MiCellFilterI* filter) override
  {
    return &getExtract()->getExtractor().extractSkin(filter);
  }
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
