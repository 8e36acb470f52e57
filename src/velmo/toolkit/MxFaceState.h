#pragma once

#include <velmo/toolkit/MxFaceCache.h>

class SoIndexedShape;
class SoState;
class SoVertexProperty;

/// Reads what a face set shows out of the traversal state and its vertex property, as arrays that
/// stay where they are.
class MxFaceState
{
public:
  explicit MxFaceState(SoIndexedShape& shape);

  enum class NormalUse
  {
    None,
    IfGiven,
    Always
  };
  enum class ColorSource
  {
    State,         ///< as the state binds them
    VertexProperty ///< the packed colours of the vertex property, whatever overrides them
  };

  /// Fills positions, topology and the table of faces.
  /// @return false where the toolkit's own shape has to do the work; the other functions must not
  ///         be called then
  bool readFaces(SoState* state);
  /// @return false for bindings that only the toolkit's own shape knows
  bool readNormals(SoState* state, NormalUse use);
  bool readColors(SoState* state, ColorSource source);
  bool readTextureCoordinates(SoState* state);
  /// The computed normals of the faces last read, as they would be drawn.
  MxFaceAttribute<SbVec3f> computedNormals(SoState* state);
  /// The faces' tree for picks.
  const MxBoxTree& tree() { return m_cache.tree(m_data.positions); }

  const MxFaceData& data() const { return m_data; }
  MxFaceCache& cache() { return m_cache; }

private:
  SoVertexProperty* vertexProperty() const;

  SoIndexedShape& m_shape;
  MxFieldStamp m_indices, m_vertices, m_normals, m_colors, m_coordinates;
  MxFaceCache m_cache;
  MxFaceData m_data;
};
