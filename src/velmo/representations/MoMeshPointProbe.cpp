#include <velmo/representations/MoMeshPointProbe.h>

#include <velmo/extraction/extractors/MiPointProbe.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoCellFilterElement.h>
#include <velmo/nodes/MoDataBindingElement.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/representation/MxAttributesManager.h>
#include <velmo/toolkit/classes/MxNodeSensor.h>

#include <Inventor/actions/SoAction.h>
#include <Inventor/errors/SoDebugError.h>
#include <Inventor/errors/SoError.h>
#include <Inventor/errors/SoMemoryError.h>

#include <new>

MO_NODE_SOURCE(MoMeshPointProbe, MoActionNode)

namespace {

constexpr const char* kFunction = "MoMeshPointProbe::doAction";

/// Which of the node's probes serves a kind of mesh.
enum class ProbeKind
{
  None,
  Unstructured,
  HexahedronIjk,
  Ijk,
  Ij
};

constexpr ProbeKind probeKindOf(MeshType type)
{
  switch (type) {
  case VOLUME_MESH_UNSTRUCTURED:
  case SURFACE_MESH_UNSTRUCTURED:
    return ProbeKind::Unstructured;
  case VOLUME_MESH_HEXAHEDRON_IJK:
    return ProbeKind::HexahedronIjk;
  case VOLUME_MESH_REGULAR:
  case VOLUME_MESH_RECTILINEAR:
  case VOLUME_MESH_CURVILINEAR:
    return ProbeKind::Ijk;
  case SURFACE_MESH_REGULAR:
  case SURFACE_MESH_RECTILINEAR:
  case SURFACE_MESH_CURVILINEAR:
    return ProbeKind::Ij;
  default:
    return ProbeKind::None;
  }
}

template <class Set>
std::vector<const Set*> collectSets(const MxAttributesManager& attributes, SoState* state,
                                    const SoMFInt32& ids)
{
  std::vector<const Set*> sets;
  for (int n = 0; n < ids.getNum(); ++n)
    if (const Set* set = attributes.getDataSet<Set>(state, ids[n])) sets.push_back(set);
  return sets;
}

template <class Result, class Probe, class Set>
Result probeSets(const Probe& probe, const std::vector<const Set*>& sets)
{
  Result result({}, MiDataBinding::PerNode);
  if (probe.isFound())
    for (const Set* set : sets)
      result.values.push_back(probe.getValue(*set));
  return result;
}

// The filter that a kind of probe takes.
template <class Index, class Filter>
const Filter* filterOf(const MiPointProbe<Index, Filter>&);

} // namespace

MoMeshPointProbe::MoMeshPointProbe() : m_attributes(std::make_unique<MxAttributesManager>())
{
  SO_NODE_CONSTRUCTOR(MoMeshPointProbe);
  SO_NODE_ADD_FIELD(position, (SbVec3f(0, 0, 0)));
  SO_NODE_ADD_FIELD(scalarSetIds, (0));
  SO_NODE_ADD_FIELD(vectorSetIds, (0));
  m_sensor = std::make_unique<MxNodeSensor>(this);
}

MoMeshPointProbe::~MoMeshPointProbe() = default;

void MoMeshPointProbe::setProbeCallback(MoProbeCallback& callback)
{
  m_callback = &callback;
  m_sensor->setModified();
}

void MoMeshPointProbe::removeProbeCallback()
{
  m_callback = nullptr;
}

void MoMeshPointProbe::clear()
{
  m_unstructured.reset();
  m_hexahedronIjk.reset();
  m_ijk.reset();
  m_ij.reset();
  m_sensor->setModified();
}

MiPointProbeUnstructured* MoMeshPointProbe::getPointProbeUnstructured() const
{
  return m_unstructured.get();
}

MiPointProbeHexahedronIjk* MoMeshPointProbe::getPointProbeHexahedronIjk() const
{
  return m_hexahedronIjk.get();
}

MiPointProbeHexahedronIjk* MoMeshPointProbe::getPointProbeUnstructuredIjk() const
{
  return getPointProbeHexahedronIjk();
}

MiPointProbeIjk* MoMeshPointProbe::getPointProbeIjk() const
{
  return m_ijk.get();
}

