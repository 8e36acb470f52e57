#include <velmoview/Probes.h>

#include <velmoview/Arrays.h>

#include <velmo/extraction/extractors/MiPointProbe.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <nlohmann/json.hpp>

namespace velmoview {

namespace {

template <class Probe>
class FinderOf final : public PointFinder
{
public:
  explicit FinderOf(std::unique_ptr<Probe> probe) : m_probe(std::move(probe)) {}

  std::optional<std::vector<std::size_t>> find(const MbVec3d& point) override
  {
    if (!m_probe->locate(point, m_probe->getCell(), nullptr)) return {};
    const auto cell = m_probe->getCell();
    if constexpr (std::is_same_v<Probe, MiPointProbeUnstructured>)
      return std::vector{cell};
    else if constexpr (std::is_same_v<Probe, MiPointProbeIj>)
      return std::vector{cell.x, cell.y};
    else
      return std::vector{cell.x, cell.y, cell.z};
  }
  std::vector<double> valueOf(const ModelArray& array) const override
  {
    if (array.components == 1)
      return {m_probe->getValue(dynamic_cast<const MiTypedDataSet<double>&>(*array.set))};
    const MbVec3d v = m_probe->getValue(dynamic_cast<const MiTypedDataSet<MbVec3d>&>(*array.set));
    return {v.x, v.y, v.z};
  }

private:
  std::unique_ptr<Probe> m_probe;
};

template <MeshType K>
std::unique_ptr<PointFinder> makeFinderOf(const typename MxMeshKind<K>::Interface& mesh,
                                          bool parallel)
{
  const auto make = [&]<class Probe>(std::type_identity<Probe>) -> std::unique_ptr<PointFinder> {
    return std::make_unique<FinderOf<Probe>>(Probe::getNewInstance(mesh, parallel));
  };
  if constexpr (K == VOLUME_MESH_UNSTRUCTURED || K == SURFACE_MESH_UNSTRUCTURED)
    return make(std::type_identity<MiPointProbeUnstructured>());
  else if constexpr (K == VOLUME_MESH_HEXAHEDRON_IJK)
    return make(std::type_identity<MiPointProbeHexahedronIjk>());
  else if constexpr (K == VOLUME_MESH_REGULAR || K == VOLUME_MESH_RECTILINEAR ||
                     K == VOLUME_MESH_CURVILINEAR)
    return make(std::type_identity<MiPointProbeIjk>());
  else if constexpr (K == SURFACE_MESH_REGULAR || K == SURFACE_MESH_RECTILINEAR ||
                     K == SURFACE_MESH_CURVILINEAR)
    return make(std::type_identity<MiPointProbeIj>());
  else
    return nullptr;
}

} // namespace

bool canProbe(MeshType kind)
{
  return kind >= VOLUME_MESH_UNSTRUCTURED && kind < LINE_MESH_UNSTRUCTURED &&
         kind != VOLUME_MESH_VERTEX_HEXAHEDRON_IJK;
}

std::unique_ptr<PointFinder> makeFinder(const Model& model, bool parallel)
{
  std::unique_ptr<PointFinder> finder;
  visitMeshKind(MxAllKinds{}, model.kind, [&]<MeshType K>() {
    finder = makeFinderOf<K>(dynamic_cast<const typename MxMeshKind<K>::Interface&>(*model.mesh),
                             parallel);
  });
  return finder;
}

nlohmann::ordered_json probeReport(const Model& model,
                                   const std::vector<std::array<double, 3>>& points, bool parallel)
{
  const std::unique_ptr<PointFinder> finder = makeFinder(model, parallel);
  auto probes = nlohmann::ordered_json::array();
  if (!finder) return probes;
  for (const auto& p : points) {
    nlohmann::ordered_json probe{{"position", p}, {"found", false}};
    if (const auto cell = finder->find({p[0], p[1], p[2]})) {
      probe["found"] = true;
      probe["cell"] = *cell;
      probe["values"] = nlohmann::ordered_json::object();
      for (const ModelArray& array : model.arrays) {
        if (!isScalarOrVector(array)) continue;
        // An array that exists per node and per cell is the one per node, and the other by its
        // full name.
        const bool isTaken = probe["values"].contains(array.name);
        const std::string name = isTaken ? ArrayName{array.name, array.binding}.text() : array.name;
        const std::vector<double> value = finder->valueOf(array);
        if (value.size() == 1)
          probe["values"][name] = value[0];
        else
          probe["values"][name] = value;
      }
    }
    probes.push_back(std::move(probe));
  }
  return probes;
}

} // namespace velmoview
