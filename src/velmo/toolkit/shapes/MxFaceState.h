#pragma once

#include <velmo/toolkit/shapes/MxFaceCache.h>
#include <velmo/toolkit/shapes/MxShapeState.h>

/// Reads what a face set shows.
class MxFaceState : public MxShapeState
{
public:
  explicit MxFaceState(SoIndexedShape& shape);

  enum class NormalUse
  {
    None,
    IfGiven,
    Always
  };
  /// Fills positions, topology and the table of faces.
  /// @return false where the toolkit's own shape has to do the work; the other functions must not
  ///         be called then
  bool readFaces(SoState* state);
  /// @return false for bindings that only the toolkit's own shape knows
  bool readNormals(SoState* state, NormalUse use);
  /// The computed normals of the faces last read, as they would be drawn.
  MxFaceAttribute<SbVec3f> computedNormals(SoState* state);
  /// The faces' tree for picks.
  const MxBoxTree& tree() { return m_cache.tree(m_data.positions); }

  const MxFaceData& data() const { return m_data; }
  MxFaceCache& cache() { return m_cache; }

private:
  MxShapeData& shapeData() override { return m_data; }

  SoIndexedShape& m_shape;
  MxFaceCache m_cache;
  MxFaceData m_data;
};
