#pragma once

#include <velmo/representation/MoMeshSurfaceRepresentation.h>

#include <Inventor/fields/SoSFFloat.h>
#include <Inventor/fields/SoSFVec3f.h>

class MiCylinderSliceExtractHexahedronIjk;
class MiCylinderSliceExtractIjk;
class MiCylinderSliceExtractUnstructured;

/// Draws the cut of a volume mesh by an endless cylinder, in the cells that the cell filter leaves.
/// All nodes of the cut lie on the cylinder. Edges of cells are cut that have one end inside, so a
/// cylinder that runs between the nodes of the cells draws nothing there.
///
/// A mesh of another kind is refused with a warning and nothing is drawn.
class MoMeshCylinderSlice : public MoMeshSurfaceRepresentation
{
  MO_NODE_HEADER(MoMeshCylinderSlice);

public:
  /// A point on the axis; (0, 0, 0) by default.
  SoSFVec3f center;
  /// 1 by default; a negative one cuts nothing.
  SoSFFloat radius;
  /// Of the axis, of any length; (1, 0, 0) by default. One of length 0 cuts nothing.
  SoSFVec3f direction;

  MoMeshCylinderSlice();
  void doExtract(SoAction* action) override;

  // The extractor in use, null when there is none or it is of another class. Owned by the node,
  // until its results are thrown away.
  MiCylinderSliceExtractUnstructured* getUnstructuredExtractor() const;
  MiCylinderSliceExtractHexahedronIjk* getHexahedronIjkExtractor() const;
  /// The same as getHexahedronIjkExtractor.
  MiCylinderSliceExtractHexahedronIjk* getUnstructuredIjkExtractor() const;
  MiCylinderSliceExtractIjk* getIjkExtractor() const;

protected:
  ~MoMeshCylinderSlice() override;
};
