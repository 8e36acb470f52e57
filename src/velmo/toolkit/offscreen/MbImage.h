#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// A picture: four bytes (red, green, blue, opacity) a pixel, rows from top to bottom.
struct MbImage
{
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> rgba;

  bool empty() const { return rgba.empty(); }
  const std::uint8_t* pixel(int x, int y) const
  {
    return rgba.data() + 4 * (static_cast<std::size_t>(y) * width + x);
  }
};
