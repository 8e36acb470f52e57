#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/representation/MdWarnings.h>

#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

class SoState;

/// The extractors of a representation: for unstructured meshes, for hexahedron IJK meshes, and for
/// the other kinds numbered by I, J and K.
template <class Unstructured, class HexahedronIjk, class Ijk>
struct MdExtractorFamily
{
  /// Which of the three, 0 to 2, serves a kind of volume mesh.
  static constexpr std::size_t indexOf(MeshType kind)
  {
    return kind == VOLUME_MESH_UNSTRUCTURED ? 0 : kind == VOLUME_MESH_HEXAHEDRON_IJK ? 1 : 2;
  }
  template <MeshType K>
  using Extractor = std::conditional_t<indexOf(K) == 0, Unstructured,
                                       std::conditional_t<indexOf(K) == 1, HexahedronIjk, Ijk>>;
};

/// The extractor class that serves one kind of mesh.
template <MeshType K, class ExtractorClass>
struct MdExtractorOf
{
  static constexpr MeshType kKind = K;
  using Extractor = ExtractorClass;
};

/// The extractors of a representation that serves some kinds of mesh, named one by one.
template <class... Rows>
struct MdExtractorsByKind
{
  using Kinds = MxKinds<Rows::kKind...>;

  /// Which row serves a kind of mesh.
  static constexpr std::size_t indexOf(MeshType kind)
  {
    std::size_t index = 0, found = 0;
    ((kind == Rows::kKind ? found = index++ : index++), ...);
    return found;
  }
  template <MeshType K>
  using Extractor = typename std::tuple_element_t<indexOf(K), std::tuple<Rows...>>::Extractor;
};

/// The extractors of a representation of surface or line meshes: for unstructured ones, and for
/// those numbered by I and J or by I alone.
template <class Unstructured, class Grid>
struct MdFlatExtractorFamily
{
  static constexpr std::size_t indexOf(MeshType kind)
  {
    return kind == SURFACE_MESH_UNSTRUCTURED || kind == LINE_MESH_UNSTRUCTURED ? 0 : 1;
  }
  template <MeshType K>
  using Extractor = std::conditional_t<indexOf(K) == 0, Unstructured, Grid>;
};

/// What an extractor extracted last, and of several line sets the first; null for nothing.
inline const MeXSurfaceMeshUnstructured* mdExtracted(const MiSurfaceExtractor& extractor)
{
  return extractor.getSurface();
}
inline const MeXLineMeshUnstructured* mdExtracted(const MiLineExtractor& extractor)
{
  return extractor.getLines();
}
inline const MeXLineMeshUnstructured* mdExtracted(const MiMultiLineExtractor& extractor)
{
  return extractor.getLines().empty() ? nullptr : &extractor.getLines()[0];
}

/// What an extract wrapper needs to know: the mesh kind and the extractor that serves it.
template <MeshType K, class Family>
struct MdTraits
{
  static constexpr MeshType kMeshType = K;
  static constexpr std::size_t kExtractorIndex = Family::indexOf(K);
  using Extractor = typename Family::template Extractor<K>;
};

/// An extractor, seen as the representation framework wants it: it has its arguments already and
/// knows neither node nor state, so that its extractions may run in any one thread. Derived classes
/// support what their representation can do; what they leave out returns null.
template <class Traits>
class MdExtract
{
public:
  static constexpr MeshType kMeshType = Traits::kMeshType;
  static constexpr std::size_t kExtractorIndex = Traits::kExtractorIndex;
  using Kind = MxMeshKind<kMeshType>;
  using CellFilter = typename Kind::CellFilter;
  using Extractor = typename Traits::Extractor;
  using Extracted = std::remove_pointer_t<decltype(mdExtracted(std::declval<const Extractor&>()))>;

  /// @param extractorName  the extractor's class name, for warnings; a literal
  MdExtract(std::shared_ptr<Extractor> extractor, const char* extractorName)
      : m_extractor(std::move(extractor)), m_extractorName(extractorName)
  {}
  virtual ~MdExtract() = default;

  Extractor& getExtractor() const { return *m_extractor; }
  /// For those who need the results longer than this wrapper lives.
  std::shared_ptr<const void> share() const { return m_extractor; }

  /// The extracted mesh, null before the first extraction; of several the first.
  virtual Extracted* getExtract() const { return mdExtracted(*m_extractor); }
  /// The main extraction.
  /// @return false, and there is nothing extracted, when an argument does not fit the mesh
  virtual bool extractMesh(const CellFilter* filter) = 0;
  virtual const MeXPointMeshCurvilinear* extractPoints(const CellFilter*) { return nullptr; }
  virtual const MeXLineMeshUnstructured* extractLine(const CellFilter*) { return nullptr; }
  // A set that fits no surface fits no lines and points either; the warning for the surface is
  // enough.
  virtual const MeXDataSetI<double>* extractLineScalarSet(const MiTypedDataSet<double>* set)
  {
    if constexpr (requires { m_extractor->extractLineScalarSet(*set); })
      return set ? m_extractor->extractLineScalarSet(*set) : nullptr;
    else
      return nullptr;
  }
  virtual const MeXDataSetI<double>* extractPointsScalarSet(const MiTypedDataSet<double>* set)
  {
    if constexpr (requires { m_extractor->extractPointsScalarSet(*set); })
      return set ? m_extractor->extractPointsScalarSet(*set) : nullptr;
    else
      return nullptr;
  }
  /// The set's values on the extracted mesh; null, with a warning, for a set that does not fit the
  /// source.
  virtual const MeXDataSetI<double>* extractScalarSet(const MiTypedDataSet<double>* set,
                                                      MdWarnings& warnings)
  {
    if (!set) return nullptr;
    const MeXDataSetI<double>* values = map(*set, 0);
    if (!values)
      warnings.post(std::string(m_extractorName) + "::extractScalarSet()",
                    "Cannot extract data set with the given binding on this type of mesh.", set,
                    set->getTimeStamp());
    return values;
  }
  const MeXDataSetI<MbVec3d>* extractVec3Set(const MiTypedDataSet<MbVec3d>* set)
  {
    if (!set) return nullptr;
    if constexpr (kIsMulti)
      return m_extractor->extractVec3Set(0, *set);
    else
      return m_extractor->extractVec3Set(*set);
  }
  /// The set's values on one of several line sets; a set that does not fit is warned of once, for
  /// the first.
  const MeXDataSetI<double>* extractScalarSet(std::size_t index, const MiTypedDataSet<double>* set,
                                              MdWarnings& warnings) requires kIsMulti
  {
    if (index == 0) return extractScalarSet(set, warnings);
    return set ? m_extractor->extractScalarSet(index, *set) : nullptr;
  }
  /// Maps the set onto all that was extracted, so that the functions above find it. Says nothing,
  /// whatever the set: this may be a worker's thread.
  void prepareScalarSet(const MiTypedDataSet<double>* set)
  {
    if (!set) return;
    std::size_t count = 1;
    if constexpr (kIsMulti) count = m_extractor->getLines().size();
    for (std::size_t index = 0; index < count; ++index)
      map(*set, index);
  }

private:
  static constexpr bool kIsMulti = std::is_base_of_v<MiMultiLineExtractor, Extractor>;

  const MeXDataSetI<double>* map(const MiTypedDataSet<double>& set, std::size_t index) const
  {
    if constexpr (kIsMulti)
      return m_extractor->extractScalarSet(index, set);
    else
      return m_extractor->extractScalarSet(set);
  }

  std::shared_ptr<Extractor> m_extractor;
  const char* m_extractorName;
};
