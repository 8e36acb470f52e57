#pragma once

#include <velmo/representation/MoMeshSurfaceRepresentation.h>

#include <Inventor/fields/SoMFUInt32.h>

class MiSkinExtractHexahedronIjk;
class MiSkinExtractIjk;
class MiSkinExtractUnstructured;

/// Draws the outer boundary of a volume mesh, of the cells that the cell filter and the range
/// leave: the faces that belong to one such cell only.
///
/// A mesh of another kind is refused with a warning and nothing is drawn.
class MoMeshSkin : public MoMeshSurfaceRepresentation
{
  MO_NODE_HEADER(MoMeshSkin);

public:
  /// The first cell whose skin is drawn, inclusive: one value for unstructured meshes, three (i, j,
  /// k) for those numbered by I, J and K. Any other count of values means no bound; empty by
  /// default.
  SoMFUInt32 minCellRanges;
  /// The last cell, inclusive, likewise. The largest value, 4294967295, leaves no cell.
  SoMFUInt32 maxCellRanges;

  MoMeshSkin();
  void doExtract(SoAction* action) override;

  // The extractor in use, null when there is none or it is of another class. Owned by the node,
  // until its results are thrown away.
  MiSkinExtractUnstructured* getUnstructuredExtractor() const;
  MiSkinExtractHexahedronIjk* getHexahedronIjkExtractor() const;
  /// The same as getHexahedronIjkExtractor.
  MiSkinExtractHexahedronIjk* getUnstructuredIjkExtractor() const;
  MiSkinExtractIjk* getIjkExtractor() const;

protected:
  ~MoMeshSkin() override;
};
