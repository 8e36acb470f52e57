#pragma once

#include <velmo/extraction/interfaces/MiTessellator.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoCellFilterElement.h>
#include <velmo/representation/MdExtractionThread.h>
#include <velmo/representation/MdKindSets.h>
#include <velmo/representation/MdMeshRepresentation.h>
#include <velmo/representation/MdRefCounter.h>
#include <velmo/representation/MoMeshRepresentation.h>
#include <velmo/toolkit/classes/SoPreferences.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/errors/SoDebugError.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What a representation says when it refuses, in its own words.
struct MdRepresentationTexts
{
  const char* node;                      ///< the node's class name
  std::array<const char*, 5> extractors; ///< class names, as the list of extractors counts them
  const char* refusalFunction;           ///< who refuses a mesh of a kind not served
  const char* refusal;
};

/// The implementation of a representation for one kind of mesh, whatever is extracted: looks at the
/// state, keeps the extractor, maps data sets, and extracts at once or in the background.
///
/// @tparam Extract  an MdExtractBy of the mesh kind
template <class Extract>
class MdMeshRepresentationFor : public MdMeshRepresentation
{
public:
  using Node = typename Extract::Node;
  using Kind = typename Extract::Kind;
  using Interface = typename Kind::Interface;
  using CellFilter = typename Extract::CellFilter;
  using ColorSets = std::vector<const MiTypedDataSet<double>*>;

  /// @param owner  the node, which owns this object
  MdMeshRepresentationFor(Node& owner, const MdRepresentationTexts& texts)
      : m_owner(owner), m_function(texts.node), m_thread(owner), m_result(new MdRefCounter)
  {
    m_function += "::doExtract";
    if (Extract::kMayBeAsynchronous)
      setAsynchronous(SoPreferences::getBool("VELMO_ASYNC_PROCESSING", FALSE));
  }
  ~MdMeshRepresentationFor() override { releaseResult(); }

  MiExtractor* getExtractor() override { return m_extract ? &m_extract->getExtractor() : nullptr; }
  MeshType getMeshType() const override { return Extract::kMeshType; }
  void rayPick(SoRayPickAction*) override {}

  void doExtract(SoState* state, const MiMesh* mesh) override
  {
    if (!mesh) {
      m_owner.clear();
      return;
    }
    const auto* typed = dynamic_cast<const Interface*>(mesh);
    if (!typed) {
      m_owner.clear();
      if (!m_extract) warn("Cannot compute representation on this type of mesh");
      return;
    }
    // Asking for the tessellator may clear the results, so it comes first.
    const MiTessellator* tessellator = m_owner.getTessellatorFromState(state, false);
    CellFilterType filterType;
    const auto* filter =
        dynamic_cast<const CellFilter*>(MoCellFilterElement::getCellFilter(state, filterType));
    const Request request{{typed, tessellator, m_owner.parallel.getValue() == TRUE},
                          typed->getTopology().getTimeStamp(),
                          typed->getGeometry().getTimeStamp(),
                          tessellator ? tessellator->getTimeStamp() : MxTimeStamp::kNone,
                          filter,
                          filter ? filter->getTimeStamp() : MxTimeStamp::kNone,
                          Extract::read(state, m_owner)};
    extract(state, request, m_owner.getColorSetFromState(state, Extract::kMeshType));
  }

  const MiTypedDataSet<double>* extractScalarSet(const MiTypedDataSet<double>* set) override
  {
    return m_extract ? m_extract->extractScalarSet(set, getWarnings()) : nullptr;
  }
  const MiTypedDataSet<double>* extractScalarSet(SoState* state, unsigned long id) override
  {
    return extractScalarSet(findSet<double>(state, id));
  }
  const MiTypedDataSet<MbVec3d>* extractVec3Set(SoState* state, unsigned long id) override
  {
    return extractVec3Set(findSet<MbVec3d>(state, id));
  }
  const MiTypedDataSet<MbVec3d>* extractVec3Set(const MiTypedDataSet<MbVec3d>* set) override
  {
    return m_extract ? m_extract->extractVec3Set(set) : nullptr;
  }

