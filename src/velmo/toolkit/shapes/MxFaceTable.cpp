#include <velmo/toolkit/shapes/MxFaceTable.h>
#include <velmo/toolkit/shapes/MxIndexList.h>
#include <velmo/toolkit/shapes/MxPolygonSplit.h>

#include <algorithm>
#include <vector>

void MxFaceTable::clear()
{
  m_indices = nullptr;
  m_first.release();
  m_triangleFirst.release();
  m_largest = 0;
  m_hollow.clear();
  m_placesFirst.clear();
  m_places.clear();
}

void MxFaceTable::build(std::span<const std::int32_t> indices, std::size_t vertexCount)
{
  m_indices = indices.data();
  m_largest = 0;
  m_hollow.clear();
  m_placesFirst.clear();
  m_places.clear();
  mxCellBegins(indices, m_first);
  const std::size_t faces = faceCount();

  m_triangleFirst.resizeUninitialized(faces + 1);
  m_triangleFirst[faces] = 0;
  std::vector<std::size_t> largest(blockCount(faces, kBlock));
  forEachBlock(true, faces, kBlock, [&](std::size_t block, std::size_t first, std::size_t last) {
    for (std::size_t f = first; f < last; ++f) {
      const std::size_t count = m_first[f + 1] - m_first[f] - 1;
      const auto* vertices = m_indices + m_first[f];
      const bool known = std::all_of(vertices, vertices + count, [&](std::int32_t v) {
        return static_cast<std::size_t>(v) < vertexCount;
      });
      m_triangleFirst[f] = count >= 3 && known ? static_cast<std::uint32_t>(count - 2) : 0;
      largest[block] = std::max(largest[block], m_triangleFirst[f] ? count : 0);
    }
  });
  exclusivePrefixSum(m_triangleFirst.span());
  for (const std::size_t count : largest)
    m_largest = std::max(m_largest, count);
}

bool MxFaceTable::splitHollow(std::span<const SbVec3f> positions)
{
  if (!hasLargerThan(3)) return false;
  std::vector<std::vector<std::size_t>> parts(blockCount(faceCount(), kBlock));
  forEachBlock(true, faceCount(), kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 for (std::size_t f = first; f < last; ++f)
                   if (mxIsHollow(face(f), positions)) parts[block].push_back(f);
               });
  std::vector<std::size_t> hollow, placesFirst;
  for (const auto& part : parts)
    hollow.insert(hollow.end(), part.begin(), part.end());
  if (hollow.empty() && m_hollow.empty()) return false;
  std::vector<std::uint32_t> places;
  for (const std::size_t f : hollow) {
    placesFirst.push_back(places.size());
    mxSplitPolygon(face(f), positions, places);
  }
  const bool changed = hollow != m_hollow || places != m_places;
  m_hollow = std::move(hollow);
  m_placesFirst = std::move(placesFirst);
  m_places = std::move(places);
  return changed;
}
