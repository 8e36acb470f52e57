#pragma once

#include <velmo/base/MbPlainArray.h>
#include <velmo/extraction/interfaces/MbVec3.h>

#include <cstdint>

/// Where the cells and nodes of an extracted mesh came from, so that any data set of the source
/// mesh can be mapped on later and a pick can name the application's own cell.
///
/// Numbers are flat: i + ni * (j + nj * k) for sources numbered by I, J and K. Sources of more than
/// 2^32 - 1 cells or nodes are refused by the extractors.
struct MeXProvenance
{
  /// How the nodes are described; the arrays of the other forms are empty.
  enum class NodeForm
  {
    Node,     ///< `nodes`: one source node each
    Edge,     ///< `nodes`: two source nodes each, and `weights`: the second one's weight
    Weighted, ///< `nodes` and `weights` from `offsets`[n] to `offsets`[n + 1]
    Cell      ///< as Weighted, and `nodeCells`: the source cell that each node lies in
  };

  MbPlainArray<std::uint32_t> cells; ///< the source cell of every extracted cell
  NodeForm form = NodeForm::Node;
  MbPlainArray<std::uint32_t> nodes;
  MbPlainArray<double> weights;
  MbPlainArray<std::uint32_t> offsets;
  /// Of lines that run through several cells, also where the nodes are given otherwise: the source
  /// cell that the line goes on into at each node, at its end the one that it came from. Data per
  /// cell then goes to the nodes.
  MbPlainArray<std::uint32_t> nodeCells;

  /// Counts of the source's cells and nodes along I, J and K; {count, 1, 1} for sources of one
  /// index.
  MbIndex3 sourceCells, sourceNodes;

  /// The source node that an extracted node is; all ones for one that lies between several, or that
  /// does not exist.
  std::size_t sourceNodeOf(std::size_t node) const
  {
    return form == NodeForm::Node && node < nodes.size() ? nodes[node] : ~std::size_t{0};
  }
};
