#pragma once

#include <velmo/extraction/algorithms/access/MxBits.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <memory>

class MxExtractionMonitor;

/// A set of node values made of a set of cell values: each node gets the mean of the cells around
/// it that are alive, usable and accepted, and not-a-number without any.
///
/// @tparam Mesh     the interface of a kind whose cells are numbered by I, J and K
/// @param values    one value a cell
/// @param unusable  flat cells that cannot be used; empty when all can
/// @param filter    null for all cells
/// @return a set numbered as the nodes of the mesh are
template <class Mesh>
std::unique_ptr<MiTypedDataSet<double>>
meansAtNodes(const Mesh& mesh, const MiDataSetIjk<double>& values, const MxBits& unusable,
             const MiCellFilterIjk* filter, bool parallel, MxExtractionMonitor& monitor);
