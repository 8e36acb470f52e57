#include <velmo/representation/MoMeshRepresentation.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MoCombineColorMappingElement.h>
#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/extraction/interfaces/MiTessellator.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoDataBindingElement.h>
#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMaterialElement.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/nodes/MoScalarSetElement.h>
#include <velmo/render/details/MoMeshDetail.h>
#include <velmo/representation/MdProfilingTool.h>
#include <velmo/representation/MdUndefinedMeshRepresentation.h>
#include <velmo/representation/MdUserExtractorCallback.h>
#include <velmo/representation/MxAttributesManager.h>
#include <velmo/representation/MxQuietNode.h>
#include <velmo/toolkit/MxBackgroundTask.h>

#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/errors/SoError.h>
#include <Inventor/errors/SoMemoryError.h>
#include <Inventor/lists/SoPickedPointList.h>
#include <Inventor/sensors/SoFieldSensor.h>
#include <Inventor/SoFullPath.h>
#include <Inventor/SoPickedPoint.h>

#include <exception>
#include <new>
#include <utility>

MO_NODE_ABSTRACT_SOURCE(MoMeshRepresentation, MoMeshBaseRepresentation)

namespace {

bool isContouringDisplayed(SoState* state)
{
  MoMaterial::ColoringType face, line, point;
  MoMaterialElement::getColoringTypes(state, face, line, point);
  bool faces, edges, points;
  MoDrawStyleElement::getDrawStyle(state, faces, edges, points);
  return (faces && face == MoMaterial::CONTOURING) || (edges && line == MoMaterial::CONTOURING) ||
         (points && point == MoMaterial::CONTOURING);
}

using Sets = std::vector<const MiTypedDataSet<double>*>;

/// Calls work(); calls failed(post) when it throws, where post() tells the user what happened. A
/// cancellation is no failure to tell of.
template <class Work, class Failed>
void answerFailures(const Work& work, const Failed& failed)
{
  try {
    work();
  } catch (const MiCancellationException&) {
    failed([] {});
  } catch (const std::bad_alloc& error) {
    failed([&] { SoMemoryError::post(error.what()); });
  } catch (const std::exception& error) {
    failed([&] { SoError::post("%s", error.what()); });
  } catch (...) {
    failed([] { SoError::post("unknown exception"); });
  }
}

/// What map() answers; null, as for a set that does not fit, when it throws.
template <class Set, class Map>
const Set* mappedBy(const Map& map)
{
  const Set* mapped = nullptr;
  answerFailures([&] { mapped = dynamic_cast<const Set*>(map()); },
                 [](const auto& post) { post(); });
  return mapped;
}

// Data sets as one mesh kind sees them.
template <MeshType K>
class KindSets
{
  using CellSet = typename MxMeshKind<K>::template CellSet<double>;
  using NodeSet = typename MxMeshKind<K>::template NodeSet<double>;
  static constexpr bool kOneNumbering = std::is_same_v<CellSet, NodeSet>;

public:
  KindSets(const MxAttributesManager& attributes, SoState* state)
      : m_attributes(attributes), m_state(state),
        m_binding(MoDataBindingElement::getDataBinding(state))
  {}

  // The typed set with this id. Where cells and nodes are numbered differently, the binding says
  // which list is meant, and the sets themselves when it leaves the choice to them.
  const MiTypedDataSet<double>* find(int id) const
  {
    if constexpr (kOneNumbering) {
      return m_attributes.getDataSet<CellSet>(m_state, id);
    } else {
      if (m_binding != MoDataBinding::PER_NODE) {
        const auto* set = m_attributes.getDataSet<CellSet>(m_state, id);
        if (set && suits(*set)) return set;
      }
      if (m_binding == MoDataBinding::PER_CELL) return nullptr;
      return m_attributes.getDataSet<NodeSet>(m_state, id);
    }
  }

  Sets findAll() const
  {
    int count = m_attributes.getDataSetCount<CellSet>(m_state);
    if constexpr (!kOneNumbering)
      count = std::max(count, m_attributes.getDataSetCount<NodeSet>(m_state));
    Sets sets;
    for (int id = 0; id < count; ++id)
      sets.push_back(find(id));
    return sets;
  }

