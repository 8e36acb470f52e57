#pragma once

#include <velmo/toolkit/shapes/MxLineTable.h>
#include <velmo/toolkit/shapes/MxShapeBuffers.h>

#include <vector>

/// The vertices that the polylines use, each once.
MxArray<std::uint32_t> mxUsedVertices(const MxLineTable& lines, std::size_t vertexCount);

/// Everything that the buffers of a line or point set are filled from.
struct MxLineData : MxShapeData
{
  const MxLineTable* lines = nullptr; ///< null for points
  std::size_t pointCount = 0;         ///< of a point set: its points are the first vertices
  MxFaceAttribute<SbVec3f> tangents;  ///< along the lines; Overall without a value for none
};

/// The buffers of one line or point set. The vertices of polylines that have their own lie as the
/// index list names them, with a gap after each.
class MxLineBuffers : public MxShapeBuffers
{
public:
  explicit MxLineBuffers(MxFaceLayout layout) : MxShapeBuffers(layout) {}

  /// Brings the vertex arrays that `data` gives up to date and makes them current.
  /// @param tangentAttribute  number of the vertex attribute for tangents; none below 0
  void bind(const MxLineData& data, int tangentAttribute, MxUploadCounts& counts);
  /// @param strips  draw each polyline in one go, so that patterns run along it
  void drawLines(const MxLineData& data, bool strips, MxUploadCounts& counts);
  void drawPoints(const MxLineData& data, MxUploadCounts& counts);

private:
  enum OwnName
  {
    Tangents = OwnFirst,
    Segments,
    List,
    Count
  };
  static_assert(Count <= kMostBuffers);

  void drawStrips(const MxLineData& data, MxUploadCounts& counts);

  // Of the strips.
  MxArrayKey m_stripKey;
  std::vector<int> m_stripSizes, m_stripFirsts;
  std::vector<const void*> m_stripOffsets;
};
