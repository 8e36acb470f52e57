#include <velmo/toolkit/shapes/MxLinePick.h>

#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/details/SoLineDetail.h>
#include <Inventor/details/SoPointDetail.h>
#include <Inventor/elements/SoMaterialBindingElement.h>
#include <Inventor/nodes/SoVertexShape.h>
#include <Inventor/SbBox3f.h>
#include <Inventor/SoPickedPoint.h>

#include <algorithm>
#include <vector>

namespace {

// The items whose boxes the volume about the ray meets, in ascending order: points at the same
// distance keep the order of their items.
std::vector<std::size_t> candidatesOf(const MxBoxTree& tree, SoRayPickAction& action)
{
  const auto meets = [&action](const MxBox3d& box) {
    // Flat boxes would be missed by rounding.
    SbVec3f low, high;
    for (int a = 0; a < 3; ++a) {
      const double slack = 1e-6 * std::max(std::abs(box.min[a]), std::abs(box.max[a])) + 1e-30;
      low[a] = static_cast<float>(box.min[a] - slack);
      high[a] = static_cast<float>(box.max[a] + slack);
    }
    return action.intersect(SbBox3f(low, high), TRUE) == TRUE;
  };
  std::vector<std::size_t> items;
  tree.forEachMeeting(meets, [&](std::size_t item) { items.push_back(item); });
  std::sort(items.begin(), items.end());
  return items;
}

class LineMaterials
{
public:
  LineMaterials(SoRayPickAction& action, bool isLines)
      : m_binding(SoMaterialBindingElement::get(action.getState())), m_isLines(isLines)
  {}

  // The number of the colour of a vertex of line l at its place k, which is the given segment's
  // end.
  int indexOf(std::size_t l, std::size_t position, std::size_t segment, int vertex) const
  {
    switch (m_binding) {
    case SoMaterialBindingElement::PER_FACE:
    case SoMaterialBindingElement::PER_FACE_INDEXED:
      return m_isLines ? static_cast<int>(l) : vertex;
    case SoMaterialBindingElement::PER_PART:
    case SoMaterialBindingElement::PER_PART_INDEXED:
      return m_isLines ? static_cast<int>(segment) : vertex;
    case SoMaterialBindingElement::PER_VERTEX:
      return m_isLines ? static_cast<int>(position - l) : vertex;
    case SoMaterialBindingElement::PER_VERTEX_INDEXED:
      return vertex;
    default:
      return 0;
    }
  }

private:
  int m_binding;
  bool m_isLines;
};

void pickSegments(SoVertexShape& shape, SoRayPickAction& action, MxLineState& lineState)
{
  const MxLineData& data = lineState.data();
  const LineMaterials materials(action, true);
  for (const std::size_t segment : candidatesOf(lineState.tree(), action)) {
    const std::size_t l = data.lines->lineOf(segment);
    const std::size_t k = segment - data.lines->segmentFirst(l);
    const auto line = data.lines->line(l);
    const SbVec3f& from = data.positions.values[static_cast<std::size_t>(line[k])];
    const SbVec3f& to = data.positions.values[static_cast<std::size_t>(line[k + 1])];
    SbVec3f point;
    if (!action.intersect(from, to, point) || !action.isBetweenPlanes(point)) continue;
    SoPickedPoint* picked = action.addIntersection(point);
    if (!picked) continue;
    auto* detail = new SoLineDetail;
    detail->setLineIndex(static_cast<int>(l));
    detail->setPartIndex(static_cast<int>(segment));
    SoPointDetail ends[2];
    for (std::size_t e = 0; e < 2; ++e) {
      ends[e].setCoordinateIndex(line[k + e]);
      ends[e].setMaterialIndex(
          materials.indexOf(l, data.lines->positionOf(l) + k + e, segment, line[k + e]));
    }
    detail->setPoint0(&ends[0]);
    detail->setPoint1(&ends[1]);
    picked->setDetail(detail, &shape);
    const bool nearTo = (point - to).sqrLength() < (point - from).sqrLength();
    picked->setMaterialIndex(ends[nearTo].getMaterialIndex());
    picked->setObjectNormal(SbVec3f(0, 0, 1));
    picked->setObjectTextureCoords(SbVec4f(0, 0, 0, 1));
  }
}

void pickPoints(SoVertexShape& shape, SoRayPickAction& action, MxLineState& lineState)
{
  const LineMaterials materials(action, false);
  for (const std::size_t p : candidatesOf(lineState.tree(), action)) {
    const SbVec3f& point = lineState.data().positions.values[p];
    if (!action.intersect(point) || !action.isBetweenPlanes(point)) continue;
    SoPickedPoint* picked = action.addIntersection(point);
    if (!picked) continue;
    auto* detail = new SoPointDetail;
    detail->setCoordinateIndex(static_cast<int>(p));
    detail->setMaterialIndex(materials.indexOf(0, p, p, static_cast<int>(p)));
    picked->setDetail(detail, &shape);
    picked->setMaterialIndex(detail->getMaterialIndex());
    picked->setObjectNormal(SbVec3f(0, 0, 1));
    picked->setObjectTextureCoords(SbVec4f(0, 0, 0, 1));
  }
}

} // namespace

void mxPickLines(SoVertexShape& shape, SoRayPickAction& action, MxLineState& lines)
{
  if (lines.data().lines)
    pickSegments(shape, action, lines);
  else
    pickPoints(shape, action, lines);
}
