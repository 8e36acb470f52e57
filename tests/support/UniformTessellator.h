#pragma once

#include <velmo/extraction/interfaces/MiTessellator.h>

#include <atomic>

/// Splits every edge in `parts`: triangles and lines of second order by their shape functions.
class UniformTessellator final : public MiTessellator
{
public:
  std::uint64_t getTimeStamp() const override { return m_stamp; }
  bool tessellate(MiCellShape shape, std::span<const MbVec3d> nodes,
                  MiTessellation& result) const override
  {
    asked.store(true);
    if (declines) return false;
    if (shape == MiCellShape::QuadraticLine) {
      result.shape = MiCellShape::Line;
      for (std::uint32_t i = 0; i <= parts; ++i) {
        const double t = static_cast<double>(i) / parts;
        for (const double w : {(1 - t) * (1 - 2 * t), t * (2 * t - 1), 4 * t * (1 - t)})
          result.weights.push_back(w);
        if (i > 0) result.points.insert(result.points.end(), {i - 1, i});
      }
    } else if (shape == MiCellShape::QuadraticTriangle) {
      result.shape = MiCellShape::Triangle;
      const auto point = [&](std::uint32_t i, std::uint32_t j) {
        return j * (parts + 1) - j * (j - 1) / 2 + i;
      };
      for (std::uint32_t j = 0; j <= parts; ++j)
        for (std::uint32_t i = 0; i + j <= parts; ++i) {
          const double b = static_cast<double>(i) / parts, c = static_cast<double>(j) / parts,
                       a = 1 - b - c;
          for (const double w :
               {a * (2 * a - 1), b * (2 * b - 1), c * (2 * c - 1), 4 * a * b, 4 * b * c, 4 * c * a})
            result.weights.push_back(w);
          if (i + j < parts)
            for (const std::uint32_t p : {point(i, j), point(i + 1, j), point(i, j + 1)})
              result.points.push_back(p);
          if (i + j + 1 < parts)
            for (const std::uint32_t p : {point(i + 1, j), point(i + 1, j + 1), point(i, j + 1)})
              result.points.push_back(p);
        }
    } else {
      return false;
    }
    result.pointCount = result.weights.size() / nodes.size();
    if (lies) result.points.back() = 1000000;
    return true;
  }
  void touch() { ++m_stamp; }

  std::uint32_t parts = 4;
  bool declines = false, lies = false;
  mutable std::atomic<bool> asked{false};

private:
  std::uint64_t m_stamp = 1;
};
