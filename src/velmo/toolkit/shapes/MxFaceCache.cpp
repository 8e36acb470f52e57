#include <velmo/toolkit/shapes/MxFaceCache.h>

const MxFaceTable& MxFaceCache::faces(std::span<const std::int32_t> indices,
                                      const MxArrayKey& topology,
                                      const MxFaceAttribute<SbVec3f>& positions)
{
  const std::size_t vertexCount = positions.values.size();
  const bool built = m_facesStamp == 0 || m_topology != topology || m_vertexCount != vertexCount;
  if (built) {
    m_faces.build(indices, vertexCount);
    m_topology = topology;
    m_vertexCount = vertexCount;
  }
  if (built || m_positions != positions.key) {
    m_positions = positions.key;
    const bool changed = m_faces.splitHollow(positions.values);
    if (built || changed) m_facesStamp = MxFieldStamp::next();
  }
  return m_faces;
}

MxFaceAttribute<SbVec3f> MxFaceCache::faceNormals(const MxFaceAttribute<SbVec3f>& positions,
                                                  bool counterClockwise)
{
  Normals& normals = m_faceNormals;
  const Source source{positions.key, m_facesStamp, counterClockwise, 0};
  if (normals.stamp == 0 || !(normals.source == source)) {
    mxFaceNormals(m_faces, positions.values, counterClockwise, normals.values);
    normals.source = source;
    normals.stamp = MxFieldStamp::next();
    ++m_normalsComputed;
  }
  if (normals.values.empty()) return {};
  return {MxFaceBinding::PerFace,
          normals.values.span(),
          {normals.values.data(), normals.values.size(), normals.stamp}};
}

MxFaceAttribute<SbVec3f> MxFaceCache::cornerNormals(const MxFaceAttribute<SbVec3f>& positions,
                                                    bool counterClockwise, float creaseAngle)
{
  const auto ofFaces = faceNormals(positions, counterClockwise);
  Normals& normals = m_cornerNormals;
  const Source source{positions.key, m_facesStamp, counterClockwise, creaseAngle};
  if (normals.stamp == 0 || !(normals.source == source)) {
    mxCornerNormals(m_faces, ofFaces.values, positions.values.size(), creaseAngle, normals.values);
    normals.source = source;
    normals.stamp = MxFieldStamp::next();
  }
  if (normals.values.empty()) return {};
  return {MxFaceBinding::PerCorner,
          normals.values.span(),
          {normals.values.data(), normals.values.size(), normals.stamp}};
}

const MxBoxTree& MxFaceCache::tree(const MxFaceAttribute<SbVec3f>& positions)
{
  return m_tree.get(positions.key, m_facesStamp, m_faces.faceCount(), [&](std::size_t f) {
    MxBox3d box = MxBox3d::empty();
    for (const std::int32_t v : m_faces.face(f))
      box.extendBy(positions.values[v].getValue());
    return box;
  });
}
