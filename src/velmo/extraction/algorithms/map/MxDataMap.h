#pragma once

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/mesh/MeXDataSetI.h>
#include <velmo/mesh/MeXProvenance.h>

#include <memory>

/// Maps a data set of a source mesh onto an extracted mesh: values of cells go to the cells that
/// came from them; values of nodes to the nodes, mixed by their weights (of a string, the one with
/// the largest weight).
///
/// @param cells,nodes  how the source mesh numbers its cells and nodes
/// @return null when the set's numbering or size does not fit the source
template <class T>
std::unique_ptr<MeXDataSetI<T>> mapDataSet(const MeXProvenance& provenance,
                                           const MiTypedDataSet<T>& set, MxIndexing cells,
                                           MxIndexing nodes, bool parallel);

extern template std::unique_ptr<MeXDataSetI<double>>
mapDataSet(const MeXProvenance&, const MiTypedDataSet<double>&, MxIndexing, MxIndexing, bool);
extern template std::unique_ptr<MeXDataSetI<MbVec3d>>
mapDataSet(const MeXProvenance&, const MiTypedDataSet<MbVec3d>&, MxIndexing, MxIndexing, bool);
extern template std::unique_ptr<MeXDataSetI<std::string>>
mapDataSet(const MeXProvenance&, const MiTypedDataSet<std::string>&, MxIndexing, MxIndexing, bool);
