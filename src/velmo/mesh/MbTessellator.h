#pragma once

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MiTessellator.h>

/// Ready-made tessellators of all quadratic cells, faces and edges. Points are those of the cells'
/// own shape functions, so refined edges lie on their parabolas and values follow them.
///
/// Faces become lattices of triangles or quads; cells become linear cells of one shape, hexahedra
/// where that takes several, in which the nodes of collapsed ones repeat. How a face or an edge is
/// refined depends on its own nodes alone, so cells that meet there refine it alike, whatever their
/// shapes.

/// Splits every edge into the same number of parts.
class MbUniformTessellator final : public MiTessellator
{
public:
  static constexpr unsigned kMaxPartCount = 64;

  /// @param partCount  parts of an edge, from 1 (straight between corners) to kMaxPartCount;
  ///                   others are brought into this range
  explicit MbUniformTessellator(unsigned partCount = 4) { setPartCount(partCount); }
  void setPartCount(unsigned partCount);
  unsigned getPartCount() const { return m_partCount; }

  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  bool tessellate(MiCellShape shape, std::span<const MbVec3d> nodes,
                  MiTessellation& result) const override;

private:
  unsigned m_partCount = 4;
  std::uint64_t m_timeStamp = MxTimeStamp::take();
};

/// Splits every edge into 1, 2, 4, ... parts, so few that no chord is farther from its parabola
/// than a given length. Where edges of a face differ, the face follows the finest of them and its
/// lattice is drawn together at the others.
class MbChordTessellator final : public MiTessellator
{
public:
  static constexpr unsigned kMaxPartCount = 64;

  /// @param maxError      in mesh space; one that is not above zero asks for all parts
  /// @param maxPartCount  no edge gets more, up to kMaxPartCount
  explicit MbChordTessellator(double maxError, unsigned maxPartCount = 16)
  {
    setMaxError(maxError, maxPartCount);
  }
  void setMaxError(double maxError, unsigned maxPartCount = 16);
  double getMaxError() const { return m_maxError; }

  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  bool tessellate(MiCellShape shape, std::span<const MbVec3d> nodes,
                  MiTessellation& result) const override;

private:
  double m_maxError = 0;
  unsigned m_maxPartCount = 16;
  std::uint64_t m_timeStamp = MxTimeStamp::take();
};
