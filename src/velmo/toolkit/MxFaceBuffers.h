#pragma once

#include <velmo/toolkit/MxFaceEdges.h>

#include <Inventor/SbVec2f.h>
#include <Inventor/SbVec3f.h>

#include <array>
#include <cstdint>
#include <span>

/// What an array held when it was last looked at: the same array, length and stamp mean the same
/// values. Stamps come from the fields' notifications, never from reading the values.
struct MxArrayKey
{
  const void* data = nullptr;
  std::size_t count = 0;
  std::uint64_t stamp = 0;
  bool operator==(const MxArrayKey&) const = default;
};

/// How many values of an attribute there are.
enum class MxFaceBinding
{
  Overall,
  PerVertex, ///< one a vertex, by vertex number
  PerFace,   ///< one a face, by face number
  PerCorner  ///< one a triangle corner, in their order
};

template <class T>
struct MxFaceAttribute
{
  MxFaceBinding binding = MxFaceBinding::Overall;
  std::span<const T> values; ///< never empty unless Overall; the last one stands for missing ones
  MxArrayKey key;
};

/// Everything that the buffers of a face set are filled from.
struct MxFaceData
{
  const MxFaceTable* faces = nullptr;
  MxArrayKey topology;
  MxFaceAttribute<SbVec3f> positions; ///< PerVertex
  MxFaceAttribute<SbVec3f> normals;
  MxFaceAttribute<std::uint32_t> colors;       ///< 0xRRGGBBAA
  MxFaceAttribute<SbVec2f> textureCoordinates; ///< PerVertex or none
};

/// How often something was sent to a graphics context.
struct MxUploadCounts
{
  int positions = 0;
  int normals = 0;
  int colors = 0;
  int textureCoordinates = 0;
  int indices = 0; ///< index lists and the marks of edges
  bool operator==(const MxUploadCounts&) const = default;
};

/// The buffers of one face set in one graphics context and one layout. Each kind of data has a
/// buffer of its own, which is filled again only when its own key, or what it depends on, changes.
///
/// *Threads*: with the context current. Values are written straight into the mapped buffers, by
/// several threads.
class MxFaceBuffers
{
public:
  explicit MxFaceBuffers(MxFaceLayout layout) : m_layout(layout) {}
  MxFaceBuffers(const MxFaceBuffers&) = delete;
  MxFaceBuffers& operator=(const MxFaceBuffers&) = delete;
  /// Frees nothing: release() does, while the context is current.
  ~MxFaceBuffers() = default;
  void release();

  bool isEmpty() const { return m_streams[Positions].buffer == 0; }
  bool holds(const MxFaceData& data) const;
  /// Brings the vertex arrays that `data` gives up to date and makes them current.
  /// @param edgeAttribute  number of the vertex attribute for the marks of edges; none below 0
  void bind(const MxFaceData& data, int edgeAttribute, MxUploadCounts& counts);
  void drawTriangles(const MxFaceData& data, MxUploadCounts& counts);
  void drawEdges(const MxFaceData& data, MxUploadCounts& counts);
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
    Points,
    Count
  };
  struct Stream
  {
    unsigned buffer = 0;
    std::size_t byteCount = 0;
    std::size_t itemCount = 0;
    std::array<MxArrayKey, 2> keys;
    int binding = -1;
  };

  template <class T, class Fill>
  bool update(Name name, unsigned target, std::size_t count, std::array<MxArrayKey, 2> keys,
              int binding, const Fill& fill);
  template <class T>
  bool updateAttribute(Name name, const MxFaceData& data, const MxFaceAttribute<T>& attribute);
  void drawElements(unsigned mode, Name name, const MxFaceData& data, MxUploadCounts& counts);

  MxFaceLayout m_layout;
  std::array<Stream, Count> m_streams;
};
