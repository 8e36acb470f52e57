#pragma once

#include <velmo/representation/MoMeshSurfaceRepresentation.h>

class MiSurfaceExtractIj;
class MiSurfaceExtractUnstructured;

/// Draws a surface mesh as it is: the cells that are alive and accepted by the cell filter.
///
/// The mesh may be what another representation extracted. A mesh of another kind is refused with a
/// warning and nothing is drawn.
class MoMeshSurface : public MoMeshSurfaceRepresentation
{
  MO_NODE_HEADER(MoMeshSurface);

public:
  MoMeshSurface();
  void doExtract(SoAction* action) override;

  // The extractor in use, null when there is none or it is of another class. Owned by the node,
  // until its results are thrown away.
  MiSurfaceExtractUnstructured* getUnstructuredExtractor() const;
  MiSurfaceExtractIj* getIjExtractor() const;

protected:
  ~MoMeshSurface() override;
};