  const MiMesh* getExtractedMesh(MeshType& type) override
  {
    const auto* mesh = m_extract && m_hasMesh ? m_extract->getExtract() : nullptr;
    constexpr bool kIsSurface =
        std::is_base_of_v<MiSurfaceMeshUnstructured, typename Extract::Extracted>;
    type = !mesh ? UNDEFINED_MESH : kIsSurface ? SURFACE_MESH_UNSTRUCTURED : LINE_MESH_UNSTRUCTURED;
    return mesh;
  }

  void clear() override
  {
    // A task that runs on is not waited for; it counts as running until it has ended.
    m_thread.requestAbort();
    releaseResult();
    m_extract.reset();
    m_current.reset();
    m_hasMesh = false;
    m_warnedStamp = MxTimeStamp::kNone;
    m_told.clear();
    // Builders may go on with the old results until they are given others.
    m_result.reset(new MdRefCounter);
  }
  bool tryClear() override
  {
    if (m_thread.isRunning()) {
      m_thread.requestAbort();
      if (!m_thread.hasEnded()) return false;
      m_thread.collect();
    }
    clear();
    return true;
  }

  bool isExtracting() const override { return m_thread.isRunning(); }
  void waitForExtraction() override { m_thread.wait(); }
  void setAsynchronous(bool asynchronous) final { m_thread.setAsynchronous(asynchronous); }
  bool isAsynchronous() const { return m_thread.isAsynchronous(); }

protected:
  /// All that an extraction depends on, copied from fields and state. Equal requests have equal
  /// results.
  struct Request
  {
    /// What an extractor is made for.
    struct Origin
    {
      const Interface* mesh;
      const MiTessellator* tessellator;
      bool parallel;
      bool operator==(const Origin&) const = default;
    } origin;
    std::uint64_t topologyStamp, geometryStamp, tessellatorStamp;
    const CellFilter* filter;
    std::uint64_t filterStamp;
    std::optional<typename Extract::Arguments> arguments; ///< none: there is nothing to extract
    bool operator==(const Request&) const = default;
  };

  /// Brings the results up to date with `bringUpToDate` and hands them to the builders.
  virtual void extract(SoState* state, const Request& request, const ColorSets& colorSets) = 0;

  /// Extracts what is asked for: at once, or in the background.
  /// @param inBackground  whether it may
  /// @return whether the results are those of the request; false while a task runs
  bool bringUpToDate(SoState* state, const Request& request, const ColorSets& colorSets,
                     bool inBackground)
  {
    if (m_thread.isRunning()) {
      if (!m_thread.hasEnded()) {
        if (!inBackground || request != m_taskRequest || !m_thread.isCacheValid(state))
          m_thread.requestAbort();
        return false;
      }
      collect(request);
    }
    const bool isKnown = m_extract && m_current == request;
    if (!isKnown && inBackground && m_thread.isAsynchronous() && request.arguments) {
      m_taskRequest = request;
      m_thread.start(state, makeExtract(request), request.filter, colorSets,
                     inputsOf(request, colorSets));
      return false;
    }
    // An extractor that is asked the same again answers at once, so it may as well be asked.
    extractNow(request);
    return true;
  }
  /// What is there, though not up to date, belongs to the mesh of the state: sets can be mapped.
  bool canMap(const Request& request) const
  {
    return m_extract && m_hasMesh && m_current && m_current->origin == request.origin &&
           m_current->topologyStamp == request.topologyStamp &&
           m_current->geometryStamp == request.geometryStamp;
  }
  /// There is an extracted mesh.
  bool hasMesh() const { return m_hasMesh; }

  MdWarnings& getWarnings() const { return m_owner.getWarnings(); }
  void warn(const char* text) const { SoDebugError::postWarning(m_function.c_str(), "%s", text); }
  /// Posts what the last extraction had to leave out, once per result and a mesh.
  void postExtractorWarnings(std::uint64_t resultStamp)
  {
    if (resultStamp == m_warnedStamp) return;
    m_warnedStamp = resultStamp;
    const std::pair stamps{m_current->topologyStamp, m_current->geometryStamp};
    if (m_toldStamps != stamps) m_told.clear();
    m_toldStamps = stamps;
    // Each task has an extractor of its own, which knows nothing of what was said before.
    for (const std::string& text : m_extract->getExtractor().getWarnings()) {
      if (std::find(m_told.begin(), m_told.end(), text) != m_told.end()) continue;
      m_told.push_back(text);
      warn(text.c_str());
    }
  }

