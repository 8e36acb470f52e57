#pragma once

#include <velmo/representation/MoMeshLineRepresentation.h>

class MiLineExtractRow;
class MiLineExtractUnstructured;

/// Draws a line mesh as it is: the cells that are alive and accepted by the cell filter.
///
/// The mesh may be what another representation extracted. A mesh of another kind is refused with a
/// warning and nothing is drawn. In a MoDrawStyle, lines are the edges.
class MoMeshLine : public MoMeshLineRepresentation
{
  MO_NODE_HEADER(MoMeshLine);

public:
  MoMeshLine();
  void doExtract(SoAction* action) override;

  // The extractor in use, null when there is none or it is of another class. Owned by the node,
  // until its results are thrown away.
  MiLineExtractUnstructured* getUnstructuredExtractor() const;
  /// Of regular and curvilinear lines.
  MiLineExtractRow* getRowExtractor() const;

protected:
  ~MoMeshLine() override;
};
