#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/extraction/interfaces/MxExtractionMonitor.h>

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

/// A face that may be on the skin, identified by its set of distinct nodes.
struct MxFaceCandidate
{
  /// The distinct nodes in ascending order, 0xffffffff where there are only three; for more than
  /// four, two of them and a 64-bit hash of all.
  std::array<std::uint32_t, 4> key;
  std::uint32_t cell;
  std::uint32_t face : 29;
  std::uint32_t isLarge : 1; ///< more than four distinct nodes
  std::uint32_t isSkin : 1;  ///< the answer
};

/// Fills the key of a face from its nodes, which get sorted.
/// @return false when fewer than three are distinct, which bounds nothing
bool makeFaceKey(std::uint32_t* nodes, std::size_t count, MxFaceCandidate& candidate);

/// Marks the candidates whose node set no other candidate has. Two of one cell do not count: a flat
/// cell has both of its sides at one place, and so bounds nothing there.
///
/// @param blocks     candidates in the order of their cells, in any number of lists
/// @param sameNodes  compares two large faces whose keys are equal; called from several threads
/// @throw std::bad_alloc, MiCancellationException
void markUniqueFaces(
    bool parallel, std::vector<MxArray<MxFaceCandidate>>& blocks,
    const std::function<bool(const MxFaceCandidate&, const MxFaceCandidate&)>& sameNodes,
    MxExtractionMonitor& monitor);

/// Faces of cells: face `faces`[f] of cell `cells`[f], in ascending order of both.
struct MxFaceList
{
  MxArray<std::uint32_t> cells;
  MxArray<std::uint32_t> faces;

  std::size_t size() const { return cells.size(); }
};

/// The marked candidates, in their order.
MxFaceList collectUniqueFaces(bool parallel, const std::vector<MxArray<MxFaceCandidate>>& blocks);

/// A 64-bit number that looks random, for each 64-bit number (the finaliser of the splitmix64
/// generator by Steele, Lea and Flood, 2014).
constexpr std::uint64_t mixBits(std::uint64_t x)
{
  x += 0x9e3779b97f4a7c15u;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9u;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebu;
  return x ^ (x >> 31);
}
