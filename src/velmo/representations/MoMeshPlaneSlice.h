#pragma once

#include <velmo/representation/MoMeshSurfaceRepresentation.h>

#include <Inventor/fields/SoSFPlane.h>

class MiPlaneSliceExtractHexahedronIjk;
class MiPlaneSliceExtractIjk;
class MiPlaneSliceExtractUnstructured;

/// Draws the cut of a volume mesh by a plane, in the cells that the cell filter leaves. The whole
/// cut is lit with the plane's normal.
///
/// A mesh of another kind is refused with a warning and nothing is drawn.
class MoMeshPlaneSlice : public MoMeshSurfaceRepresentation
{
  MO_NODE_HEADER(MoMeshPlaneSlice);

public:
  /// The points x with normal . x = distance from the origin; x = 0 by default.
  SoSFPlane plane;

  MoMeshPlaneSlice();
  void doExtract(SoAction* action) override;

  // The extractor in use, null when there is none or it is of another class. Owned by the node,
  // until its results are thrown away.
  MiPlaneSliceExtractUnstructured* getUnstructuredExtractor() const;
  MiPlaneSliceExtractHexahedronIjk* getHexahedronIjkExtractor() const;
  /// The same as getHexahedronIjkExtractor.
  MiPlaneSliceExtractHexahedronIjk* getUnstructuredIjkExtractor() const;
  MiPlaneSliceExtractIjk* getIjkExtractor() const;

protected:
  ~MoMeshPlaneSlice() override;
};
