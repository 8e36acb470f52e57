#pragma once

/// Below or above `value`, values take `color` while `enabled`.
template <class Value, class Color>
struct MdColorThreshold
{
  bool enabled = false;
  Value value{};
  Color color{};

  bool operator==(const MdColorThreshold& other) const
  {
    return enabled == other.enabled && value == other.value && color == other.color;
  }
};
