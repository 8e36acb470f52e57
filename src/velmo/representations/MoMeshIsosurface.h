#pragma once

#include <velmo/representation/MoMeshSurfaceRepresentation.h>

#include <Inventor/fields/SoSFFloat.h>

class MiIsosurfExtractHexahedronIjk;
class MiIsosurfExtractIjk;
class MiIsosurfExtractUnstructured;

/// Draws the surface inside a volume mesh on which a scalar set takes one value, in the cells that
/// the cell filter leaves.
///
/// The set gives one value a node, numbered as the nodes of the mesh are (a flat set serves grids
/// numbered by I, J and K as well, I fastest), or one per cell of a mesh numbered by I, J and K. It
/// is looked up by isoScalarSetId, apart from the set that colours the surface. Where the state
/// holds no set of that id but others, nothing is drawn; where it holds none at all, or one of
/// another kind, nothing is drawn and a warning posted. A mesh of another kind is refused with a
/// warning.
class MoMeshIsosurface : public MoMeshSurfaceRepresentation
{
  MO_NODE_HEADER(MoMeshIsosurface);

public:
  /// The value of the set on the surface; 0 by default.
  SoSFFloat isovalue;
  /// Which scalar set of the state has that value, counted from 0; 0 by default.
  SoSFInt32 isoScalarSetId;

  MoMeshIsosurface();
  void doExtract(SoAction* action) override;

  // The extractor in use, null when there is none or it is of another class. Owned by the node,
  // until its results are thrown away.
  MiIsosurfExtractUnstructured* getUnstructuredExtractor() const;
  MiIsosurfExtractHexahedronIjk* getHexahedronIjkExtractor() const;
  /// The same as getHexahedronIjkExtractor.
  MiIsosurfExtractHexahedronIjk* getUnstructuredIjkExtractor() const;
  MiIsosurfExtractIjk* getIjkExtractor() const;
  /// The same as getIjkExtractor.
  MiIsosurfExtractIjk* getRegularExtractor() const;

protected:
  ~MoMeshIsosurface() override;
};
