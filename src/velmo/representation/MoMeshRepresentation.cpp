#include <velmo/representation/MoMeshRepresentation.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MoCombineColorMappingElement.h>
#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/extraction/interfaces/MiTessellator.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/mesh/MeXMesh.h>
#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMaterialElement.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/nodes/MoScalarSetElement.h>
#include <velmo/nodes/MxConnection.h>
#include <velmo/render/details/MoCellDetail.h>
#include <velmo/render/details/MoMeshDetail.h>
#include <velmo/representation/MdKindSets.h>
#include <velmo/representation/MdProfilingTool.h>
#include <velmo/representation/MdUndefinedMeshRepresentation.h>
#include <velmo/representation/MdUserExtractorCallback.h>
#include <velmo/representation/MdWarnings.h>
#include <velmo/representation/MxAttributesManager.h>
#include <velmo/representation/MxQuietNode.h>
#include <velmo/toolkit/background/MxBackgroundTask.h>

#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/elements/SoCacheElement.h>
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

const MeXProvenance* provenanceOf(const MiMesh* extracted)
{
  if (const auto* surface = dynamic_cast<const MeXSurfaceMeshUnstructured*>(extracted))
    return &surface->getProvenance();
  const auto* lines = dynamic_cast<const MeXLineMeshUnstructured*>(extracted);
  return lines ? &lines->getProvenance() : nullptr;
}

} // namespace

MoMeshRepresentation::MoMeshRepresentation()
    : m_implementation(std::make_unique<MdUndefinedMeshRepresentation>()),
      m_userCallback(new MdUserExtractorCallback), m_profiling(MdProfilingTool::create()),
      m_attributes(std::make_unique<MxAttributesManager>()),
      m_warnings(std::make_unique<MdWarnings>()),
      m_connection(std::make_shared<MxConnection>(*this)), m_timeStamp(MxTimeStamp::take()),
      m_toldStamp(m_timeStamp)
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
  m_connection->end();
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
  tellConnected(action);
}

void MoMeshRepresentation::tellConnected(SoAction* action)
{
  if (m_toldStamp == m_timeStamp) return;
  m_toldStamp = m_timeStamp;
  MeshType type;
  const bool hasResult = getExtractedMesh(type) != nullptr;
  // An extraction that fails at every attempt must not ask for the next one.
  const bool concernsOthers = hasResult || m_isResultKnown;
  if (hasResult || !isResultOnItsWay()) m_isResultKnown = hasResult;
  if (!concernsOthers || !m_connection->hasNodes()) return;
  // What this traversal has drawn of the last result must not be kept. Caches that are open now do
  // not hear of the touch.
  if (action->getState()->isCacheOpen()) SoCacheElement::invalidate(action->getState());
  m_connection->tell();
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
    m_warnings->beginTraversal();
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
    if (!path->containsNode(this) || points[i]->getDetail(this)) continue;
    // The details of a picked point are its own; it only shows them as constant.
    if (auto* pick = dynamic_cast<MoCellPick*>(const_cast<SoDetail*>(points[i]->getDetail())))
      nameFirstMesh(*pick);
    points[i]->setDetail(m_detail->copy(), this);
  }
}

