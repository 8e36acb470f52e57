#pragma once

#include <velmo/extraction/interfaces/MiMesh.h>
#include <velmo/mesh/MeXDataSetI.h>
#include <velmo/mesh/MeXGeometry.h>
#include <velmo/mesh/MeXProvenance.h>
#include <velmo/mesh/MeXTopology.h>

/// An extracted mesh: cells, points, and where they came from. Owned by its extractor, which
/// refills it at the next extraction.
template <class Interface, int Dimension>
class MeXMeshUnstructured final : public Interface
{
public:
  const MeXTopologyExplicitI& getTopology() const override { return topology; }
  const MeXGeometryI& getGeometry() const override { return geometry; }
  const MeXProvenance& getProvenance() const { return provenance; }

  MeXTopologyExplicitI topology{Dimension};
  MeXGeometryI geometry;
  MeXProvenance provenance;
};

using MeXSurfaceMeshUnstructured = MeXMeshUnstructured<MiSurfaceMeshUnstructured, 2>;
using MeXLineMeshUnstructured = MeXMeshUnstructured<MiLineMeshUnstructured, 1>;

/// Extracted points: no cells, a point each node.
class MeXPointMeshCurvilinear final : public virtual MiMesh
{
public:
  const MeXGeometryI& getGeometry() const { return geometry; }
  const MeXProvenance& getProvenance() const { return provenance; }

  MeXGeometryI geometry;
  MeXProvenance provenance;
};
