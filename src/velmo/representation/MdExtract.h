#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <Inventor/errors/SoDebugError.h>

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

/// What an extract wrapper needs to know: the mesh kind and the extractor that serves it.
template <MeshType K, class Family>
struct MdTraits
{
  static constexpr MeshType kMeshType = K;
  static constexpr std::size_t kExtractorIndex = Family::indexOf(K);
  using Extractor = typename Family::template Extractor<K>;
};

/// An extractor, seen as the representation framework wants it. Derived classes support what their
/// representation can do; what they leave out returns null.
template <class Traits>
class MdExtract
{
public:
  static constexpr MeshType kMeshType = Traits::kMeshType;
  static constexpr std::size_t kExtractorIndex = Traits::kExtractorIndex;
  using Kind = MxMeshKind<kMeshType>;
  using CellFilter = typename Kind::CellFilter;
  using Extractor = typename Traits::Extractor;
  /// Whether the preference for extracting in the background is read.
  static constexpr bool kMayBeAsynchronous = true;

  /// @param extractorName  the extractor's class name, for warnings; a literal
  MdExtract(std::shared_ptr<Extractor> extractor, const char* extractorName)
      : m_extractor(std::move(extractor)), m_extractorName(extractorName)
  {}
  virtual ~MdExtract() = default;

  Extractor& getExtractor() const { return *m_extractor; }
  /// For those who need the results longer than this wrapper lives.
  std::shared_ptr<const void> share() const { return m_extractor; }

  /// The extracted mesh, null before the first extraction.
  virtual const MeXSurfaceMeshUnstructured* getExtract() const { return m_extractor->getSurface(); }
  virtual const MeXPointMeshCurvilinear* extractPoints(SoState*, const CellFilter*)
  {
    return nullptr;
  }
  virtual const MeXLineMeshUnstructured* extractLine(SoState*, const CellFilter*)
  {
    return nullptr;
  }
  // A set that fits no surface fits no lines and points either; the warning for the surface is
  // enough.
  virtual const MeXDataSetI<double>* extractLineScalarSet(const MiTypedDataSet<double>* set)
  {
    return set ? m_extractor->extractLineScalarSet(*set) : nullptr;
  }
  virtual const MeXDataSetI<double>* extractPointsScalarSet(const MiTypedDataSet<double>* set)
  {
    return set ? m_extractor->extractPointsScalarSet(*set) : nullptr;
  }
  /// The set's values on the extracted surface; null, with a warning, for a set that does not fit
  /// the mesh.
  virtual const MeXDataSetI<double>* extractScalarSet(const MiTypedDataSet<double>* set)
  {
    if (!set) return nullptr;
    if (const MeXDataSetI<double>* values = m_extractor->extractScalarSet(*set)) return values;
    const std::string function = std::string(m_extractorName) + "::extractScalarSet()";
    SoDebugError::postWarning(
        function.c_str(), "Cannot extract data set with the given binding on this type of mesh.");
    return nullptr;
  }
  const MeXDataSetI<MbVec3d>* extractVec3Set(const MiTypedDataSet<MbVec3d>* set)
  {
    return set ? m_extractor->extractVec3Set(*set) : nullptr;
  }

private:
  std::shared_ptr<Extractor> m_extractor;
  const char* m_extractorName;
};
