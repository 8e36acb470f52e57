#pragma once

#include <velmo/toolkit/classes/MxFieldStamp.h>
#include <velmo/toolkit/shapes/MxFaceBuffers.h>
#include <velmo/toolkit/shapes/MxFaceNormals.h>
#include <velmo/toolkit/shapes/MxPickTree.h>

/// What follows from the indices and the positions of a face set, kept until those change: its
/// table of faces, its normals where none are given, and the tree for picks.
class MxFaceCache
{
public:
  const MxFaceTable& faces(std::span<const std::int32_t> indices, const MxArrayKey& topology,
                           const MxFaceAttribute<SbVec3f>& positions);
  /// Changes with the triangles of the faces that faces() gave last.
  std::uint64_t facesStamp() const { return m_facesStamp; }

  /// Normals of the faces that faces() gave last: one per face.
  MxFaceAttribute<SbVec3f> faceNormals(const MxFaceAttribute<SbVec3f>& positions,
                                       bool counterClockwise);
  /// One a corner, smooth below the crease angle.
  MxFaceAttribute<SbVec3f> cornerNormals(const MxFaceAttribute<SbVec3f>& positions,
                                         bool counterClockwise, float creaseAngle);
  /// The tree of the faces that faces() gave last.
  const MxBoxTree& tree(const MxFaceAttribute<SbVec3f>& positions);

  /// How often normals were computed.
  int normalsComputed() const { return m_normalsComputed; }
  int treesBuilt() const { return m_tree.builtCount(); }

private:
  MxFaceTable m_faces;
  MxArrayKey m_topology;
  MxArrayKey m_positions; // that hollow faces were split by
  std::size_t m_vertexCount = 0;
  std::uint64_t m_facesStamp = 0;

  struct Source
  {
    MxArrayKey positions;
    std::uint64_t faces = 0;
    bool counterClockwise = true;
    float creaseAngle = 0;
    bool operator==(const Source&) const = default;
  };
  struct Normals
  {
    Source source;
    std::uint64_t stamp = 0;
    MxArray<SbVec3f> values;
  };
  Normals m_faceNormals;
  Normals m_cornerNormals;
  int m_normalsComputed = 0;

  MxPickTree m_tree;
};
