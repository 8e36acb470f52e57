#include <velmo/extraction/algorithms/cut/MxCutSource.h>

#include <velmo/extraction/algorithms/cut/MxCutSourceOf.h>

namespace {

/// Points without gaps.
template <class T>
struct TightPoints
{
  const T* data;

  MbVec3d operator[](std::size_t i) const
  {
    const T* p = data + 3 * i;
    return {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])};
  }
  [[gnu::always_inline]] void prefetch(std::size_t i) const { __builtin_prefetch(data + 3 * i); }
};

/// Points in any other form.
struct AnyPoints
{
  const MiGeometryI* geometry;
  MiArrayView view{};

  MbVec3d operator[](std::size_t i) const
  {
    if (!view) return geometry->getNode(i);
    const char* place = static_cast<const char*>(view.data) + i * view.stride;
    return view.type == MiScalarType::Float32
               ? TightPoints<float>{reinterpret_cast<const float*>(place)}[0]
               : TightPoints<double>{reinterpret_cast<const double*>(place)}[0];
  }
};

template <class Points>
std::unique_ptr<MxCutPlaces> makePlaces(const Points& points)
{
  return std::make_unique<MxCutPlacesOf<Points>>(points);
}

} // namespace

std::unique_ptr<MxCutPlaces> makeCutPlaces(const MiGeometryI& geometry)
{
  const MiArrayView view = geometry.getView();
  if (!view || view.count < geometry.getNodeCount()) return makePlaces(AnyPoints{&geometry});
  if (view.isContiguous<double>(3)) return makePlaces(TightPoints<double>{view.as<double>()});
  if (view.isContiguous<float>(3)) return makePlaces(TightPoints<float>{view.as<float>()});
  if (view.type == MiScalarType::Float32 || view.type == MiScalarType::Float64)
    return makePlaces(AnyPoints{&geometry, view});
  return makePlaces(AnyPoints{&geometry});
}

std::unique_ptr<MxCutSource> makeCutSource(const MxCutShape& shape, const MxCutPlaces& places,
                                           std::size_t nodeCount)
{
  if (const auto* field = std::get_if<MxIsovalue>(&shape))
    return makeFieldSource(*field, {nodeCount, 1, 1}, false,
                           [](const auto& values) { return values; });
  return places.makeSource(shape);
}
