#pragma once

#include <velmo/toolkit/shapes/MxGlBuffer.h>

#include <span>

/// What the buffers of face, line and point sets share: those of the vertices, and drawing by a
/// list of elements. They belong to one shape in one graphics context and one layout; each is
/// filled again only when its own key, or what it depends on, changes.
///
/// *Threads*: with the context current.
class MxShapeBuffers
{
public:
  MxShapeBuffers(const MxShapeBuffers&) = delete;
  MxShapeBuffers& operator=(const MxShapeBuffers&) = delete;
  void release();

  bool isEmpty() const { return m_streams[Positions].isEmpty(); }
  /// Whether the positions are those of the data.
  bool holds(const MxShapeData& data) const;

protected:
  enum Name
  {
    Positions,
    Colors,
    Coordinates,
    Points,
    OwnFirst ///< the first of a kind of shape
  };
  static constexpr std::size_t kMostBuffers = 9;

  explicit MxShapeBuffers(MxFaceLayout layout) : m_layout(layout) {}
  /// Frees nothing: release() does, while the context is current.
  ~MxShapeBuffers() = default;

  static const void* atStart() { return nullptr; }
  bool hasCorners() const { return m_layout == MxFaceLayout::Corners; }

  /// Brings one value a vertex up to date.
  /// @param cornerCount  of the layout that has a vertex for each corner
  /// @param fillCorners  fillCorners(T* out, attribute) fills that layout
  /// @return whether it was filled
  template <class T, class FillCorners>
  bool updateAttribute(std::size_t stream, const MxShapeData& data,
                       const MxFaceAttribute<T>& attribute, std::size_t cornerCount,
                       const FillCorners& fillCorners)
  {
    const std::size_t count = hasCorners() ? cornerCount : data.positions.values.size();
    return m_streams[stream].update<T>(
        arrayTarget(), count,
        {attribute.key, hasCorners() ? data.topology : MxArrayKey{nullptr, count, 0}},
        static_cast<int>(attribute.binding), [&](T* out) {
          if (hasCorners())
            fillCorners(out, attribute);
          else
            mxFillVertices(out, count, attribute.values);
        });
  }
  /// Brings positions, and colours and texture coordinates where they differ, up to date and makes
  /// them the vertices that are drawn. An array that is not used now keeps what it has: another
  /// style may need it in the same frame.
  template <class FillCorners>
  void bindVertices(const MxShapeData& data, std::size_t cornerCount,
                    const FillCorners& fillCorners, MxUploadCounts& counts)
  {
    if (data.colors.binding != MxFaceBinding::Overall) {
      counts.colors += updateAttribute(Colors, data, data.colors, cornerCount, fillCorners);
      useColors();
    }
    if (data.textureCoordinates.binding != MxFaceBinding::Overall) {
      counts.textureCoordinates +=
          updateAttribute(Coordinates, data, data.textureCoordinates, cornerCount, fillCorners);
      useCoordinates();
    }
    counts.positions += updateAttribute(Positions, data, data.positions, cornerCount, fillCorners);
    usePositions();
  }
  /// Draws by a list of vertices that depends on nothing but the topology.
  /// @param makeElements  makeElements() answers it; called when it is not there yet
  template <class MakeElements>
  void drawElements(unsigned mode, std::size_t stream, const MxArrayKey& topology,
                    const MakeElements& makeElements, MxUploadCounts& counts)
  {
    const MxGlBuffer::Keys keys{topology, MxArrayKey{}};
    if (m_streams[stream].isFilledFrom(keys))
      m_streams[stream].makeCurrent(elementTarget());
    else
      counts.indices += takeElements(m_streams[stream], keys, makeElements());
    drawCurrentElements(mode, m_streams[stream].itemCount());
  }

  const MxFaceLayout m_layout;
  std::array<MxGlBuffer, kMostBuffers> m_streams;

private:
  // Numbers of the graphics library, which this header does not need.
  static unsigned arrayTarget();
  static unsigned elementTarget();
  static void useColors();
  static void useCoordinates();
  static void usePositions();
  static bool takeElements(MxGlBuffer& stream, const MxGlBuffer::Keys& keys,
                           const MxArray<std::uint32_t>& elements);
  static void drawCurrentElements(unsigned mode, std::size_t count);
};
