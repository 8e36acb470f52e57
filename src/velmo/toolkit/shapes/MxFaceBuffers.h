#pragma once

#include <velmo/toolkit/shapes/MxFaceEdges.h>
#include <velmo/toolkit/shapes/MxShapeBuffers.h>

/// Everything that the buffers of a face set are filled from.
struct MxFaceData : MxShapeData
{
  const MxFaceTable* faces = nullptr;
  MxFaceAttribute<SbVec3f> normals;
};

/// The buffers of one face set.
class MxFaceBuffers : public MxShapeBuffers
{
public:
  explicit MxFaceBuffers(MxFaceLayout layout) : MxShapeBuffers(layout) {}

  /// Brings the vertex arrays that `data` gives up to date and makes them current.
  /// @param edgeAttribute  number of the vertex attribute for the marks of edges; none below 0
  void bind(const MxFaceData& data, int edgeAttribute, MxUploadCounts& counts);
  void drawTriangles(const MxFaceData& data, MxUploadCounts& counts);
  void drawEdges(const MxFaceData& data, MxUploadCounts& counts);
  /// The edges of one face only.
  void drawOpenEdges(const MxFaceData& data, MxUploadCounts& counts);
  void drawPoints(const MxFaceData& data, MxUploadCounts& counts);

private:
  enum OwnName
  {
    Normals = OwnFirst,
    EdgeMarks,
    Triangles,
    Edges,
    OpenEdges,
    Count
  };
  static_assert(Count <= kMostBuffers);
};
