#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

/// The polylines of an index list in which any negative entry ends a polyline, and their segments.
///
/// A polyline with a vertex that does not exist keeps its number but has no vertices.
class MxLineTable
{
public:
  static constexpr std::size_t kBlock = 8192;

  /// @param indices  borrowed until the next build
  void build(std::span<const std::int32_t> indices, std::size_t vertexCount);

  std::size_t lineCount() const { return m_first.empty() ? 0 : m_first.size() - 1; }
  std::size_t segmentCount() const
  {
    return m_segmentFirst.empty() ? 0 : m_segmentFirst[lineCount()];
  }
  /// The vertices of a polyline; none for one that is not drawn.
  std::span<const std::int32_t> line(std::size_t l) const
  {
    return {m_indices + m_first[l], m_size[l]};
  }
  /// Segments are numbered along the polylines, those that are not drawn left out.
  std::size_t segmentFirst(std::size_t l) const { return m_segmentFirst[l]; }
  /// Where the polyline begins in the index list.
  std::size_t positionOf(std::size_t l) const { return m_first[l]; }
  /// The polyline of a segment.
  std::size_t lineOf(std::size_t segment) const
  {
    const auto* end = m_segmentFirst.begin() + lineCount();
    return static_cast<std::size_t>(std::upper_bound(m_segmentFirst.begin(), end, segment) -
                                    m_segmentFirst.begin()) -
           1;
  }
  /// Whether any polyline has more than one segment.
  bool hasBends() const { return m_hasBends; }

  /// Calls body(first, last) for blocks of polylines, several at a time.
  template <class Body>
  void forEachLineBlock(const Body& body) const
  {
    forEachBlock(true, lineCount(), kBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) { body(first, last); });
  }

private:
  const std::int32_t* m_indices = nullptr;
  MxArray<std::uint32_t> m_first;        // one more than polylines
  MxArray<std::uint32_t> m_size;         // vertices; 0 for a polyline that is not drawn
  MxArray<std::uint32_t> m_segmentFirst; // one more than polylines
  bool m_hasBends = false;
};
