#pragma once

#include <velmo/representation/MoMeshSurfaceRepresentation.h>
#include <velmo/toolkit/classes/TkSFScopedEnum.h>

#include <Inventor/fields/SoSFBool.h>
#include <Inventor/fields/SoSFUInt32.h>

/// One layer of the cell faces of a grid, across one of its indices.
///
/// Made for volume meshes whose cells are numbered (i, j, k) and name their nodes (hexahedron IJK,
/// regular, rectilinear, curvilinear). Other kinds, vertex hexahedra among them, get the warning
/// "Cannot compute logical slice on this type of mesh." and nothing is drawn. An index beyond the
/// mesh draws nothing. Each face belongs to one cell; dead and filtered cells leave gaps.
class MoMeshLogicalSlice : public MoMeshSurfaceRepresentation
{
  MO_NODE_HEADER(MoMeshLogicalSlice);

public:
  MoMeshLogicalSlice();

  /// The cells whose faces are drawn, by their index along the axis, from 0; 0 by default.
  SoSFUInt32 sliceIndex;
  /// A value of MiMesh::Dimension; DIMENSION_I by default.
  TkSFScopedEnum sliceAxis;
  /// The upper faces of the cells instead of the lower ones; FALSE by default.
  SoSFBool upperVertex;

  void doExtract(SoAction* action) override;

protected:
  ~MoMeshLogicalSlice() override;
};