  bool suits(const MiTypedDataSet<double>& set) const
  {
    const bool perCell = set.getBinding() == MiDataBinding::PerCell;
    if (m_binding == MoDataBinding::PER_CELL && !perCell) return false;
    if (m_binding == MoDataBinding::PER_NODE && perCell) return false;
    return perCell ? dynamic_cast<const CellSet*>(&set) != nullptr
                   : dynamic_cast<const NodeSet*>(&set) != nullptr;
  }

private:
  const MxAttributesManager& m_attributes;
  SoState* m_state;
  MoDataBinding::DataBinding m_binding;
};

} // namespace

MoMeshRepresentation::MoMeshRepresentation()
    : m_implementation(std::make_unique<MdUndefinedMeshRepresentation>()),
      m_userCallback(new MdUserExtractorCallback), m_profiling(MdProfilingTool::create()),
      m_attributes(std::make_unique<MxAttributesManager>()), m_timeStamp(MxTimeStamp::take())
{
  SO_NODE_CONSTRUCTOR(MoMeshRepresentation);
  SO_NODE_ADD_FIELD(colorScalarSetId, (0));
  SO_NODE_ADD_FIELD(parallel, (TRUE));

  m_parallelSensor = std::make_unique<SoFieldSensor>(&clearCB, this);
  m_parallelSensor->setPriority(0);
  m_parallelSensor->attach(&parallel);
  setExtractorCallback(nullptr);
}

MoMeshRepresentation::~MoMeshRepresentation()
{
  m_parallelSensor->detach();
  // Waits for a task, which may call back until then.
  m_implementation.reset();
}

void MoMeshRepresentation::clearCB(void* self, SoSensor*)
{
  static_cast<MoMeshRepresentation*>(self)->clear();
}

void MoMeshRepresentation::doAction(SoAction* action)
{
  answerFailures([&] { extractAndTraverse(action); },
                 [this](const auto& post) {
                   const MxQuietNode quiet(*this);
                   post();
                   clear();
                 });
}

void MoMeshRepresentation::extractAndTraverse(SoAction* action)
{
  // An action that does not know the mesh element sees what is there already.
  const bool mayExtract = action->getState()->isElementEnabled(MoMeshElement::getClassStackIndex());
  // Also a failed extraction gets its line; one in the background when its result is taken.
  struct Profile
  {
    ~Profile()
    {
      if (tool && !node.isExtracting()) tool->afterTraversal();
    }
    const MoMeshRepresentation& node;
    MdProfilingTool* tool;
  } const profile{*this, mayExtract ? m_profiling.get() : nullptr};
  if (profile.tool)
    profile.tool->beforeExtraction(getName().getString(), getTypeId().getName().getString(),
                                   action);
  if (mayExtract) {
    const MxQuietNode quiet(*this);
    doExtract(action);
  }
  if (profile.tool) {
    MeshType type = UNDEFINED_MESH;
    const MiMesh* mesh = m_implementation->getExtractedMesh(type);
    profile.tool->afterExtraction(mesh, type);
  }
  MoMeshBaseRepresentation::doAction(action);
}

void MoMeshRepresentation::rayPick(SoRayPickAction* action)
{
  doAction(action);
  m_implementation->rayPick(action);
  if (!m_detail) return;
  const SoPickedPointList& points = action->getPickedPointList();
  for (int i = 0; i < points.getLength(); ++i) {
    const auto* path = static_cast<const SoFullPath*>(points[i]->getPath());
    if (path->containsNode(this) && !points[i]->getDetail(this))
      points[i]->setDetail(m_detail->copy(), this);
  }
}

void MoMeshRepresentation::clear()
{
  m_isUsingTessellator = false;
  m_timeStamp = MxTimeStamp::take();
  m_implementation->clear();
}

void MoMeshRepresentation::setExtractorCallback(MiExtractorCallback* callback)
{
  m_callback = callback;
  if (m_profiling) m_profiling->setUserCallback(callback);
  m_userCallback->setTarget(m_profiling ? m_profiling.get() : callback);
}

void MoMeshRepresentation::setExtractorCallback(MiExtractorCallback& callback)
{
  setExtractorCallback(&callback);
}

void MoMeshRepresentation::setImplementation(std::unique_ptr<MdMeshRepresentation> implementation)
{
  m_implementation = implementation ? std::move(implementation)
                                    : std::make_unique<MdUndefinedMeshRepresentation>();
}

