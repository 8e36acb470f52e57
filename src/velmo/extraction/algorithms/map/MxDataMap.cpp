#include <velmo/extraction/algorithms/map/MxDataMap.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxArrayAccess.h>
#include <velmo/extraction/algorithms/access/MxIjkGrid.h>

namespace {

constexpr std::size_t kBlock = 8192;

template <class T>
struct NumberArray
{
  const char* data;
  std::size_t stride;
  double operator[](std::size_t i) const
  {
    return static_cast<double>(*reinterpret_cast<const T*>(data + i * stride));
  }
  void prefetch(std::size_t i) const { __builtin_prefetch(data + i * stride); }
};

template <class T>
struct TripleArray
{
  const char* data;
  std::size_t stride;
  MbVec3d operator[](std::size_t i) const
  {
    const T* p = reinterpret_cast<const T*>(data + i * stride);
    return {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])};
  }
};

template <class T>
struct FlatValues
{
  const MiDataSetI<T>* set;
  T operator[](std::size_t i) const { return set->getValue(i); }
};

template <class T>
struct IjkValues
{
  const MiDataSetIjk<T>* set;
  MxIjkNumbering numbering;
  T operator[](std::size_t i) const
  {
    const MbIndex3 at = numbering.split(i);
    return set->getValue(at.x, at.y, at.z);
  }
};

template <class T>
struct IjValues
{
  const MiDataSetIj<T>* set;
  std::size_t countI;
  T operator[](std::size_t i) const { return set->getValue(i % countI, i / countI); }
};

/// Calls visit(values): the set's array where it holds `count` items, else its functions.
template <class T, class Fallback, class Visitor>
void visitValues(const MiArrayView& view, std::size_t count, const Fallback& fallback,
                 const Visitor& visit)
{
  if constexpr (std::is_same_v<T, std::string>) {
    visit(fallback);
  } else {
    if (!view || view.count < count) {
      visit(fallback);
      return;
    }
    const char* data = static_cast<const char*>(view.data);
    visitScalarType(view.type, [&](auto scalar) {
      using Scalar = decltype(scalar);
      if constexpr (std::is_same_v<T, MbVec3d>)
        visit(TripleArray<Scalar>{data, view.stride});
      else
        visit(NumberArray<Scalar>{data, view.stride});
    });
  }
}

template <class T, class Values>
T mix(const Values& values, const std::uint32_t* nodes, const double* weights, std::size_t count)
{
  if constexpr (std::is_same_v<T, std::string>) {
    return values[nodes[std::max_element(weights, weights + count) - weights]];
  } else {
    // A weight of one keeps the value as it is, whatever it is.
    if (count == 1 && weights[0] == 1) return values[nodes[0]];
    T sum{};
    for (std::size_t n = 0; n < count; ++n)
      sum += values[nodes[n]] * weights[n];
    return sum;
  }
}

template <class T, class Values>
void fill(const MeXProvenance& provenance, const Values& values, MiDataBinding binding,
          bool parallel, MbValueVector<T>& result)
{
  using Form = MeXProvenance::NodeForm;
  const bool perCell = binding == MiDataBinding::PerCell;
  const auto run = [&](std::size_t count, const auto& valueOf) {
    result.resize(count);
    forEachBlock(parallel, count, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
      for (std::size_t i = first; i < last; ++i)
        result[i] = valueOf(i);
    });
  };
  const std::uint32_t* nodes = provenance.nodes.data();
  if (perCell && !provenance.nodeCells.empty())
    run(provenance.nodeCells.size(),
        [&](std::size_t i) -> T { return values[provenance.nodeCells[i]]; });
  else if (perCell)
    run(provenance.cells.size(), [&](std::size_t i) -> T { return values[provenance.cells[i]]; });
  else if (provenance.form == Form::Node)
    run(provenance.nodes.size(), [&](std::size_t i) -> T { return values[nodes[i]]; });
  else if (provenance.form == Form::Edge)
    run(provenance.weights.size(), [&](std::size_t i) {
      // Nodes lie far apart, and the array is not in the cache.
      constexpr std::size_t kAhead = 16;
      if (i + kAhead < provenance.weights.size()) {
        prefetchPoint(values, nodes[2 * (i + kAhead)]);
        prefetchPoint(values, nodes[2 * (i + kAhead) + 1]);
      }
      const double weights[2] = {1 - provenance.weights[i], provenance.weights[i]};
      return mix<T>(values, nodes + 2 * i, weights, 2);
    });
  else
    run(provenance.offsets.empty() ? 0 : provenance.offsets.size() - 1, [&](std::size_t i) {
      const std::size_t begin = provenance.offsets[i];
      return mix<T>(values, nodes + begin, provenance.weights.data() + begin,
                    provenance.offsets[i + 1] - begin);
    });
}

} // namespace

template <class T>
std::unique_ptr<MeXDataSetI<T>> mapDataSet(const MeXProvenance& provenance,
                                           const MiTypedDataSet<T>& set, MxIndexing cells,
                                           MxIndexing nodes, bool parallel)
{
  const MiDataBinding binding = set.getBinding();
  if (binding != MiDataBinding::PerCell && binding != MiDataBinding::PerNode) return nullptr;
  const bool perCell = binding == MiDataBinding::PerCell;
  const MbIndex3& counts = perCell ? provenance.sourceCells : provenance.sourceNodes;
  const std::size_t total = counts.x * counts.y * counts.z;
  const bool isAlongLines = perCell && !provenance.nodeCells.empty();
  auto mapped = std::make_unique<MeXDataSetI<T>>(set.getName(),
                                                 isAlongLines ? MiDataBinding::PerNode : binding);
  const auto fillFrom = [&](const auto& values) {
    fill<T>(provenance, values, binding, parallel, mapped->values);
  };
  const MxIndexing indexing = perCell ? cells : nodes;
  if (indexing == MxIndexing::I) {
    const auto* flat = dynamic_cast<const MiDataSetI<T>*>(&set);
    if (!flat || flat->getSize() != total) return nullptr;
    visitValues<T>(flat->getView(), total, FlatValues<T>{flat}, fillFrom);
  } else if (indexing == MxIndexing::Ij) {
    const auto* grid = dynamic_cast<const MiDataSetIj<T>*>(&set);
    if (!grid || grid->getSizeI() != counts.x || grid->getSizeJ() != counts.y) return nullptr;
    visitValues<T>(grid->getView(), total, IjValues<T>{grid, counts.x}, fillFrom);
  } else {
    const auto* grid = dynamic_cast<const MiDataSetIjk<T>*>(&set);
    if (!grid || grid->getSizes() != counts) return nullptr;
    visitValues<T>(grid->getView(), total, IjkValues<T>{grid, {counts}}, fillFrom);
  }
  return mapped;
}

template std::unique_ptr<MeXDataSetI<double>>
mapDataSet(const MeXProvenance&, const MiTypedDataSet<double>&, MxIndexing, MxIndexing, bool);
template std::unique_ptr<MeXDataSetI<MbVec3d>>
mapDataSet(const MeXProvenance&, const MiTypedDataSet<MbVec3d>&, MxIndexing, MxIndexing, bool);
template std::unique_ptr<MeXDataSetI<std::string>>
mapDataSet(const MeXProvenance&, const MiTypedDataSet<std::string>&, MxIndexing, MxIndexing, bool);
