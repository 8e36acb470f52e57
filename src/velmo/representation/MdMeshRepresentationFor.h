#pragma once

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoCellFilterElement.h>
#include <velmo/representation/MdMeshRepresentation.h>
#include <velmo/representation/MdRefCounter.h>
#include <velmo/representation/MdUserExtractorCallback.h>
#include <velmo/representation/MoMeshRepresentation.h>
#include <velmo/representation/MxAttributesManager.h>
#include <velmo/toolkit/SoPreferences.h>
#include <velmo/toolkit/SoRef.h>

#include <Inventor/errors/SoDebugError.h>

#include <array>
#include <memory>
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
/// state, keeps the extractor, maps data sets.
///
/// @tparam Extract  an MdExtract of the mesh kind
template <class Extract>
class MdMeshRepresentationFor : public MdMeshRepresentation
{
public:
  using Kind = typename Extract::Kind;
  using Interface = typename Kind::Interface;
  using CellFilter = typename Extract::CellFilter;
  using ColorSets = std::vector<const MiTypedDataSet<double>*>;

  /// @param owner  the node, which owns this object
  MdMeshRepresentationFor(MoMeshRepresentation& owner, const MdRepresentationTexts& texts)
      : m_owner(owner), m_texts(texts), m_function(std::string(texts.node) + "::doExtract"),
        m_asynchronous(Extract::kMayBeAsynchronous &&
                       SoPreferences::getBool("VELMO_ASYNC_PROCESSING", FALSE)),
        m_result(new MdRefCounter)
  {}

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
    if (m_extract && m_mesh != mesh) clear();
    if (!m_extract) {
      m_extract = makeExtract(*typed, m_owner.parallel.getValue() == TRUE, tessellator);
      m_mesh = mesh;
      m_result->hold(m_extract->share());
    }
    if (!m_userCallback) m_userCallback.reset(new MdUserExtractorCallback(m_owner));
    // Without a listener an extractor need not count its steps.
    m_extract->getExtractor().setCallback(m_owner.getExtractorCallback() ? m_userCallback.get()
                                                                         : nullptr);
    CellFilterType filterType;
    const auto* filter =
        dynamic_cast<const CellFilter*>(MoCellFilterElement::getCellFilter(state, filterType));
    extract(state, m_owner.getColorSetFromState(state, Extract::kMeshType), filter);
  }

  const MiTypedDataSet<double>* extractScalarSet(const MiTypedDataSet<double>* set) override
  {
    return m_extract ? m_extract->extractScalarSet(set) : nullptr;
  }
  const MiTypedDataSet<double>* extractScalarSet(SoState* state, unsigned long id) override
  {
    return m_extract ? m_extract->extractScalarSet(findSet<double>(state, id)) : nullptr;
  }
  const MiTypedDataSet<MbVec3d>* extractVec3Set(SoState* state, unsigned long id) override
  {
    return m_extract ? m_extract->extractVec3Set(findSet<MbVec3d>(state, id)) : nullptr;
  }

  const MiMesh* getExtractedMesh(MeshType& type) override
  {
    const auto* mesh = m_extract ? m_extract->getExtract() : nullptr;
    constexpr bool kIsSurface =
        std::is_base_of_v<MiSurfaceMeshUnstructured, typename Extract::Extracted>;
    type = !mesh ? UNDEFINED_MESH : kIsSurface ? SURFACE_MESH_UNSTRUCTURED : LINE_MESH_UNSTRUCTURED;
    return mesh;
  }

  void clear() override
  {
    m_extract.reset();
    m_mesh = nullptr;
    m_warnedStamp = MxTimeStamp::kNone;
    // Builders may go on with the old results until they are given others.
    m_result.reset(new MdRefCounter);
  }
  // Every extraction ends within the traversal that began it, so nothing can be in the way yet.
  bool tryClear() override
  {
    clear();
    return true;
  }

  bool isAsynchronous() const { return m_asynchronous; }

protected:
  /// Makes the extractor for a mesh. All three borrowed; they outlive the extractor.
  virtual std::unique_ptr<Extract> makeExtract(const Interface& mesh, bool parallel,
                                               const MiTessellator* tessellator) = 0;
  /// Extracts and hands the results to the builders. This is where an extraction would go to a
  /// background task.
  virtual void extract(SoState* state, const ColorSets& colorSets, const CellFilter* filter) = 0;

  void warn(const char* text) const { SoDebugError::postWarning(m_function.c_str(), "%s", text); }
  /// Posts what the last extraction had to leave out, once a result.
  void postExtractorWarnings(std::uint64_t resultStamp)
  {
    if (resultStamp == m_warnedStamp) return;
    m_warnedStamp = resultStamp;
    for (const std::string& text : m_extract->getExtractor().getWarnings())
      warn(text.c_str());
  }

  /// Hands a result to its builder, or empties the builder; warns where a result has none.
  template <class Builder, class Mesh>
  void build(Builder* builder, SoState* state, const Mesh* mesh,
             const std::vector<const MeXDataSetI<double>*>& sets, const char* missing)
  {
    if (!builder) {
      if (mesh) warn(missing);
    } else if (mesh) {
      builder->set(state, *mesh, sets, getResult());
    } else {
      builder->clear();
    }
  }

  MoMeshRepresentation& getOwner() const { return m_owner; }
  const MdRepresentationTexts& getTexts() const { return m_texts; }
  Extract* getExtract() const { return m_extract.get(); }
  const MdRefCounter* getResult() const { return m_result; }

private:
  /// The set with this id, numbered as this mesh kind numbers its cells or its nodes.
  template <class T>
  static const MiTypedDataSet<T>* findSet(SoState* state, unsigned long id)
  {
    using CellSet = typename Kind::template CellSet<T>;
    using NodeSet = typename Kind::template NodeSet<T>;
    const int position = static_cast<int>(id);
    if (const auto* set = MxAttributesManager::findDataSet<CellSet>(state, position)) return set;
    if constexpr (!std::is_same_v<CellSet, NodeSet>)
      return MxAttributesManager::findDataSet<NodeSet>(state, position);
    return nullptr;
  }

  MoMeshRepresentation& m_owner;
  const MdRepresentationTexts& m_texts;
  std::string m_function;
  bool m_asynchronous;
  std::unique_ptr<Extract> m_extract;
  const MiMesh* m_mesh = nullptr; // what m_extract extracts from
  SoRef<MdUserExtractorCallback> m_userCallback;
  SoRef<MdRefCounter> m_result;
  std::uint64_t m_warnedStamp = MxTimeStamp::kNone;
};
