#pragma once

#include <velmo/representation/MdExtract.h>
#include <velmo/representation/MdMeshRepresentationFor.h>

#include <optional>
#include <tuple>

/// The extract wrapper of a representation that is described by a recipe.
///
/// @tparam Recipe  what is particular to the representation:
/// * `Node`, its class; `Extractors`, an MdExtractorFamily or the like; `kTexts`,
/// * `Arguments<K>`, all that its fields and sets say for meshes of kind K, comparable with ==,
/// * `read<K>(state, node)`, these arguments, in the traversing thread; nothing, perhaps with a
///   warning, when there is nothing to extract,
/// * `extractMesh(extractor, arguments, filter)`, the extraction; it may answer false when an
///   argument does not fit the mesh, and then `refuse()` says so in the traversing thread,
/// * where the representation has them, `extractLine` and `extractPoints` with the same parameters,
/// * `kMayBeAsynchronous`, true when it reads the preference for extracting in the background.
template <class Recipe, MeshType K>
class MdExtractBy final : public MdExtract<MdTraits<K, typename Recipe::Extractors>>
{
  using Base = MdExtract<MdTraits<K, typename Recipe::Extractors>>;

public:
  using typename Base::CellFilter, typename Base::Extractor;
  using Node = typename Recipe::Node;
  using Interface = typename Base::Kind::Interface;
  using Arguments = typename Recipe::template Arguments<K>;
  static constexpr bool kMayBeAsynchronous = [] {
    if constexpr (requires { Recipe::kMayBeAsynchronous; })
      return Recipe::kMayBeAsynchronous;
    else
      return false;
  }();

  static std::optional<Arguments> read(SoState* state, const Node& node)
  {
    return Recipe::template read<K>(state, node);
  }
  static void refuse()
  {
    if constexpr (requires { Recipe::refuse(); }) Recipe::refuse();
  }
  /// Makes the extractor for a mesh. Mesh and tessellator borrowed; they outlive it.
  MdExtractBy(const Interface& mesh, bool parallel, const MiTessellator* tessellator)
      : Base(make(mesh, parallel, tessellator), Recipe::kTexts.extractors[Base::kExtractorIndex])
  {}

  void setArguments(const Arguments& arguments) { m_arguments = arguments; }

  bool extractMesh(const CellFilter* filter) override
  {
    if constexpr (std::is_same_v<bool, decltype(Recipe::extractMesh(this->getExtractor(),
                                                                    *m_arguments, filter))>)
      return Recipe::extractMesh(this->getExtractor(), *m_arguments, filter);
    else
      Recipe::extractMesh(this->getExtractor(), *m_arguments, filter);
    return true;
  }
  const MeXLineMeshUnstructured* extractLine(const CellFilter* filter) override
  {
    if constexpr (requires { Recipe::extractLine(this->getExtractor(), *m_arguments, filter); })
      return &Recipe::extractLine(this->getExtractor(), *m_arguments, filter);
    else
      return nullptr;
  }
  const MeXPointMeshCurvilinear* extractPoints(const CellFilter* filter) override
  {
    if constexpr (requires { Recipe::extractPoints(this->getExtractor(), *m_arguments, filter); })
      return &Recipe::extractPoints(this->getExtractor(), *m_arguments, filter);
    else
      return nullptr;
  }

private:
  static std::shared_ptr<Extractor> make(const Interface& mesh, bool parallel,
                                         [[maybe_unused]] const MiTessellator* tessellator)
  {
    if constexpr (requires { Extractor::getNewInstance(mesh, parallel, tessellator); })
      return Extractor::getNewInstance(mesh, parallel, tessellator);
    else
      return Extractor::getNewInstance(mesh, parallel);
  }

  std::optional<Arguments> m_arguments;
};

/// What the recipes of slices have in common: their arguments are a tuple of what the extractor's
/// operations are given. A recipe adds `readTuple(node)`.
template <class Recipe, class... Arguments_>
struct MdTupleRecipe
{
  template <MeshType>
  using Arguments = std::tuple<Arguments_...>;

  template <MeshType, class Node>
  static std::optional<std::tuple<Arguments_...>> read(SoState*, const Node& node)
  {
    return Recipe::readTuple(node);
  }
  template <class Extractor, class Tuple, class Filter>
  static const auto& extractMesh(Extractor& extractor, const Tuple& tuple, const Filter* filter)
  {
    return apply(
        tuple, [&](const auto&... arguments) -> const auto& {
          if constexpr (requires { extractor.extractSurface(arguments..., filter); })
            return extractor.extractSurface(arguments..., filter);
          else
            return extractor.extractSlice(arguments..., filter);
        });
  }
  template <class Extractor, class Tuple, class Filter>
  static const MeXLineMeshUnstructured& extractLine(Extractor& extractor, const Tuple& tuple,
                                                    const Filter* filter)
  {
    return apply(
        tuple, [&](const auto&... arguments) -> const auto& {
          return extractor.extractLine(arguments..., filter);
        });
  }
  template <class Extractor, class Tuple, class Filter>
  static const MeXPointMeshCurvilinear& extractPoints(Extractor& extractor, const Tuple& tuple,
                                                      const Filter* filter)
  {
    return apply(
        tuple, [&](const auto&... arguments) -> const auto& {
          return extractor.extractPoints(arguments..., filter);
        });
  }

private:
  template <class Tuple, class Call>
  static const auto& apply(const Tuple& tuple, const Call& call)
  {
    return std::apply(call, tuple);
  }
};
