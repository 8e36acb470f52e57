#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/base/MxParallel.h>

#include <Inventor/SbVec3f.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// The faces of an index list in which any negative entry ends a face, and their triangles.
///
/// A face with fewer than three vertices, or with one that does not exist, keeps its number but has
/// no triangles. Faces are fans about their first vertex, as the toolkit picks them: what is picked
/// is what is drawn, on warped quadrilaterals too. Hollow faces are split otherwise.
class MxFaceTable
{
public:
  static constexpr std::size_t kBlock = 8192;

  /// @param indices  borrowed until the next build
  void build(std::span<const std::int32_t> indices, std::size_t vertexCount);
  /// Splits hollow faces so that their triangles lie inside, and no others.
  /// @param positions  as many as build() was told
  /// @return whether a triangle is another one now
  bool splitHollow(std::span<const SbVec3f> positions);
  void clear();

  std::size_t faceCount() const { return m_first.empty() ? 0 : m_first.size() - 1; }
  std::size_t triangleCount() const
  {
    return m_triangleFirst.empty() ? 0 : m_triangleFirst[faceCount()];
  }
  /// The vertices of a face; none for one that is not drawn.
  std::span<const std::int32_t> face(std::size_t f) const
  {
    const std::size_t triangles = m_triangleFirst[f + 1] - m_triangleFirst[f];
    return {m_indices + m_first[f], triangles ? triangles + 2 : 0};
  }
  std::size_t triangleFirst(std::size_t f) const { return m_triangleFirst[f]; }
  /// Where the face begins in the index list.
  std::size_t positionOf(std::size_t f) const { return m_first[f]; }
  /// Whether a face has more than `count` vertices.
  bool hasLargerThan(std::size_t count) const { return m_largest > count; }

  /// Calls body(first, last) for blocks of faces, several at a time.
  template <class Body>
  void forEachFaceBlock(const Body& body) const
  {
    forEachBlock(true, faceCount(), kBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) { body(first, last); });
  }

  /// Calls emit(a, b, c) with the places in the face of each triangle's corners.
  template <class Emit>
  void forEachTriangle(std::size_t f, const Emit& emit) const
  {
    const std::size_t triangles = m_triangleFirst[f + 1] - m_triangleFirst[f];
    if (const std::uint32_t* places = placesOf(f)) {
      for (std::size_t t = 0; t < triangles; ++t, places += 3)
        emit(std::size_t{places[0]}, std::size_t{places[1]}, std::size_t{places[2]});
    } else {
      for (std::size_t k = 1; k <= triangles; ++k)
        emit(std::size_t{0}, k, k + 1);
    }
  }

  /// The number among all triangle corners of one that stands at place k of face f.
  std::uint32_t cornerOf(std::size_t f, std::size_t k) const
  {
    const std::size_t count = m_triangleFirst[f + 1] - m_triangleFirst[f] + 2;
    const std::size_t base = 3 * static_cast<std::size_t>(m_triangleFirst[f]);
    if (const std::uint32_t* places = placesOf(f))
      return static_cast<std::uint32_t>(
          base + static_cast<std::size_t>(std::find(places, places + 3 * (count - 2), k) - places));
    if (k == 0) return static_cast<std::uint32_t>(base);
    return static_cast<std::uint32_t>(k + 1 < count ? base + 3 * (k - 1) + 1
                                                    : base + 3 * (k - 2) + 2);
  }

private:
  // The triangles of a hollow face; null for a fan.
  const std::uint32_t* placesOf(std::size_t f) const
  {
    if (m_hollow.empty()) return nullptr;
    const auto found = std::lower_bound(m_hollow.begin(), m_hollow.end(), f);
    if (found == m_hollow.end() || *found != f) return nullptr;
    return m_places.data() + m_placesFirst[static_cast<std::size_t>(found - m_hollow.begin())];
  }

  const std::int32_t* m_indices = nullptr;
  MxArray<std::uint32_t> m_first;         // one more than faces; a face ends one before the next
  MxArray<std::uint32_t> m_triangleFirst; // one more than faces
  std::size_t m_largest = 0;
  // Hollow faces in order, where their triangles begin, and the places of the corners of those.
  std::vector<std::size_t> m_hollow, m_placesFirst;
  std::vector<std::uint32_t> m_places;
};
