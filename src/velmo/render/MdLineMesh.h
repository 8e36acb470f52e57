#pragma once

#include <velmo/mesh/MeXMesh.h>
#include <velmo/render/MdMesh.h>

/// Draws extracted lines, each cell a polyline: in the colours of values per node or per cell, with
/// a pattern that runs along each polyline, lit where there are tangents. Their points are drawn
/// where the draw style says so.
class MdLineMesh final : public MdIndexedMesh
{
public:
  /// @param parent  gets the builder's separator
  explicit MdLineMesh(SoGroup* parent, bool fading = false);

  /// @param colorSets  values on the lines, borrowed; null for a set that is missing
  /// @param keep       holds lines and sets while they are drawn; null when they are sure to stay
  void set(SoState* state, const MeXLineMeshUnstructured& lines, const ColorSets& colorSets,
           const MxRefCounted* keep = nullptr);
  void set(SoState* state, const MeXLineMeshUnstructured& lines,
           const MeXDataSetI<double>* colorSet, const MxRefCounted* keep = nullptr);

  /// Sixteen pixels of a line, drawn where a bit is set, from the lowest on; until the lines are
  /// cleared.
  void setLinePattern(unsigned short pattern);
  /// Directions along the lines, of any length, one a node or one a line; until the lines are
  /// cleared. Copied, once a stamp: to be called after set, at each traversal.
  /// @param tangents  null takes them away, with a warning
  void setTangents(const MeXDataSetI<MbVec3d>* tangents);
  void rayPick(SoRayPickAction* action) override;

private:
  const MeXLineMeshUnstructured* m_lines = nullptr;
};
