#pragma once

#include <velmo/extraction/interfaces/MiGeometry.h>
#include <velmo/extraction/interfaces/MiTopology.h>

/// A mesh: a topology and a geometry, each with a stamp of its own. An application implements one
/// of the interfaces of a mesh kind below, or uses a ready-made mesh of velmo/mesh. Nothing is
/// copied: a mesh that an extraction reads stays alive and unchanged until the extraction has
/// ended.
class MiMesh
{
public:
  /// An index along which cells are numbered. Other values name no index: what is asked for along
  /// one of them is empty.
  enum Dimension : int
  {
    DIMENSION_I = 0,
    DIMENSION_J = 1,
    DIMENSION_K = 2
  };

  virtual ~MiMesh() = default;
};

/// Cells and nodes numbered by one index each.
class MiMeshUnstructuredI : public virtual MiMesh
{
public:
  virtual const MiTopologyI& getTopology() const = 0;
  virtual const MiGeometryI& getGeometry() const = 0;
};

// Volumes.

class MiVolumeMeshUnstructured : public virtual MiMeshUnstructuredI
{};

/// Cells numbered (i, j, k) that name nodes of one flat list; data per node is flat.
class MiVolumeMeshHexahedronIjk : public virtual MiMesh
{
public:
  virtual const MiTopologyHexahedronIjk& getTopology() const = 0;
  virtual const MiGeometryI& getGeometry() const = 0;
};

/// Cells numbered (i, j, k) with eight corner points each; data per node belongs to the logical
/// corner.
class MiVolumeMeshVertexHexahedronIjk : public virtual MiMesh
{
public:
  virtual const MiTopologyIjk& getTopology() const = 0;
  virtual const MiGeometryVertexIjk& getGeometry() const = 0;
};

class MiVolumeMeshRegular : public virtual MiMesh
{
public:
  virtual const MiTopologyIjk& getTopology() const = 0;
  virtual const MiGeometryRegularIjk& getGeometry() const = 0;
};

class MiVolumeMeshRectilinear : public virtual MiMesh
{
public:
  virtual const MiTopologyIjk& getTopology() const = 0;
  virtual const MiGeometryRectilinearIjk& getGeometry() const = 0;
};

class MiVolumeMeshCurvilinear : public virtual MiMesh
{
public:
  virtual const MiTopologyIjk& getTopology() const = 0;
  virtual const MiGeometryIjk& getGeometry() const = 0;
};

// Surfaces.

class MiSurfaceMeshUnstructured : public virtual MiMeshUnstructuredI
{};

class MiSurfaceMeshRegular : public virtual MiMesh
{
public:
  virtual const MiTopologyIj& getTopology() const = 0;
  virtual const MiGeometryRegularIj& getGeometry() const = 0;
};

class MiSurfaceMeshRectilinear : public virtual MiMesh
{
public:
  virtual const MiTopologyIj& getTopology() const = 0;
  virtual const MiGeometryRectilinearIj& getGeometry() const = 0;
};

class MiSurfaceMeshCurvilinear : public virtual MiMesh
{
public:
  virtual const MiTopologyIj& getTopology() const = 0;
  virtual const MiGeometryIj& getGeometry() const = 0;
};

// Lines.

class MiLineMeshUnstructured : public virtual MiMeshUnstructuredI
{};

class MiLineMeshRegular : public virtual MiMesh
{
public:
  virtual const MiTopologyRow& getTopology() const = 0;
  virtual const MiGeometryRegularRow& getGeometry() const = 0;
};

class MiLineMeshCurvilinear : public virtual MiMesh
{
public:
  virtual const MiTopologyRow& getTopology() const = 0;
  virtual const MiGeometryI& getGeometry() const = 0;
};
