#pragma once

#include <velmo/toolkit/classes/MxFieldStamp.h>
#include <velmo/toolkit/shapes/MxShapeData.h>

class SoIndexedShape;
class SoMFInt32;
class SoState;
class SoVertexProperty;
class SoVertexShape;

/// Reads what a shape shows out of the traversal state and its vertex property, as arrays that stay
/// where they are: what all shapes have in common.
class MxShapeState
{
public:
  MxShapeState(const MxShapeState&) = delete;
  MxShapeState& operator=(const MxShapeState&) = delete;

  enum class ColorSource
  {
    State,         ///< as the state binds them
    VertexProperty ///< the packed colours of the vertex property, whatever overrides them
  };
  /// @return false for bindings that only the toolkit's own shape knows
  bool readColors(SoState* state, ColorSource source);
  bool readTextureCoordinates(SoState* state);

protected:
  /// @param indexed  the same shape when it has an index list, else null
  MxShapeState(SoVertexShape& shape, SoIndexedShape* indexed);
  virtual ~MxShapeState() = default;

  /// Fills positions and topology; the rest of the data has to be empty.
  /// @return false where the toolkit's own shape has to do the work
  bool readPositions(SoState* state);
  SoVertexProperty* vertexProperty() const;
  static bool isUsed(const SoMFInt32& indices);
  std::uint64_t normalStamp() const { return m_normals.get(); }

private:
  /// What is filled.
  virtual MxShapeData& shapeData() = 0;

  SoVertexShape& m_shape;
  SoIndexedShape* m_indexed;
  MxFieldStamp m_indices, m_vertices, m_normals, m_colors, m_coordinates;
};
