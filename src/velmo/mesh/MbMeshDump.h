#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/extraction/interfaces/MiMesh.h>

#include <iosfwd>
#include <limits>
#include <span>

/// How much a dump writes.
struct MbDumpOptions
{
  /// Nodes, cells, and values of each set at the most; what is left out is counted.
  std::size_t maxItems = std::numeric_limits<std::size_t>::max();
};

/// Writes a mesh of any kind, and data sets on it, as text for a bug report: one line a node, a
/// cell and a value, numbers in full precision, the same bytes in every locale.
///
///     mesh VOLUME_MESH_UNSTRUCTURED
///     cells 1 dead 0 counts 1 1 1
///     nodes 4 counts 4 1 1
///     shapes tetrahedron 1
///     bounds 0 0 0 1 1 1
///     node 0 0 0 0
///     ...
///     cell 0 tetrahedron 0 1 2 3
///     set "depth" PER_NODE double 4 1 1
///     value 0 -1.5
///     ...
///
/// A dead cell's line ends with "dead"; a polyhedron's has "faces" and its face stream. Null sets
/// are skipped.
void mbDump(std::ostream& out, const MiMesh& mesh, std::span<const MiDataSet* const> sets = {},
            const MbDumpOptions& options = {});
