#pragma once

#include <velmo/nodes/MoActionNode.h>
#include <velmo/nodes/MoCellFilterElement.h>
#include <velmo/toolkit/background/MoBorrowed.h>

/// Puts the application's cell filter into the state. *Ownership*: the filter is borrowed,
/// as long as the node refers to it.
class MoCellFilter : public MoActionNode
{
  MO_NODE_HEADER(MoCellFilter);

public:
  MoCellFilter();

  void doAction(SoAction* action) override;

  /// Publishes the filter from now on, null for none. A filter that is numbered by none of I, (I,
  /// J) and (I, J, K) gets a warning; it is kept all the same, with the kind of the filter before
  /// it.
  virtual void setCellFilter(const MiCellFilter* filter);
  virtual void reset();
  virtual const MiCellFilter* getCellFilter() const;

protected:
  ~MoCellFilter() override = default;
  void copyContents(const SoFieldContainer* from, SbBool copyConnections) override;

private:
  MoBorrowed<const MiCellFilter> m_filter;
  CellFilterType m_type = CELL_FILTER_NONE;
};
