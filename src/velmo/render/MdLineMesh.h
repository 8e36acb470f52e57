#pragma once

#include <velmo/mesh/MeXMesh.h>
#include <velmo/render/MdMesh.h>

/// Draws extracted lines.
class MdLineMesh final : public MdIndexedMesh
{
public:
  /// @param parent  gets the builder's separator
  explicit MdLineMesh(SoGroup* parent, bool fading = false);

  /// @param colorSets  values on the lines, borrowed; null for a set that is missing
  /// @param keep       holds lines and sets while they are drawn; null when they are sure to stay
  void set(SoState* state, const MeXLineMeshUnstructured& lines, const ColorSets& colorSets,
           const MxRefCounted* keep = nullptr);

  /// Until the lines are cleared.
  void setLinePattern(unsigned short pattern);
  /// @param tangents  null for none
  void setTangents(const MeXDataSetI<MbVec3d>* tangents);
  void rayPick(SoRayPickAction* action) override;

private:
  const MeXLineMeshUnstructured* m_lines = nullptr;
};
