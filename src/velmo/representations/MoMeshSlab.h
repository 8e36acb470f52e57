#pragma once

#include <velmo/representation/MoMeshSurfaceRepresentation.h>
#include <velmo/toolkit/classes/TkSFScopedEnum.h>

#include <Inventor/fields/SoSFUInt32.h>

class MiSkinExtractHexahedronIjk;
class MiSkinExtractIjk;
class MiSkinExtractUnstructured;

/// The outer boundary of a slab: of some consecutive layers of the cells of a grid, across one of
/// its indices.
///
/// Made for all volume meshes whose cells are numbered (i, j, k). Other kinds get the warning
/// "Cannot compute slabs on this type of mesh." and nothing is drawn. Layers beyond the mesh count
/// for nothing; a thickness of 0 draws nothing.
class MoMeshSlab : public MoMeshSurfaceRepresentation
{
  MO_NODE_HEADER(MoMeshSlab);

public:
  MoMeshSlab();

  /// The index across which the slab lies, a value of MiMesh::Dimension; DIMENSION_I by default.
  TkSFScopedEnum dimension;
  /// The first layer of cells, from 0; 0 by default.
  SoSFUInt32 index;
  /// How many layers of cells; 1 by default.
  SoSFUInt32 thickness;

  void doExtract(SoAction* action) override;

  // The extractor in use: null when there is none or it is of another class. A slab never has one
  // for unstructured meshes.
  MiSkinExtractUnstructured* getUnstructuredExtractor() const;
  MiSkinExtractHexahedronIjk* getHexahedronIjkExtractor() const;
  /// The same as getHexahedronIjkExtractor.
  MiSkinExtractHexahedronIjk* getUnstructuredIjkExtractor() const;
  MiSkinExtractIjk* getIjkExtractor() const;

protected:
  ~MoMeshSlab() override;
};
