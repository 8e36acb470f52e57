#pragma once

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/representation/caches/MdCache.h>

class MiMesh;

/// The mesh of the state, its kind and its stamp at the time it was read.
class MdMeshCache final : public MdCache<MdMeshCache>
{
public:
  const MiMesh* getMesh() const { return m_mesh; }
  MeshType getMeshType() const { return m_type; }
  std::uint64_t getTimeStamp() const { return m_timeStamp; }

  using SoCache::isValid;
  /// @param meshChanged  set true when the mesh of the state has another stamp
  /// @return false when the mesh element differs in anything
  bool isValid(const SoState* state, bool& meshChanged) const;

private:
  friend class MdCache<MdMeshCache>;
  explicit MdMeshCache(SoState* state);

  const MiMesh* m_mesh = nullptr;
  MeshType m_type = UNDEFINED_MESH;
  std::uint64_t m_timeStamp = MxTimeStamp::kNone;
};
