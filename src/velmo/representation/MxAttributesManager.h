#pragma once

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/representation/caches/MdMeshCache.h>

#include <vector>

class MiTessellator;
class SoState;

/// How a representation reads mesh, tessellator and data sets from the state.
///
/// An id is the position of a data-set node among those of its kind met so far. When the mesh of
/// the state comes from another representation, sets are mapped onto that representation's output
/// before they are returned.
class MxAttributesManager
{
public:
  /// @param meshChanged  set true when the mesh of the state has another stamp, or none was read
  /// yet
  bool isMeshValid(const SoState* state, bool& meshChanged) const;
  /// The mesh of the state comes from a representation that has thrown it away since, or that has
  /// thrown it away while the next one is on its way from the background: there is nothing to look
  /// at, and what was made of the last one need not go yet. Nobody may cache such a traversal.
  static bool isMeshOnItsWay(SoState* state);
  /// The mesh of the state, null and UNDEFINED_MESH for none.
  const MiMesh* getMesh(SoState* state, MeshType& type, bool& meshChanged);

  /// @param unchanged  set true when tessellator and stamps are those of the call before
  const MiTessellator* getTessellator(SoState* state, bool& unchanged);
  /// Lets the next tessellator, if there is one, count as changed.
  void forgetTessellator() { m_tessellator = {}; }

  /// The set of the general list with this id, of whatever numbering; null where there is none.
  const MiTypedDataSet<double>* getScalarSet(SoState* state, int id) const;
  /// All entries of the general list, null ones included.
  std::vector<const MiTypedDataSet<double>*> getAllScalarSet(SoState* state) const;

  /// The set of this numbering and value type with this id. For scalars, the list of this
  /// numbering counts only when the general list is empty.
  template <class Set>
  const Set* getDataSet(SoState* state, int id) const;
  /// How many ids findDataSet knows.
  template <class Set>
  static int getDataSetCount(SoState* state);

  /// As getDataSet, but never mapped onto the output of another representation.
  template <class Set>
  static const Set* findDataSet(SoState* state, int id);

private:
  struct TessellatorStamps
  {
    const MiTessellator* tessellator = nullptr;
    std::uint64_t node = MxTimeStamp::kNone;
    std::uint64_t own = MxTimeStamp::kNone;
    bool operator==(const TessellatorStamps&) const = default;
  };

  SoRef<MdMeshCache> m_meshCache;
  TessellatorStamps m_tessellator;
};