const MiTypedDataSet<double>*
MoMeshRepresentation::extractScalarSet(const MiTypedDataSet<double>* set)
{
  return mappedBy<MiTypedDataSet<double>>([&] { return m_implementation->extractScalarSet(set); });
}

const MiDataSetI<double>* MoMeshRepresentation::extractScalarSetI(SoState* state, unsigned long id)
{
  return mappedBy<MiDataSetI<double>>(
      [&] { return m_implementation->extractScalarSet(state, id); });
}

const MiDataSetIj<double>* MoMeshRepresentation::extractScalarSetIj(SoState* state,
                                                                    unsigned long id)
{
  return mappedBy<MiDataSetIj<double>>(
      [&] { return m_implementation->extractScalarSet(state, id); });
}

const MiDataSetI<MbVec3d>* MoMeshRepresentation::extractVec3SetI(SoState* state, unsigned long id)
{
  return mappedBy<MiDataSetI<MbVec3d>>([&] { return m_implementation->extractVec3Set(state, id); });
}

const MiDataSetIj<MbVec3d>* MoMeshRepresentation::extractVec3SetIj(SoState* state, unsigned long id)
{
  return mappedBy<MiDataSetIj<MbVec3d>>(
      [&] { return m_implementation->extractVec3Set(state, id); });
}

const MiMesh* MoMeshRepresentation::getExtractedMesh(MeshType& type) const
{
  return m_implementation->getExtractedMesh(type);
}

bool MoMeshRepresentation::isExtracting() const
{
  return m_implementation->isExtracting();
}

void MoMeshRepresentation::waitForExtraction()
{
  m_implementation->waitForExtraction();
}

void MoMeshRepresentation::stopExtractions()
{
  MxBackgroundTask::stopAll();
}

MdUserExtractorCallback* MoMeshRepresentation::getBuildCallback() const
{
  if (!m_callback) return nullptr;
  return m_profiling ? &m_profiling->getUserCallback() : m_userCallback;
}

void MoMeshRepresentation::renewTimeStamp()
{
  m_timeStamp = MxTimeStamp::take();
}

bool MoMeshRepresentation::dropResults()
{
  if (!m_implementation->tryClear()) return false;
  renewTimeStamp();
  return true;
}

const MiMesh* MoMeshRepresentation::getMeshFromState(SoState* state, MeshType& type)
{
  bool changed = false;
  if (!m_attributes->isMeshValid(state, changed) && changed) {
    if (!dropResults()) return nullptr;
    m_detail.reset();
  }
  const MiMesh* mesh = m_attributes->getMesh(state, type, changed);
  if (!m_detail) m_detail = std::make_unique<MoMeshDetail>();
  m_detail->setMesh(mesh, type);
  if (m_profiling) m_profiling->setInputMesh(mesh, type);
  return mesh;
}

const MiTessellator* MoMeshRepresentation::getTessellatorFromState(SoState* state, bool keepResults)
{
  bool unchanged = true;
  const MiTessellator* tessellator = m_attributes->getTessellator(state, unchanged);
  if (!unchanged && !keepResults && !dropResults()) {
    m_attributes->forgetTessellator();
    tessellator = nullptr;
  }
  m_isUsingTessellator = tessellator != nullptr;
  return tessellator;
}

std::vector<const MiTypedDataSet<double>*>
MoMeshRepresentation::getColorSetFromState(SoState* state, MeshType kind)
{
  Sets sets;
  const bool combined = MoCombineColorMappingElement::getColorMapping(state) != nullptr;
  const bool hasGeneralList = MoScalarSetElement::getNum(state) > 0;
  if (isContouringDisplayed(state)) {
    visitMeshKind(MxAllKinds{}, kind, [&]<MeshType K>() {
      const KindSets<K> kindSets(*m_attributes, state);
      const int id = colorScalarSetId.getValue();
      if (!combined) {
        sets.push_back(hasGeneralList ? m_attributes->getScalarSet(state, id) : kindSets.find(id));
        return;
      }
      sets = hasGeneralList ? m_attributes->getAllScalarSet(state) : kindSets.findAll();
      std::erase_if(sets, [&](const auto* set) { return !set || !kindSets.suits(*set); });
    });
  }
  if (m_detail) m_detail->setColorScalarSets(sets);
  return sets;
}
