#pragma once

#include <velmo/representation/MdMeshRepresentation.h>

/// The implementation of a node that has met no mesh yet, or one that it refused: nothing happens,
/// and its kind matches no mesh, so that the next mesh is looked at afresh.
class MdUndefinedMeshRepresentation final : public MdMeshRepresentation
{
public:
  MiExtractor* getExtractor() override { return nullptr; }
  MeshType getMeshType() const override { return UNDEFINED_MESH; }
  void rayPick(SoRayPickAction*) override {}
  void doExtract(SoState*, const MiMesh*) override {}
  const MiTypedDataSet<double>* extractScalarSet(const MiTypedDataSet<double>*) override
  {
    return nullptr;
  }
  void clear() override {}
  bool tryClear() override { return true; }
  const MiMesh* getExtractedMesh(MeshType& type) override
  {
    type = UNDEFINED_MESH;
    return nullptr;
  }
  const MiTypedDataSet<double>* extractScalarSet(SoState*, unsigned long) override
  {
    return nullptr;
  }
  const MiTypedDataSet<MbVec3d>* extractVec3Set(SoState*, unsigned long) override
  {
    return nullptr;
  }
  const MiTypedDataSet<MbVec3d>* extractVec3Set(const MiTypedDataSet<MbVec3d>*) override
  {
    return nullptr;
  }
};
