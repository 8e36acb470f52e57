#pragma once

#include <velmo/extraction/algorithms/cut/MxCut.h>

/// Whether a mesh has cells that a tessellator refines.
bool hasQuadraticCells(const MiTopologyI& topology);

/// The cut of a mesh through the linear cells that the tessellator makes of its quadratic ones;
/// those that it declines, and linear cells, are cut as without it. Sub-cells take the values that
/// their points' weights give.
///
/// Only cells that the cut may reach are refined. Vertices are numbered as cutMesh numbers them in
/// the mesh of the refined cells; their provenance is NodeForm::Weighted. Polygons name their cell
/// of the mesh and come in ascending order of it.
std::shared_ptr<const MxMeshCheck>
cutTessellated(const MiVolumeMeshUnstructured& mesh, const MiCellFilterI* filter,
               const MxCutShape& shape, const MiTessellator& tessellator, bool parallel,
               MxExtractionMonitor& monitor, MeXSurfaceMeshUnstructured& surface);
