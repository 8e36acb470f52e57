#pragma once

#include <velmo/mesh/MeXMesh.h>
#include <velmo/render/MxEnhancedColoring.h>
#include <velmo/render/MxMeshSceneGraph.h>

#include <span>
#include <vector>

/// Faces in "MainStyle"; the same cells again as "LineStyle" and "PointStyle".
class MxSurfaceSceneGraph final : public MxUnstrMeshSceneGraph
{
public:
  explicit MxSurfaceSceneGraph(SoSeparator* root);

  bool isEnabled(SoState* state) override;
  void clear() override;
  bool requireFading() const override;

  /// Colours the faces inside each polygon where material, mapping and values ask for it.
  void fillEnhancedColoring(const MeXSurfaceMeshUnstructured& surface,
                            const MeXDataSetI<double>* values, const MiScalarColorMapping* mapping);
  /// One normal for the whole surface; zero for those of the nodes, or computed ones.
  void setOverallNormal(const SbVec3f& normal);
  /// Normals of any length, one per node or one per face, as many as there are; null for those of
  /// the nodes, or computed ones. Copied, unless they are those of the last call.
  void setNormalDataSet(const MeXDataSetI<MbVec3d>* normals);
  /// A normal a node; none for computed normals. Borrowed until the next call or clear; what was
  /// given before may be gone.
  void setNodeNormals(std::span<const MbVec3f> normals);

private:
  void applyNormals();
  MxStyledIndexedFaceGraph& getFaceGraph() const;

  std::unique_ptr<MxEnhancedColoring> m_enhanced;
  SbVec3f m_normal{0, 0, 0};
  std::span<const MbVec3f> m_nodeNormals;
  std::vector<MbVec3f> m_setNormals;
  SoVertexProperty::Binding m_setNormalBinding = SoVertexProperty::PER_VERTEX_INDEXED;
  std::uint64_t m_setNormalsStamp = MxTimeStamp::kNone;
  std::uint64_t m_namesStamp = MxTimeStamp::kNone; // of the topology whose faces the normals name
};
