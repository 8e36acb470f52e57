#include <velmo/nodes/MoCellFilter.h>

#include <velmo/extraction/interfaces/MiCellFilter.h>

#include <Inventor/actions/SoAction.h>
#include <Inventor/errors/SoDebugError.h>

MO_NODE_SOURCE(MoCellFilter, MoActionNode)

MoCellFilter::MoCellFilter()
{
  SO_NODE_CONSTRUCTOR(MoCellFilter);
}

void MoCellFilter::doAction(SoAction* action)
{
  MoCellFilterElement::set(action->getState(), this, m_type, m_filter);
}

void MoCellFilter::setCellFilter(const MiCellFilter* filter)
{
  m_filter = filter;
  touch();
  if (!filter)
    m_type = CELL_FILTER_NONE;
  else if (dynamic_cast<const MiCellFilterI*>(filter))
    m_type = CELL_FILTER_I;
  else if (dynamic_cast<const MiCellFilterIj*>(filter))
    m_type = CELL_FILTER_IJ;
  else if (dynamic_cast<const MiCellFilterIjk*>(filter))
    m_type = CELL_FILTER_IJK;
  else
    SoDebugError::postWarning(
        "MoCellFilter::setCellFilter",
        "cellFilter must be of type MiCellFilterI, MiCellFilterIj or MiCellFilterIjk.");
}

void MoCellFilter::reset()
{
  m_filter = nullptr;
  m_type = CELL_FILTER_NONE;
  touch();
}

const MiCellFilter* MoCellFilter::getCellFilter() const
{
  return m_filter;
}

void MoCellFilter::copyContents(const SoFieldContainer* from, SbBool copyConnections)
{
  MoActionNode::copyContents(from, copyConnections);
  const auto* other = static_cast<const MoCellFilter*>(from);
  m_filter = other->m_filter;
  m_type = other->m_type;
}
