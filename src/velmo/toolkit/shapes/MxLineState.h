#pragma once

#include <velmo/toolkit/shapes/MxLineBuffers.h>
#include <velmo/toolkit/shapes/MxPickTree.h>
#include <velmo/toolkit/shapes/MxShapeState.h>

/// Reads what a line or point set shows, and keeps what follows from it: the table of polylines and
/// the tree for picks.
class MxLineState : public MxShapeState
{
public:
  /// @param indexed  the same shape when it is a line set; null for a point set
  MxLineState(SoVertexShape& shape, SoIndexedShape* indexed);

  /// Fills positions and, of a line set, the table of polylines.
  /// @param pointCount  of a point set: how many of the first vertices are shown; all of them where
  ///                    there are fewer, or when it is negative
  /// @return false where the toolkit's own shape has to do the work; the other functions must not
  ///         be called then
  bool read(SoState* state, int pointCount);
  /// Takes the tangents of the vertex property.
  /// @return whether there are any
  bool readTangents();

  /// Of segments, or of points.
  const MxBoxTree& tree();
  const MxLineData& data() const { return m_data; }
  int treesBuilt() const { return m_tree.builtCount(); }

private:
  MxShapeData& shapeData() override { return m_data; }

  SoIndexedShape* m_indexed;
  MxFieldStamp m_tangents;
  MxLineTable m_lines;
  MxArrayKey m_linesFrom;
  std::size_t m_linesVertexCount = 0;
  std::uint64_t m_linesStamp = 0;
  MxPickTree m_tree;
  MxLineData m_data;
};
