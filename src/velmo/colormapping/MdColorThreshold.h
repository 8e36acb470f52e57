#pragma once

/// Below or above `value`, values take `color` while `enabled`.
template <class Value, class Color>
struct MdColorThreshold
{
  bool enabled = false;
  Value value{};
  Color color{0, 0, 0, 0}; // the toolkit's colours start uninitialised

  bool operator==(const MdColorThreshold& other) const
  {
    return enabled == other.enabled && value == other.value && color == other.color;
  }
};
