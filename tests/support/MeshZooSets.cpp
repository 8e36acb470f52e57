#include <tests/support/MeshZoo.h>

#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/views/MxCellView.h>

#include <numeric>

namespace {

template <class T, MxIndexing Indexing>
std::unique_ptr<MiTypedDataSet<T>> numbered(MiDataBinding binding, const MbIndex3& counts,
                                            std::vector<double> values)
{
  if constexpr (Indexing == MxIndexing::I)
    return std::make_unique<MbDataSetI<T>>("f", binding, std::move(values));
  else if constexpr (Indexing == MxIndexing::Ij)
    return std::make_unique<MbDataSetIj<T>>("f", binding, counts.x, counts.y, std::move(values));
  else
    return std::make_unique<MbDataSetIjk<T>>("f", binding, counts, std::move(values));
}

template <class T>
std::unique_ptr<MiTypedDataSet<T>> setFor(const MiMesh& mesh, MiDataBinding binding,
                                          std::vector<double> values)
{
  std::unique_ptr<MiTypedDataSet<T>> set;
  visitMeshKind(MxAllKinds{}, classifyMesh(&mesh), [&]<MeshType K>() {
    using Kind = MxMeshKind<K>;
    const MxCellView<K> view(zoo::as<K>(mesh));
    if (binding == MiDataBinding::PerNode)
      set = numbered<T, Kind::kNodeIndexing>(binding, view.nodeCounts(), std::move(values));
    else
      set = numbered<T, Kind::kIndexing>(binding, view.cellCounts(), std::move(values));
  });
  return set;
}

} // namespace

std::vector<MbVec3d> zoo::nodePlaces(const MiMesh& mesh)
{
  std::vector<MbVec3d> places;
  visitMeshKind(MxAllKinds{}, classifyMesh(&mesh), [&]<MeshType K>() {
    const MxCellView<K> view(as<K>(mesh));
    const MbIndex3 counts = view.nodeCounts();
    places.resize(counts.x * counts.y * counts.z);
    for (std::size_t node = 0; node < view.nodeCount(); ++node)
      places[view.dataNode(node)] = view.position(node);
  });
  return places;
}

std::unique_ptr<MiTypedDataSet<double>> zoo::setOf(const MiMesh& mesh, MiDataBinding binding,
                                                   std::vector<double> values)
{
  return setFor<double>(mesh, binding, std::move(values));
}

std::unique_ptr<MiTypedDataSet<double>>
zoo::nodeSet(const MiMesh& mesh, const std::function<double(const MbVec3d&)>& field)
{
  std::vector<double> values;
  for (const MbVec3d& p : nodePlaces(mesh))
    values.push_back(field(p));
  return setOf(mesh, MiDataBinding::PerNode, std::move(values));
}

std::unique_ptr<MiTypedDataSet<MbVec3d>>
zoo::vectorSet(const MiMesh& mesh, const std::function<MbVec3d(const MbVec3d&)>& field)
{
  std::vector<double> values;
  for (const MbVec3d& p : nodePlaces(mesh)) {
    const MbVec3d v = field(p);
    values.insert(values.end(), {v.x, v.y, v.z});
  }
  return setFor<MbVec3d>(mesh, MiDataBinding::PerNode, std::move(values));
}

std::unique_ptr<MiTypedDataSet<double>> zoo::cellNumbers(const MiMesh& mesh)
{
  std::vector<double> numbers;
  visitMeshKind(MxAllKinds{}, classifyMesh(&mesh),
                [&]<MeshType K>() { numbers.resize(MxCellView<K>(as<K>(mesh)).cellCount()); });
  std::iota(numbers.begin(), numbers.end(), 0.0);
  return setOf(mesh, MiDataBinding::PerCell, std::move(numbers));
}

zoo::Active zoo::someDead(const MbIndex3& cells)
{
  Active active(cells.x * cells.y * cells.z, 1);
  std::uint32_t state = 7;
  for (std::uint8_t& cell : active) {
    state = state * 1664525u + 1013904223u;
    cell = (state >> 24) % 5 != 0;
  }
  return active;
}
