#include <velmo/render/details/MoCellDetail.h>

#include <velmo/render/details/MoMeshRepresentationDetail.h>

#include <Inventor/details/SoPointDetail.h>

namespace {

// The toolkit's face detail owns an array and must not be copied memberwise.
void assignBase(SoFaceDetail& to, const SoFaceDetail& from)
{
  to.setNumPoints(from.getNumPoints());
  for (int i = 0; i < from.getNumPoints(); ++i)
    to.setPoint(i, from.getPoint(i));
  to.setFaceIndex(from.getFaceIndex());
  to.setPartIndex(from.getPartIndex());
}

void assignBase(SoLineDetail& to, const SoLineDetail& from)
{
  to.setPoint0(from.getPoint0());
  to.setPoint1(from.getPoint1());
  to.setLineIndex(from.getLineIndex());
  to.setPartIndex(from.getPartIndex());
}

int cellIndexOf(const SoFaceDetail& detail)
{
  return detail.getFaceIndex();
}

int cellIndexOf(const SoLineDetail& detail)
{
  return detail.getLineIndex();
}

std::size_t firstNodeOf(const SoFaceDetail&)
{
  return MoPickedCell::kNone;
}

std::size_t firstNodeOf(const SoLineDetail& detail)
{
  const int node = detail.getPoint0() ? detail.getPoint0()->getCoordinateIndex() : -1;
  return node >= 0 ? static_cast<std::size_t>(node) : MoPickedCell::kNone;
}

} // namespace

template <class ToolkitDetail>
void MoCellDetail<ToolkitDetail>::assign(const MoCellDetail& other)
{
  if (this == &other) return;
  assignBase(*this, other);
  m_cell = other.m_cell;
}

template <class ToolkitDetail>
MoCellDetail<ToolkitDetail>::MoCellDetail(const ToolkitDetail& detail,
                                          const MoMeshRepresentationDetail* mesh)
{
  assignBase(*this, detail);
  if (mesh && cellIndexOf(detail) >= 0)
    m_cell =
        mesh->getPickedCell(static_cast<std::size_t>(cellIndexOf(detail)), firstNodeOf(detail));
}

template class MoCellDetail<SoFaceDetail>;
template class MoCellDetail<SoLineDetail>;
