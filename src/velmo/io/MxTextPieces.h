#pragma once

#include <velmo/base/MxParallel.h>
#include <velmo/io/MxFileBytes.h>

#include <limits>
#include <string>
#include <string_view>
#include <vector>

/// What is wrong with a piece of text that one of several threads reads.
struct MxTextFault
{
  const char* where = nullptr; ///< null: nothing
  std::string problem;

  /// Keeps the first fault.
  void set(const char* place, std::string text)
  {
    if (where) return;
    where = place;
    problem = std::move(text);
  }
};

/// The first fault of some, in their order.
inline void mxKeepFirst(MxTextFault& fault, const std::vector<MxTextFault>& faults)
{
  for (const MxTextFault& other : faults)
    if (other.where) fault.set(other.where, other.problem);
}

/// Stops at the largest number: repeated values may make any count.
inline std::size_t mxSaturatingSum(std::size_t a, std::size_t b)
{
  return b > std::numeric_limits<std::size_t>::max() - a ? std::numeric_limits<std::size_t>::max()
                                                         : a + b;
}

/// Pieces of about 128 KiB that together are `text`; each but the last ends with a line's end.
inline std::vector<std::string_view> mxTextPieces(std::string_view text)
{
  constexpr std::size_t kPiece = std::size_t{1} << 17;
  std::vector<std::string_view> pieces;
  while (!text.empty()) {
    const std::size_t end = text.size() > kPiece ? text.find('\n', kPiece) : text.npos;
    const std::size_t size = end == text.npos ? text.size() : end + 1;
    pieces.push_back(text.substr(0, size));
    text.remove_prefix(size);
  }
  return pieces;
}

/// Reads items whose number only the text tells: counts them piece by piece, asks for room, and
/// reads them piece by piece. An item lies within its lines.
///
/// @param count  count(piece, index of the piece): its items
/// @param room   room(items): called once; may throw
/// @param read   read(piece, index of the piece, number of its first item, MxTextFault&)
/// @throw MbMeshFileError for the first fault in the order of the text
template <class Count, class Room, class Read>
void mxReadPieces(const MxFileBytes& file, std::string_view text, bool parallel, const Count& count,
                  const Room& room, const Read& read)
{
  const std::vector<std::string_view> pieces = mxTextPieces(text);
  std::vector<std::size_t> firsts(pieces.size());
  forEachTask(parallel, pieces.size(), [&](std::size_t i) { firsts[i] = count(pieces[i], i); });
  const std::size_t total = exclusivePrefixSum(std::span<std::size_t>(firsts));
  room(total);
  std::vector<MxTextFault> faults(pieces.size());
  forEachTask(parallel, pieces.size(),
              [&](std::size_t i) { read(pieces[i], i, firsts[i], faults[i]); });
  MxTextFault fault;
  mxKeepFirst(fault, faults);
  if (fault.where) file.failAtLine(fault.where, fault.problem);
}
