#pragma once

#include <velmo/mesh/MbTessellator.h>

#include <atomic>

/// Splits every edge of triangles and lines of second order in `parts`, or misbehaves as it is
/// told.
class UniformTessellator final : public MiTessellator
{
public:
  std::uint64_t getTimeStamp() const override { return m_stamp; }
  bool tessellate(MiCellShape shape, std::span<const MbVec3d> nodes,
                  MiTessellation& result) const override
  {
    asked.store(true);
    const bool serves =
        shape == MiCellShape::QuadraticLine || shape == MiCellShape::QuadraticTriangle;
    if (declines || !serves) return false;
    if (!MbUniformTessellator(parts).tessellate(shape, nodes, result)) return false;
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
