#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MiArrayView.h>
#include <velmo/mesh/MbArray.h>

#include <limits>

/// Reads the items of an array of type T that lie without gaps, as `To`.
template <class To, class T>
struct MxTightReader
{
  const T* data;
  To operator()(std::size_t item) const { return static_cast<To>(data[item]); }
};

/// Reads the numbers of any array as `To` (double or std::size_t), through a switch each.
template <class To>
struct MxAnyReader
{
  MiArrayView view;
  To operator()(std::size_t item) const
  {
    if constexpr (std::is_floating_point_v<To>)
      return mbNumber(view, item);
    else
      return mbIndex(view, item);
  }
};

/// Calls visit(reader) with a reader of indices made for the array's layout: 32 and 64-bit numbers
/// without gaps have one each, the rest share one. Negative numbers become huge.
template <class Visitor>
decltype(auto) visitIndices(const MiArrayView& view, Visitor&& visit)
{
  if (view.isContiguous<std::int32_t>())
    return visit(MxTightReader<std::size_t, std::int32_t>{view.as<std::int32_t>()});
  if (view.isContiguous<std::int64_t>() || view.isContiguous<std::uint64_t>())
    return visit(MxTightReader<std::size_t, std::int64_t>{view.as<std::int64_t>()});
  return visit(MxAnyReader<std::size_t>{view});
}

/// Calls visit(reader) with a reader of doubles: float and double without gaps have one each.
template <class Visitor>
decltype(auto) visitNumbers(const MiArrayView& view, Visitor&& visit)
{
  if (view.isContiguous<double>()) return visit(MxTightReader<double, double>{view.as<double>()});
  if (view.isContiguous<float>()) return visit(MxTightReader<double, float>{view.as<float>()});
  return visit(MxAnyReader<double>{view});
}

/// Reads points of type T without gaps.
template <class T>
struct MxTightPointReader
{
  const T* data;
  MbVec3d operator()(std::size_t item) const
  {
    const T* p = data + 3 * item;
    return {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])};
  }
};

/// Reads the points of any array.
struct MxAnyPointReader
{
  MiArrayView view;
  MbVec3d operator()(std::size_t item) const { return mbPoint(view, item); }
};

/// Calls visit(reader) with a reader of points: float and double without gaps have one each.
template <class Visitor>
decltype(auto) visitPoints(const MiArrayView& view, Visitor&& visit)
{
  if (view.isContiguous<float>(3)) return visit(MxTightPointReader<float>{view.as<float>()});
  if (view.isContiguous<double>(3)) return visit(MxTightPointReader<double>{view.as<double>()});
  return visit(MxAnyPointReader{view});
}

/// Not a node.
inline constexpr std::size_t kNoNode = std::numeric_limits<std::size_t>::max();

/// What the position of a node that does not exist reads as.
inline constexpr MbVec3d kNoPoint{std::numeric_limits<double>::quiet_NaN(),
                                  std::numeric_limits<double>::quiet_NaN(),
                                  std::numeric_limits<double>::quiet_NaN()};

/// Item `item` of an array of indices of any layout, the common ones first; huge beyond its end.
inline std::size_t readIndex(const MiArrayView& view, std::size_t item)
{
  if (item >= view.count) return kNoNode;
  return visitIndices(view, [item](const auto& reader) { return reader(item); });
}

/// Item `item` of an array of numbers of any layout; NaN beyond its end.
inline double readNumber(const MiArrayView& view, std::size_t item)
{
  if (item >= view.count) return std::numeric_limits<double>::quiet_NaN();
  return visitNumbers(view, [item](const auto& reader) { return reader(item); });
}

/// Item `item` of an array of points of any layout; kNoPoint beyond its end.
inline MbVec3d readPoint(const MiArrayView& view, std::size_t item)
{
  if (item >= view.count) return kNoPoint;
  return visitPoints(view, [item](const auto& reader) { return reader(item); });
}

/// True when the array marks cell `cell` as dead, or is too short to tell.
inline bool readDead(const MiArrayView& active, std::size_t cell)
{
  if (active.isContiguous<std::uint8_t>() || active.isContiguous<std::int8_t>())
    return cell >= active.count || active.as<std::uint8_t>()[cell] == 0;
  return cell >= active.count || mbNumber(active, cell) == 0;
}

/// The number i + ni * (j + nj * k) of (i, j, k).
inline std::size_t flatIndex(const MbIndex3& index, const MbIndex3& counts)
{
  return index.x + counts.x * (index.y + counts.y * index.z);
}

/// The (i, j, k) of a flat number; neither of the first two counts is zero.
inline MbIndex3 splitIndex(std::size_t flat, const MbIndex3& counts)
{
  const std::size_t row = flat / counts.x;
  return {flat % counts.x, row % counts.y, row / counts.y};
}
