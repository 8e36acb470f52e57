#include <velmo/render/details/MoCellDetail.h>

#include <velmo/mesh/MeXProvenance.h>
#include <velmo/render/details/MoMeshRepresentationDetail.h>
#include <velmo/render/details/MxPickedValues.h>

#include <Inventor/details/SoPointDetail.h>

#include <limits>

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

double firstOf(const std::vector<double>& values)
{
  return values.empty() ? std::numeric_limits<double>::quiet_NaN() : values.front();
}

} // namespace

MoCellPick::~MoCellPick() = default;

MoCellPick::MoCellPick(const MoMeshRepresentationDetail* mesh, int extractedCell,
                       std::size_t firstNode)
{
  if (!mesh || extractedCell < 0) return;
  m_cell = mesh->getPickedCell(static_cast<std::size_t>(extractedCell), firstNode);
  m_firstNode = mesh->getSourceNode(firstNode);
  m_values = mesh->getPickedValues(m_cell.extractedCell);
}

double MoCellPick::getValue(const SbVec3f& point) const
{
  return firstOf(getValues(point));
}

std::vector<double> MoCellPick::getValues(const SbVec3f& point) const
{
  if (!m_values) return {};
  return m_values->valuesAt({point[0], point[1], point[2]});
}

double MoCellPick::getValue() const
{
  return firstOf(getValues());
}

std::vector<double> MoCellPick::getValues() const
{
  return m_values ? m_values->valuesAt(m_point) : std::vector<double>();
}

std::vector<MoPickedNode> MoCellPick::getSourceNodes() const
{
  return m_values ? m_values->sourceNodesAt(m_point) : std::vector<MoPickedNode>();
}

void MoCellPick::traceBack(const MeXProvenance* source)
{
  std::size_t& cell = m_cell.sourceCell;
  if (!source) {
    cell = m_firstNode = MoPickedCell::kNone;
    m_cell.sourceCells = {};
  } else {
    // A line that runs through several cells has them at its nodes.
    if (m_firstNode < source->nodeCells.size())
      cell = source->nodeCells[m_firstNode];
    else
      cell = cell < source->cells.size() ? source->cells[cell] : MoPickedCell::kNone;
    m_firstNode = source->sourceNodeOf(m_firstNode);
    m_cell.sourceCells = source->sourceCells;
  }
  if (m_values) m_values = std::make_shared<const MxPickedValues>(*m_values, source);
}

template <class ToolkitDetail>
void MoCellDetail<ToolkitDetail>::assign(const MoCellDetail& other)
{
  if (this == &other) return;
  assignBase(*this, other);
  MoCellPick::operator=(other);
}

template <class ToolkitDetail>
MoCellDetail<ToolkitDetail>::MoCellDetail(const ToolkitDetail& detail,
                                          const MoMeshRepresentationDetail* mesh)
    : MoCellPick(mesh, cellIndexOf(detail), firstNodeOf(detail))
{
  assignBase(*this, detail);
}

template class MoCellDetail<SoFaceDetail>;
template class MoCellDetail<SoLineDetail>;
