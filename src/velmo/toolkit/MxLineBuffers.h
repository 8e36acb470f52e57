#pragma once

#include <velmo/toolkit/MxGlBuffer.h>
#include <velmo/toolkit/MxLineTable.h>

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

/// The buffers of one line or point set in one graphics context and one layout. The vertices of
/// polylines that have their own lie as the index list names them, with a gap after each.
///
/// *Threads*: with the context current.
class MxLineBuffers
{
public:
  explicit MxLineBuffers(MxFaceLayout layout) : m_layout(layout) {}
  MxLineBuffers(const MxLineBuffers&) = delete;
  MxLineBuffers& operator=(const MxLineBuffers&) = delete;
  /// Frees nothing: release() does, while the context is current.
  ~MxLineBuffers() = default;
  void release();

  bool isEmpty() const { return m_streams[Positions].isEmpty(); }
  bool holds(const MxLineData& data) const;
  /// Brings the vertex arrays that `data` gives up to date and makes them current.
  /// @param tangentAttribute  number of the vertex attribute for tangents; none below 0
  void bind(const MxLineData& data, int tangentAttribute, MxUploadCounts& counts);
  /// @param strips  draw each polyline in one go, so that patterns run along it
  void drawLines(const MxLineData& data, bool strips, MxUploadCounts& counts);
  void drawPoints(const MxLineData& data, MxUploadCounts& counts);

private:
  enum Name
  {
    Positions,
    Tangents,
    Colors,
    Coordinates,
    Segments,
    List,
    Points,
    Count
  };
  template <class T>
  bool updateAttribute(Name name, const MxLineData& data, const MxFaceAttribute<T>& attribute);
  void drawStrips(const MxLineData& data, MxUploadCounts& counts);

  MxFaceLayout m_layout;
  std::array<MxGlBuffer, Count> m_streams;

  // Of the strips.
  MxArrayKey m_stripKey;
  std::vector<int> m_stripSizes, m_stripFirsts;
  std::vector<const void*> m_stripOffsets;
};