void MoMeshRepresentation::clear()
{
  m_isUsingTessellator = false;
  m_timeStamp = MxTimeStamp::take();
  m_warnings->forget();
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

MoMeshRepresentation* MoMeshRepresentation::getSource() const
{
  MoMeshRepresentation* source = m_source.connection ? m_source.connection->getSource() : nullptr;
  return source && source->m_timeStamp == m_source.stamp ? source : nullptr;
}

const MiTypedDataSet<double>*
MoMeshRepresentation::mapScalarSet(const MiTypedDataSet<double>* set) const
{
  if (m_source.connection) {
    MoMeshRepresentation* source = getSource();
    set = source ? source->extractScalarSet(set) : nullptr;
  }
  return m_implementation->extractScalarSet(set);
}

const MiTypedDataSet<double>* MoMeshRepresentation::mapScalarSet(SoState* state,
                                                                 unsigned long id) const
{
  if (!m_source.connection) return m_implementation->extractScalarSet(state, id);
  const MoMeshRepresentation* source = getSource();
  return m_implementation->extractScalarSet(source ? source->mapScalarSet(state, id) : nullptr);
}

const MiTypedDataSet<MbVec3d>* MoMeshRepresentation::mapVec3Set(SoState* state,
                                                                unsigned long id) const
{
  if (!m_source.connection) return m_implementation->extractVec3Set(state, id);
  const MoMeshRepresentation* source = getSource();
  return m_implementation->extractVec3Set(source ? source->mapVec3Set(state, id) : nullptr);
}

const MiTypedDataSet<double>*
MoMeshRepresentation::extractScalarSet(const MiTypedDataSet<double>* set)
{
  return mappedBy<MiTypedDataSet<double>>([&] { return mapScalarSet(set); });
}

const MiDataSetI<double>* MoMeshRepresentation::extractScalarSetI(SoState* state, unsigned long id)
{
  return mappedBy<MiDataSetI<double>>([&] { return mapScalarSet(state, id); });
}

const MiDataSetIj<double>* MoMeshRepresentation::extractScalarSetIj(SoState* state,
                                                                    unsigned long id)
{
  return mappedBy<MiDataSetIj<double>>([&] { return mapScalarSet(state, id); });
}

const MiDataSetI<MbVec3d>* MoMeshRepresentation::extractVec3SetI(SoState* state, unsigned long id)
{
  return mappedBy<MiDataSetI<MbVec3d>>([&] { return mapVec3Set(state, id); });
}

const MiDataSetIj<MbVec3d>* MoMeshRepresentation::extractVec3SetIj(SoState* state, unsigned long id)
{
  return mappedBy<MiDataSetIj<MbVec3d>>([&] { return mapVec3Set(state, id); });
}

void MoMeshRepresentation::nameFirstMesh(MoCellPick& pick) const
{
  for (const MoMeshRepresentation* node = this; node->m_source.connection;) {
    node = node->getSource();
    MeshType type;
    const MeXProvenance* provenance = node ? provenanceOf(node->getExtractedMesh(type)) : nullptr;
    pick.traceBack(provenance);
    if (!provenance) return;
  }
}

const MiMesh* MoMeshRepresentation::getExtractedMesh(MeshType& type) const
{
  return m_implementation->getExtractedMesh(type);
}

bool MoMeshRepresentation::isExtracting() const
{
  return m_implementation->isExtracting();
}

bool MoMeshRepresentation::isResultOnItsWay() const
{
  const MoMeshRepresentation* source =
      m_source.connection ? m_source.connection->getSource() : nullptr;
  if (source && source->isResultOnItsWay()) return true;
  MeshType type;
  return isExtracting() && !getExtractedMesh(type);
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
  m_warnings->forget();
  return true;
}

void MoMeshRepresentation::emptyWithoutMesh()
{
  MeshType type;
  if (isExtracting() || getExtractedMesh(type)) dropResults();
}

bool MoMeshRepresentation::isExtractedFrom(const MoMeshRepresentation& other) const
{
  const MoMeshRepresentation* node = this;
  while (node && node != &other)
    node = node->m_source.connection ? node->m_source.connection->getSource() : nullptr;
  return node != nullptr;
}

void MoMeshRepresentation::takeSource(MoMeshRepresentation* source)
{
  m_source = source ? Source{source->m_connection, source->m_timeStamp} : Source{};
}

void MoMeshRepresentation::describeMesh(const MoMeshRepresentation* source, const MiMesh* mesh,
                                        MeshType type)
{
  // Picks name the cells of the application's mesh.
  if (const MoMeshDetail* first = source ? source->getMeshDetail() : nullptr)
    m_detail->setMesh(first->getMesh(), first->getMeshType());
  else
    m_detail->setMesh(mesh, type);
  m_detail->setColorScalarSets({});
}

const MiMesh* MoMeshRepresentation::getMeshFromState(SoState* state, MeshType& type)
{
  m_keepsPicture = false;
  MoMeshRepresentation* source = MoMeshElement::getConnectedRepresentation(state, type);
  if (source && source->isExtractedFrom(*this)) {
    // Its own result, directly or through others.
    takeSource(nullptr);
    emptyWithoutMesh();
    return nullptr;
  }
  if (MxAttributesManager::isMeshOnItsWay(state)) {
    m_keepsPicture = true;
    // The mesh that the picture comes from may be gone.
    if (m_detail) describeMesh(source, nullptr, UNDEFINED_MESH);
    return nullptr;
  }
  bool changed = false;
  if (!m_attributes->isMeshValid(state, changed) && changed) {
    if (!dropResults()) {
      std::uint64_t stamp;
      m_keepsPicture = MoMeshElement::getMesh(state, type, stamp) != nullptr;
      if (state->isCacheOpen()) SoCacheElement::invalidate(state);
      return nullptr;
    }
    m_detail.reset();
  }
  const MiMesh* mesh = m_attributes->getMesh(state, type, changed);
  takeSource(source);
  if (!mesh) emptyWithoutMesh();
  if (!m_detail) m_detail = std::make_unique<MoMeshDetail>();
  describeMesh(source, mesh, type);
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
  // The sets of the state are those of the mesh that the first representation extracts from.
  Sets found, mapped;
  const bool isCombined = MoCombineColorMappingElement::getColorMapping(state) != nullptr;
  const int generalCount = MoScalarSetElement::getNum(state);
  const int id = colorScalarSetId.getValue();
  if (isContouringDisplayed(state)) {
    if (generalCount > 0 && isCombined) {
      mapped = m_attributes->getAllScalarSet(state);
      for (int i = 0; i < generalCount; ++i)
        found.push_back(MoScalarSetElement::get(state, i));
    } else if (generalCount > 0) {
      mapped = {m_attributes->getScalarSet(state, id)};
      found = {MoScalarSetElement::get(state, id)};
    } else {
      const bool isConnected = m_source.connection != nullptr;
      const MeshType first = isConnected && m_detail ? m_detail->getMeshType() : kind;
      visitMeshKind(MxAllKinds{}, first, [&]<MeshType K>() {
        const MdKindSets<K> typed(state);
        found =
            isCombined ? typed.template findAll<double>() : Sets{typed.template find<double>(id)};
      });
      MoMeshRepresentation* source = getSource();
      for (const MiTypedDataSet<double>* set : found)
        mapped.push_back(!isConnected ? set : source ? source->extractScalarSet(set) : nullptr);
    }
    if (isCombined)
      visitMeshKind(MxAllKinds{}, kind, [&]<MeshType K>() {
        const MdKindSets<K> sets(state);
        for (std::size_t i = mapped.size(); i-- > 0;) {
          if (mapped[i] && sets.suits(*mapped[i])) continue;
          mapped.erase(mapped.begin() + static_cast<std::ptrdiff_t>(i));
          found.erase(found.begin() + static_cast<std::ptrdiff_t>(i));
        }
      });
  }
  if (m_detail) m_detail->setColorScalarSets(found);
  return mapped;
}
