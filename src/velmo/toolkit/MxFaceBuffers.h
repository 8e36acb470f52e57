#pragma once

#include <velmo/toolkit/MxFaceEdges.h>
#include <velmo/toolkit/MxGlBuffer.h>

/// Everything that the buffers of a face set are filled from.
struct MxFaceData : MxShapeData
{
  const MxFaceTable* faces = nullptr;
  MxFaceAttribute<SbVec3f> normals;
};

/// The buffers of one face set in one graphics context and one layout. Each kind of data has a
/// buffer of its own, which is filled again only when its own key, or what it depends on, changes.
///
/// *Threads*: with the context current.
class MxFaceBuffers
{
public:
  explicit MxFaceBuffers(MxFaceLayout layout) : m_layout(layout) {}
  MxFaceBuffers(const MxFaceBuffers&) = delete;
  MxFaceBuffers& operator=(const MxFaceBuffers&) = delete;
  /// Frees nothing: release() does, while the context is current.
  ~MxFaceBuffers() = default;
  void release();

  bool isEmpty() const { return m_streams[Positions].isEmpty(); }
  bool holds(const MxFaceData& data) const;
  /// Brings the vertex arrays that `data` gives up to date and makes them current.
  /// @param edgeAttribute  number of the vertex attribute for the marks of edges; none below 0
  void bind(const MxFaceData& data, int edgeAttribute, MxUploadCounts& counts);
  void drawTriangles(const MxFaceData& data, MxUploadCounts& counts);
  void drawEdges(const MxFaceData& data, MxUploadCounts& counts);
  /// The edges of one face only.
  void drawOpenEdges(const MxFaceData& data, MxUploadCounts& counts);
  void drawPoints(const MxFaceData& data, MxUploadCounts& counts);

private:
  enum Name
  {
    Positions,
    Normals,
    Colors,
    Coordinates,
    EdgeMarks,
    Triangles,
    Edges,
    OpenEdges,
    Points,
    Count
  };
  template <class T>
  bool updateAttribute(Name name, const MxFaceData& data, const MxFaceAttribute<T>& attribute);
  void drawElements(unsigned mode, Name name, const MxFaceData& data, MxUploadCounts& counts);

  MxFaceLayout m_layout;
  std::array<MxGlBuffer, Count> m_streams;
};
