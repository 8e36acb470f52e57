#include "OurMesh.h"
#include "Ours.h"

#include <velmo/extraction/extractors/MiLogicalSliceExtract.h>
#include <velmo/extraction/extractors/MiSkinExtract.h>

namespace {

/// @tparam Extractor  of logical slices, or of skins for slabs
template <class Mesh, class Extractor>
class LayersJob final : public OurJob<Mesh, Extractor>
{
  using Base = OurJob<Mesh, Extractor>;
  using Base::m_arrays, Base::m_task, Base::m_extractor;

public:
  using Base::Base;

  void run() override
  {
    this->makeMesh();
    m_colour = makeOurField<double>(m_arrays, m_arrays.colour);
    this->makeExtractor();
    const std::size_t axis = m_task.axis, layer = m_task.layer(m_arrays);
    if constexpr (std::is_same_v<Extractor, MiSkinExtractIjk>) {
      MbIndex3 lower, upper = cellsOf(m_arrays);
      lower[axis] = layer;
      upper[axis] = layer + m_task.layerCount;
      m_extractor->setCellRange(lower, upper);
      m_surface = &m_extractor->extractSkin(nullptr);
    } else {
      m_surface =
          &m_extractor->extractSlice(static_cast<MiMesh::Dimension>(axis), layer, false, nullptr);
    }
    m_mapped = m_extractor->extractScalarSet(dynamic_cast<const MiScalardSetIjk&>(*m_colour));
  }
  CheckValues check() const override { return checkOurSurface(*m_surface, m_mapped); }

private:
  std::unique_ptr<MiTypedDataSet<double>> m_colour;
  const MeXSurfaceMeshUnstructured* m_surface = nullptr;
  const MeXDataSetI<double>* m_mapped = nullptr;
};

} // namespace

std::unique_ptr<Job> makeOurLayers(const MeshArrays& mesh, const Task& task, int threads)
{
  if (task.layerCount > 0)
    return std::make_unique<LayersJob<MbVolumeMeshCurvilinear, MiSkinExtractIjk>>(mesh, task,
                                                                                  threads);
  if (mesh.kind == MeshKind::Regular)
    return std::make_unique<LayersJob<MbVolumeMeshRegular, MiLogicalSliceExtractRegular>>(
        mesh, task, threads);
  return std::make_unique<LayersJob<MbVolumeMeshCurvilinear, MiLogicalSliceExtractCurvilinear>>(
      mesh, task, threads);
}