MiPointProbeIj* MoMeshPointProbe::getPointProbeIj() const
{
  return m_ij.get();
}

const MiMesh* MoMeshPointProbe::getMeshFromState(SoState* state, MeshType& type)
{
  if (MxAttributesManager::isMeshOnItsWay(state)) return nullptr;
  bool changed = false;
  const MiMesh* mesh = m_attributes->getMesh(state, type, changed);
  if (changed) clear();
  return mesh;
}

template <template <class> class DataSet, class Probe, class Mesh>
void MoMeshPointProbe::doProbing(SoState* state, std::unique_ptr<Probe>& probe, const Mesh& mesh)
{
  if (!probe) probe = Probe::getNewInstance(mesh, true);
  if (!m_sensor->isModified() || !m_callback) return;
  const auto scalarSets = collectSets<DataSet<double>>(*m_attributes, state, scalarSetIds);
  const auto vectorSets = collectSets<DataSet<MbVec3d>>(*m_attributes, state, vectorSetIds);

  const SbVec3f p = position.getValue();
  CellFilterType filterType;
  const auto* filter = dynamic_cast<decltype(filterOf(*probe))>(
      MoCellFilterElement::getCellFilter(state, filterType));
  probe->setCallback(m_extractorCallback);
  probe->locate({p[0], p[1], p[2]}, probe->getCell(), filter);
  const ScalarResults scalars = probeSets<ScalarResults>(*probe, scalarSets);
  const VectorResults vectors = probeSets<VectorResults>(*probe, vectorSets);
  const auto cell = probe->getCell();
  // What was read is up to date from here on; what the callback itself changes is a new change. It
  // may even clear this node.
  m_sensor->reset();
  if constexpr (std::is_same_v<Probe, MiPointProbeUnstructured>)
    m_callback->motionCallback(cell, scalars, vectors);
  else if constexpr (std::is_same_v<Probe, MiPointProbeIj>)
    m_callback->motionCallback(cell.x, cell.y, scalars, vectors);
  else
    m_callback->motionCallback(cell.x, cell.y, cell.z, scalars, vectors);
}

void MoMeshPointProbe::doAction(SoAction* action)
{
  SoState* state = action->getState();
  if (!state->isElementEnabled(MoMeshElement::getClassStackIndex())) return;
  MeshType type = UNDEFINED_MESH;
  const MiMesh* mesh = getMeshFromState(state, type);
  if (!mesh) return;
  const ProbeKind kind = probeKindOf(type);
  if (kind == ProbeKind::None) {
    SoDebugError::postWarning(kFunction, "Cannot probe points on this type of mesh.");
    clear();
    return;
  }
  try {
    visitMeshKind(MxAllKinds{}, type, [&]<MeshType K>() {
      constexpr ProbeKind kKind = probeKindOf(K);
      const auto* typed = dynamic_cast<const typename MxMeshKind<K>::Interface*>(mesh);
      if (!typed) return;
      if constexpr (kKind == ProbeKind::Unstructured) {
        doProbing<MiDataSetI>(state, m_unstructured, *typed);
      } else if constexpr (kKind == ProbeKind::Ijk) {
        doProbing<MiDataSetIjk>(state, m_ijk, *typed);
      } else if constexpr (kKind == ProbeKind::Ij) {
        doProbing<MiDataSetIj>(state, m_ij, *typed);
      } else if constexpr (kKind == ProbeKind::HexahedronIjk) {
        switch (MoDataBindingElement::getDataBinding(state)) {
        case MoDataBinding::PER_CELL:
          doProbing<MiDataSetIjk>(state, m_hexahedronIjk, *typed);
          break;
        case MoDataBinding::PER_NODE:
          doProbing<MiDataSetI>(state, m_hexahedronIjk, *typed);
          break;
        default:
          SoDebugError::postWarning(
              kFunction,
              "Cannot find which data binding to use for this type of mesh. Add a MoDataBinding "
              "node defining explicitely PER_FACE or PER_NODE binding.");
        }
      }
    });
  } catch (const MiCancellationException&) {
    clear();
  } catch (const std::bad_alloc& error) {
    clear();
    SoMemoryError::post(error.what());
  } catch (const std::exception& error) {
    clear();
    SoError::post("%s", error.what());
  }
}
