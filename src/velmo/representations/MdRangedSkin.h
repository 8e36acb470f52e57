#pragma once

#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

#include <optional>
#include <type_traits>

/// What the recipes of skin and slab have in common: the skin of a range of cells. A recipe adds
/// `rangeOf<K>(node)`.
template <class Recipe>
struct MdRangedSkin
{
  static constexpr bool kMayBeAsynchronous = true;

  /// [lower, upper), as the extractor takes them.
  template <MeshType K>
  struct Arguments
  {
    using Index =
        std::conditional_t<MxMeshKind<K>::kIndexing == MxIndexing::I, std::size_t, MbIndex3>;
    Index lower, upper;
    bool operator==(const Arguments&) const = default;
  };

  template <MeshType K, class Node>
  static std::optional<Arguments<K>> read(SoState*, const Node& node)
  {
    return Recipe::template rangeOf<K>(node);
  }
  template <class Extractor, class Range, class Filter>
  static const MeXSurfaceMeshUnstructured& extractMesh(Extractor& extractor, const Range& range,
                                                       const Filter* filter)
  {
    return ranged(extractor, range).extractSkin(filter);
  }
  template <class Extractor, class Range, class Filter>
  static const MeXLineMeshUnstructured& extractLine(Extractor& extractor, const Range& range,
                                                    const Filter* filter)
  {
    return ranged(extractor, range).extractLine(filter);
  }
  template <class Extractor, class Range, class Filter>
  static const MeXPointMeshCurvilinear& extractPoints(Extractor& extractor, const Range& range,
                                                      const Filter* filter)
  {
    return ranged(extractor, range).extractPoints(filter);
  }

private:
  template <class Extractor, class Range>
  static Extractor& ranged(Extractor& extractor, const Range& range)
  {
    extractor.clearCellRanges();
    extractor.setCellRange(range.lower, range.upper);
    return extractor;
  }
};
