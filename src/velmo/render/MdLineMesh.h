#pragma once

#include <velmo/mesh/MeXMesh.h>
#include <velmo/render/MdMesh.h>

template <class Shown>
class MxStructuredView;

/// Draws extracted lines, each cell a polyline: in the colours of values per node or per cell, with
/// a pattern that runs along each polyline, lit where there are tangents. Their points are drawn
/// where the draw style says so.
class MdLineMesh final : public MdIndexedMesh
{
public:
  /// @param parent  gets the builder's separator
  explicit MdLineMesh(SoGroup* parent, bool fading = false);
  ~MdLineMesh() override;

  /// @param colorSets  values on the lines, borrowed; null for a set that is missing
  /// @param callback   told of the work when it lasts, and may cancel it; null for nobody
  /// @param keep       holds lines and sets while they are drawn; null when they are sure to stay
  /// @throw std::bad_alloc, std::length_error, MiCancellationException
  void set(SoState* state, const MeXLineMeshUnstructured& lines, const ColorSets& colorSets,
           MiExtractorCallback* callback = nullptr, const MxRefCounted* keep = nullptr);
  /// A row of lines between consecutive nodes, which have finite places; as MdSurfaceMesh draws
  /// surfaces numbered (i, j).
  void set(SoState* state, const MiLineMeshCurvilinear& lines, const ColorSets& colorSets,
           MiExtractorCallback* callback = nullptr, const MxRefCounted* keep = nullptr);
  template <class Lines>
  void set(SoState* state, const Lines& lines, const MeXDataSetI<double>* colorSet,
           MiExtractorCallback* callback = nullptr, const MxRefCounted* keep = nullptr)
  {
    set(state, lines, ColorSets{colorSet}, callback, keep);
  }

  /// Sixteen pixels of a line, drawn where a bit is set, from the lowest on; until the lines are
  /// cleared.
  void setLinePattern(unsigned short pattern);
  /// Directions along the lines, of any length, one per node or one per line; until the lines are
  /// cleared. Copied, once a stamp: to be called after set, at each traversal.
  /// @param tangents  null takes them away, with a warning
  void setTangents(const MeXDataSetI<MbVec3d>* tangents);
  void rayPick(SoRayPickAction* action) override;

private:
  template <class Lines>
  void setInternalLineMesh(SoState* state, const Lines& lines, const ColorSets& colorSets,
                           MiExtractorCallback* callback, const MxRefCounted* keep);

  const MeXLineMeshUnstructured* m_lines = nullptr; // what is drawn
  std::unique_ptr<MxStructuredView<MeXLineMeshUnstructured>> m_internal;
};
