#include <velmo/representation/MxAttributesManager.h>

#include <velmo/extraction/interfaces/MiTessellator.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/nodes/MoScalarSetElement.h>
#include <velmo/nodes/MoScalarSetElementI.h>
#include <velmo/nodes/MoScalarSetElementIj.h>
#include <velmo/nodes/MoScalarSetElementIjk.h>
#include <velmo/nodes/MoTessellatorElement.h>
#include <velmo/nodes/MoVec3SetElementI.h>
#include <velmo/nodes/MoVec3SetElementIj.h>
#include <velmo/nodes/MoVec3SetElementIjk.h>
#include <velmo/representation/MoMeshRepresentation.h>

#include <Inventor/elements/SoCacheElement.h>

#include <type_traits>

namespace {

template <class Set>
struct ElementOf;
template <>
struct ElementOf<MiDataSetI<double>>
{
  using Type = MoScalarSetElementI;
};
template <>
struct ElementOf<MiDataSetIj<double>>
{
  using Type = MoScalarSetElementIj;
};
template <>
struct ElementOf<MiDataSetIjk<double>>
{
  using Type = MoScalarSetElementIjk;
};
template <>
struct ElementOf<MiDataSetI<MbVec3d>>
{
  using Type = MoVec3SetElementI;
};
template <>
struct ElementOf<MiDataSetIj<MbVec3d>>
{
  using Type = MoVec3SetElementIj;
};
template <>
struct ElementOf<MiDataSetIjk<MbVec3d>>
{
  using Type = MoVec3SetElementIjk;
};

template <class Set>
constexpr bool kIsScalar = std::is_same_v<typename Set::Value, double>;

// A numbering that a mesh extracted by another representation can have.
template <class Set>
constexpr MxIndexing kIndexing =
    std::is_base_of_v<MiDataSetI<typename Set::Value>, Set>    ? MxIndexing::I
    : std::is_base_of_v<MiDataSetIj<typename Set::Value>, Set> ? MxIndexing::Ij
                                                               : MxIndexing::Ijk;

bool isExtractedKind(MxIndexing indexing, MeshType type)
{
  if (indexing == MxIndexing::I)
    return type == SURFACE_MESH_UNSTRUCTURED || type == LINE_MESH_UNSTRUCTURED;
  return type == SURFACE_MESH_REGULAR || type == SURFACE_MESH_RECTILINEAR ||
         type == SURFACE_MESH_CURVILINEAR;
}

template <class Set>
const Set* setOfConnected(MoMeshRepresentation& source, SoState* state, int id)
{
  const auto position = static_cast<unsigned long>(id);
  if constexpr (kIsScalar<Set> && kIndexing<Set> == MxIndexing::I)
    return source.extractScalarSetI(state, position);
  else if constexpr (kIsScalar<Set>)
    return source.extractScalarSetIj(state, position);
  else if constexpr (kIndexing<Set> == MxIndexing::I)
    return source.extractVec3SetI(state, position);
  else
    return source.extractVec3SetIj(state, position);
}

} // namespace

bool MxAttributesManager::isMeshValid(const SoState* state, bool& meshChanged) const
{
  if (m_meshCache) return m_meshCache->isValid(state, meshChanged);
  meshChanged = true;
  return false;
}

bool MxAttributesManager::isMeshOnItsWay(SoState* state)
{
  MeshType type = UNDEFINED_MESH;
  const MoMeshRepresentation* source = MoMeshElement::getConnectedRepresentation(state, type);
  if (!source) return false;
  std::uint64_t stamp = MxTimeStamp::kNone;
  MoMeshElement::getMesh(state, type, stamp);
  if (source->getTimeStamp() == stamp && !source->isResultOnItsWay()) return false;
  if (state->isCacheOpen()) SoCacheElement::invalidate(state);
  return true;
}

const MiMesh* MxAttributesManager::getMesh(SoState* state, MeshType& type, bool& meshChanged)
{
  if (!isMeshValid(state, meshChanged)) {
    m_meshCache = MdMeshCache::build(state);
    meshChanged = true;
  }
  // Whoever caches this traversal depends on the mesh as well, also when it was not read again.
  SoCacheElement::addCacheDependency(state, m_meshCache);
  type = m_meshCache->getMeshType();
  return m_meshCache->getMesh();
}

const MiTessellator* MxAttributesManager::getTessellator(SoState* state, bool& unchanged)
{
  // The node's stamp tells of a new setTessellator, the tessellator's own of a change inside it.
  TessellatorStamps present;
  present.tessellator = MoTessellatorElement::getTessellator(state, present.node);
  if (present.tessellator)
    present.own = present.tessellator->getTimeStamp();
  else
    present = {};
  unchanged = present == m_tessellator;
  m_tessellator = present;
  return present.tessellator;
}

const MiTypedDataSet<double>* MxAttributesManager::getScalarSet(SoState* state, int id) const
{
  const MiTypedDataSet<double>* set = MoScalarSetElement::get(state, id);
  MeshType type = UNDEFINED_MESH;
  MoMeshRepresentation* source = MoMeshElement::getConnectedRepresentation(state, type);
  return source && set ? source->extractScalarSet(set) : set;
}

std::vector<const MiTypedDataSet<double>*>
MxAttributesManager::getAllScalarSet(SoState* state) const
{
  std::vector<const MiTypedDataSet<double>*> sets;
  for (int id = 0; id < MoScalarSetElement::getNum(state); ++id)
    sets.push_back(getScalarSet(state, id));
  return sets;
}

template <class Set>
const Set* MxAttributesManager::findDataSet(SoState* state, int id)
{
  if constexpr (kIsScalar<Set>) {
    if (MoScalarSetElement::getNum(state) > 0)
      return dynamic_cast<const Set*>(MoScalarSetElement::get(state, id));
  }
  return ElementOf<Set>::Type::get(state, id);
}

template <class Set>
const Set* MxAttributesManager::getDataSet(SoState* state, int id) const
{
  if constexpr (kIndexing<Set> != MxIndexing::Ijk) {
    MeshType type = UNDEFINED_MESH;
    if (MoMeshRepresentation* source = MoMeshElement::getConnectedRepresentation(state, type))
      return id >= 0 && isExtractedKind(kIndexing<Set>, type)
                 ? setOfConnected<Set>(*source, state, id)
                 : nullptr;
  }
  return findDataSet<Set>(state, id);
}

template <class Set>
int MxAttributesManager::getDataSetCount(SoState* state)
{
  if constexpr (kIsScalar<Set>) {
    if (const int count = MoScalarSetElement::getNum(state); count > 0) return count;
  }
  return ElementOf<Set>::Type::getNum(state);
}

#define VELMO_INSTANTIATE(Set)                                                                     \
  template const Set* MxAttributesManager::getDataSet<Set>(SoState*, int) const;                   \
  template const Set* MxAttributesManager::findDataSet<Set>(SoState*, int);                        \
  template int MxAttributesManager::getDataSetCount<Set>(SoState*);

VELMO_INSTANTIATE(MiDataSetI<double>)
VELMO_INSTANTIATE(MiDataSetIj<double>)
VELMO_INSTANTIATE(MiDataSetIjk<double>)
VELMO_INSTANTIATE(MiDataSetI<MbVec3d>)
VELMO_INSTANTIATE(MiDataSetIj<MbVec3d>)
VELMO_INSTANTIATE(MiDataSetIjk<MbVec3d>)