  /// Hands a result to its builder, or empties the builder; warns where a result has none.
  template <class Builder, class Mesh>
  void build(Builder* builder, SoState* state, const Mesh* mesh,
             const std::vector<const MeXDataSetI<double>*>& sets, const char* missing)
  {
    if (!builder) {
      if (mesh) warn(missing);
    } else if (mesh) {
      builder->set(state, *mesh, sets, m_owner.getBuildCallback(), getResult());
    } else {
      builder->clear();
    }
  }

  Node& getNode() const { return m_owner; }
  Extract* getExtract() const { return m_extract.get(); }
  const MdRefCounter* getResult() const { return m_result; }

private:
  static std::unique_ptr<Extract> makeExtract(const Request& request)
  {
    const auto& [mesh, tessellator, parallel] = request.origin;
    auto extract = std::make_unique<Extract>(*mesh, parallel, tessellator);
    if (request.arguments) extract->setArguments(*request.arguments);
    return extract;
  }

  /// The application's objects that a task reads.
  static MxBackgroundTask::Inputs inputsOf(const Request& request, const ColorSets& colorSets)
  {
    MxBackgroundTask::Inputs inputs;
    const auto add = [&](const auto* object) {
      inputs.push_back(dynamic_cast<const void*>(object));
    };
    add(request.origin.mesh);
    add(request.origin.tessellator);
    add(request.filter);
    for (const auto* set : colorSets)
      add(set);
    if constexpr (requires { request.arguments->set; }) add(request.arguments->set);
    return inputs;
  }

  /// Whoever extracts from the last result in the background stops before that changes.
  void releaseResult()
  {
    if (m_extract) MxBackgroundTask::release(dynamic_cast<const void*>(m_extract->getExtract()));
  }

  void extractNow(const Request& request)
  {
    const bool isNew = m_current != request;
    const bool wasRefused = !isNew && !m_hasMesh;
    if (isNew) releaseResult();
    if (m_current && m_current->origin != request.origin) clear();
    m_current.reset();
    m_hasMesh = false;
    if (!m_extract) {
      m_extract = makeExtract(request);
      m_result->hold(m_extract->share());
    }
    // Without a listener an extractor need not count its steps.
    MdUserExtractorCallback& user = m_owner.getUserCallback();
    m_extract->getExtractor().setCallback(user.getTarget() ? &user : nullptr);
    if (request.arguments) {
      m_extract->setArguments(*request.arguments);
      m_hasMesh = m_extract->extractMesh(request.filter);
      if (!m_hasMesh && !wasRefused) Extract::refuse();
    }
    m_current = request;
    if (isNew) m_owner.renewTimeStamp();
  }

  /// Takes what the ended task made, if it is what is asked for now.
  void collect(const Request& request)
  {
    std::shared_ptr<Extract> extract = m_thread.collect();
    if (!extract || request != m_taskRequest) return;
    releaseResult();
    m_extract = std::move(extract);
    m_current = request;
    m_hasMesh = true; // until extractNow is told otherwise
    m_result.reset(new MdRefCounter);
    m_result->hold(m_extract->share());
    m_owner.renewTimeStamp();
  }

  template <class T>
  static const MiTypedDataSet<T>* findSet(SoState* state, unsigned long id)
  {
    return MdKindSets<Extract::kMeshType>(state).template find<T>(static_cast<int>(id));
  }

  Node& m_owner;
  std::string m_function;
  MdExtractionThread<Extract> m_thread;
  std::optional<Request> m_taskRequest; // of the running task
  std::shared_ptr<Extract> m_extract;   // never a worker's
  std::optional<Request> m_current;     // what m_extract extracted last
  bool m_hasMesh = false;
  SoRef<MdRefCounter> m_result;
  std::uint64_t m_warnedStamp = MxTimeStamp::kNone;
  std::pair<std::uint64_t, std::uint64_t> m_toldStamps;
  std::vector<std::string> m_told;
};
