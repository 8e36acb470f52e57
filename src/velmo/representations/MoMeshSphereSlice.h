#pragma once

#include <velmo/representation/MoMeshSurfaceRepresentation.h>

#include <Inventor/fields/SoSFFloat.h>
#include <Inventor/fields/SoSFVec3f.h>

class MiSphereSliceExtractHexahedronIjk;
class MiSphereSliceExtractIjk;
class MiSphereSliceExtractUnstructured;

/// Draws the cut of a volume mesh by a sphere, in the cells that the cell filter leaves. All nodes
/// of the cut lie on the sphere. Edges of cells are cut that have one end inside, so a sphere that
/// lies between the nodes of one cell draws nothing.
///
/// A mesh of another kind is refused with a warning and nothing is drawn.
class MoMeshSphereSlice : public MoMeshSurfaceRepresentation
{
  MO_NODE_HEADER(MoMeshSphereSlice);

public:
  SoSFVec3f center; ///< (0, 0, 0) by default
  /// 1 by default; a negative one cuts nothing.
  SoSFFloat radius;

  MoMeshSphereSlice();
  void doExtract(SoAction* action) override;

  // The extractor in use, null when there is none or it is of another class. Owned by the node,
  // until its results are thrown away.
  MiSphereSliceExtractUnstructured* getUnstructuredExtractor() const;
  MiSphereSliceExtractHexahedronIjk* getHexahedronIjkExtractor() const;
  /// The same as getHexahedronIjkExtractor.
  MiSphereSliceExtractHexahedronIjk* getUnstructuredIjkExtractor() const;
  MiSphereSliceExtractIjk* getIjkExtractor() const;

protected:
  ~MoMeshSphereSlice() override;
};
