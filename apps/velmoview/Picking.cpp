#include <velmoview/Picking.h>

#include <velmoview/representations/Representation.h>
#include <velmoview/Scene.h>

#include <velmo/render/details/MoFaceDetail.h>
#include <velmo/render/details/MoLineDetail.h>
#include <velmo/render/details/MoMeshDetail.h>

#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/SbViewportRegion.h>
#include <Inventor/SoFullPath.h>
#include <Inventor/SoPickedPoint.h>

#include <limits>
#include <memory>

namespace velmoview {

namespace {

/// The indices of a detail that is specialised to the mesh; none of another detail.
template <class I, class Ij, class Ijk>
std::vector<std::size_t> indicesOf(const SoDetail* detail)
{
  if (const auto* one = dynamic_cast<const I*>(detail)) return {one->getCell()};
  if (const auto* two = dynamic_cast<const Ij*>(detail)) return {two->getI(), two->getJ()};
  if (const auto* three = dynamic_cast<const Ijk*>(detail))
    return {three->getI(), three->getJ(), three->getK()};
  return {};
}

std::vector<std::size_t> cellOf(const MoMeshDetail& mesh, const SoDetail* detail)
{
  if (const auto* face = dynamic_cast<const MoFaceDetail*>(detail)) {
    const std::unique_ptr<SoDetail> special(mesh.specilizeFaceDetail(*face));
    return indicesOf<MoFaceDetailI, MoFaceDetailIj, MoFaceDetailIjk>(special.get());
  }
  if (const auto* line = dynamic_cast<const MoLineDetail*>(detail)) {
    const std::unique_ptr<SoDetail> special(mesh.specilizeLineDetail(*line));
    return indicesOf<MoLineDetailI, MoLineDetailIj, MoLineDetailIjk>(special.get());
  }
  return {};
}

std::vector<double> valuesAt(const ModelArray& array, const MoCellPick& pick)
{
  std::vector<double> values(array.components, 0);
  const bool perCell = array.binding == MiDataBinding::PerCell;
  const std::vector<MoPickedNode> items =
      perCell ? std::vector<MoPickedNode>{{pick.getSourceCell(), 1}} : pick.getSourceNodes();
  for (std::size_t c = 0; c < values.size(); ++c)
    for (const MoPickedNode& item : items)
      values[c] += item.node < array.values.count
                       ? item.weight * mbNumber(array.values, item.node, c)
                       : std::numeric_limits<double>::quiet_NaN();
  return values;
}

void describe(const SoPickedPoint& point, const Scene& scene, const Model& model, Picked& picked)
{
  const auto* pick = dynamic_cast<const MoCellPick*>(point.getDetail());
  if (!pick) return;
  const auto* path = static_cast<const SoFullPath*>(point.getPath());
  for (const Drawn& drawn : scene.drawn()) {
    if (!path->containsNode(drawn.node)) continue;
    picked.found = true;
    picked.type = drawn.request.row->option + 2;
    picked.point = pick->getPickedPoint();
    if (const auto* mesh = dynamic_cast<const MoMeshDetail*>(point.getDetail(drawn.node)))
      picked.cell = cellOf(*mesh, point.getDetail());
  }
  if (!picked.found || picked.cell.empty()) return;
  for (const ModelArray& array : model.arrays) {
    // A name alone means the array per node.
    const bool second = model.find({array.name, {}}) != &array;
    picked.values.emplace_back(
        ArrayName{array.name, second ? std::optional(array.binding) : std::nullopt}.text(),
        valuesAt(array, *pick));
  }
}

} // namespace

std::vector<Picked> pickPixels(const Scene& scene, const Model& model, const Options& options)
{
  const auto [width, height] = options.size;
  std::vector<Picked> all;
  for (const auto& pixel : options.picks) {
    SoRayPickAction action(SbViewportRegion(static_cast<short>(width), static_cast<short>(height)));
    // Through the middle of the pixel; the toolkit counts upwards.
    action.setNormalizedPoint(
        SbVec2f((static_cast<float>(pixel[0]) + 0.5f) / static_cast<float>(width),
                1 - (static_cast<float>(pixel[1]) + 0.5f) / static_cast<float>(height)));
    action.apply(scene.root());
    Picked& picked = all.emplace_back();
    picked.pixel = pixel;
    if (const SoPickedPoint* point = action.getPickedPoint())
      describe(*point, scene, model, picked);
  }
  return all;
}

} // namespace velmoview
