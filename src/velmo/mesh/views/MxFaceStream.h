#pragma once

#include <cstddef>
#include <cstdint>

/// True when a stream of `length` items is the face list of a polyhedron: face count, then per face
/// its node count and nodes, all of which exist.
template <class Stream>
bool isFaceStream(const Stream& stream, std::size_t length, std::size_t nodeCount)
{
  constexpr std::uint64_t kMostFaces = std::uint64_t{1} << 29; // a face's number has 29 bits
  if (length == 0) return false;
  const std::uint64_t faceCount = stream[0];
  if (faceCount > length || faceCount >= kMostFaces) return false;
  std::size_t at = 1;
  for (std::uint64_t face = 0; face < faceCount; ++face) {
    if (at >= length) return false;
    const std::uint64_t size = stream[at++];
    if (size > length - at) return false;
    for (const std::size_t end = at + size; at < end; ++at)
      if (stream[at] >= nodeCount) return false;
  }
  return at == length;
}
