#pragma once

#include <velmo/representation/MoMeshSurfaceRepresentation.h>
#include <velmo/toolkit/classes/TkSFScopedEnum.h>

#include <Inventor/fields/SoSFFloat.h>

/// A sheet across one index of a grid at a fractional value of it, between two layers of nodes, for
/// moving smoothly through a grid.
///
/// With n cells along the axis the layers of nodes are at 0 to n; a value outside draws nothing.
/// Values per node are interpolated, values per cell are those of the cells that the sheet runs
/// through. Made for volume meshes whose cells are numbered (i, j, k) and name their nodes
/// (hexahedron IJK, regular, rectilinear, curvilinear). Other kinds, vertex hexahedra among them,
/// get the warning "Cannot compute interpolated logical slice on this type of mesh." and nothing is
/// drawn.
class MoMeshInterpolatedLogicalSlice : public MoMeshSurfaceRepresentation
{
  MO_NODE_HEADER(MoMeshInterpolatedLogicalSlice);

public:
  MoMeshInterpolatedLogicalSlice();

  /// Index along the axis, counted in layers of nodes; 0 by default.
  SoSFFloat sliceValue;
  /// A value of MiMesh::Dimension; DIMENSION_I by default.
  TkSFScopedEnum sliceAxis;

  void doExtract(SoAction* action) override;

protected:
  ~MoMeshInterpolatedLogicalSlice() override;
};
