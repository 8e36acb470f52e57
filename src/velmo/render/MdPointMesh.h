#pragma once

#include <velmo/mesh/MeXMesh.h>
#include <velmo/render/MdMesh.h>

/// Draws extracted points.
class MdPointMesh final : public MdMesh
{
public:
  /// @param parent  gets the builder's separator
  explicit MdPointMesh(SoGroup* parent);

  /// @param colorSets  values at the points, borrowed; null for a set that is missing
  /// @param callback   told of the work when it lasts, and may cancel it; null for nobody
  /// @param keep       holds points and sets while they are drawn; null when they are sure to stay
  void set(SoState* state, const MeXPointMeshCurvilinear& points, const ColorSets& colorSets,
           MiExtractorCallback* callback = nullptr, const MxRefCounted* keep = nullptr);

private:
  void fillPrimitives(SoState* state) override;
};
