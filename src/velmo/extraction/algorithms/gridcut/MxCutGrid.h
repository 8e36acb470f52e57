#pragma once

#include <velmo/extraction/algorithms/cut/MxCut.h>
#include <velmo/extraction/algorithms/gridcut/MxGridRanges.h>
#include <velmo/extraction/algorithms/skin/MxSkinIjk.h>

/// The cut of grids whose neighbours always share their nodes, brick by brick.
///
/// Bricks that the level may cross are found first; of each, the sides of all nodes are words, and
/// so are the edges and cells that are cut. An edge belongs to the brick of its lower node, and its
/// vertex has the number of the brick's first vertex and the edge's rank among the brick's, so
/// that neighbours find it without a search. Positions are computed for cut edges alone.

/// The vertices of a brick: edges along I, J and K and then nodes, each in ascending order, as the
/// bits of the words that held them.
struct MxBrickVertices
{
  MbIndex3 origin; ///< the brick's first node
  std::array<std::uint16_t, 5> begins{};
  std::array<std::uint8_t, 256> bits;

  std::size_t count() const { return begins[4]; }
  /// Calls body(vertex, first, second) with the nodes of each edge.
  template <class Body>
  void forEachEdge(const Body& body) const
  {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const MbIndex3 step{axis == 0, axis == 1, axis == 2};
      for (std::size_t n = begins[axis]; n < begins[axis + 1]; ++n) {
        const MbIndex3 first = node(n);
        body(n, first, first + step);
      }
    }
  }
  /// The node of a vertex, or the lower one of its edge.
  MbIndex3 node(std::size_t vertex) const
  {
    const std::size_t bit = bits[vertex];
    return {origin.x + bit % 4, origin.y + bit / 4 % 4, origin.z + bit / 16};
  }
};

/// What a grid is cut by.
class MxGridLevel
{
public:
  virtual ~MxGridLevel() = default;
  /// The bricks of a group that may have nodes on different sides, or on the level: a word. May
  /// name bricks that stand out of the grid.
  virtual std::uint64_t findBricks(const MbIndex3& group) const = 0;
  /// Tells which nodes of a row lie below: of `count` bricks along I, the first of which has node
  /// `first` of the row, five bits each for its own nodes and the one after them, as
  /// MxSideTest::five gives them. Nodes after the row's end are as the last one.
  virtual void classify(const MbIndex3& first, std::size_t count, std::uint8_t* below) const = 0;
  /// Asks for the memory that `classify` will read.
  virtual void announce(const MbIndex3& first, std::size_t count) const
  {
    (void)first, (void)count;
  }
  /// Whether a node of a brick may have no level, which only `read` can tell.
  virtual bool mayBeUndefined(std::size_t brick) const { return (void)brick, false; }
  /// The levels of `count` nodes from (i, j, k) on: below zero, zero, above it, or not finite.
  virtual void read(std::size_t i, std::size_t j, std::size_t k, std::size_t count,
                    double* levels) const = 0;
  /// Where edges are cut, as the second node's weight.
  virtual void weigh(const MxBrickVertices& vertices, double* weights) const = 0;
};

/// Where the nodes of a grid are.
class MxGridPlaces
{
public:
  virtual ~MxGridPlaces() = default;
  /// Asks for the memory that `place` will read.
  virtual void announce(const MxBrickVertices& vertices) const { (void)vertices; }
  virtual void place(const MxBrickVertices& vertices, const double* weights,
                     MbVec3f* points) const = 0;
  virtual MbVec3d node(const MbIndex3& at) const = 0;
};

/// A brick that is cut.
struct MxCutBrick
{
  std::array<std::uint64_t, 4> vertices; ///< the cut edges along I, J, K; the nodes on the level
  std::uint64_t cells;
  std::uint32_t brick;
  std::uint32_t firstVertex, firstCase; ///< among those of the task
  std::array<std::uint8_t, 4> counts;   ///< vertices before those along I, J, K and those of nodes
  bool isPlain;          ///< no node is on the level: all edges have vertices of their own
  std::uint32_t nodesOn; ///< otherwise: where the task has the nodes that are, a byte a cell
};

/// What is kept between the cuts of grids.
class MxCutGridMemory final : public MxCutKept
{
public:
  std::size_t getByteCount() const override;

  /// A row of groups of bricks.
  struct Task
  {
    MxArray<MxCutBrick> bricks;
    MxArray<std::uint8_t> cases; ///< of all cells: which corners are below
    MxArray<std::uint8_t>
        nodesOn;             ///< of the cells of bricks that are not plain: those on the level
    MxArray<double> weights; ///< of all vertices
    std::size_t vertexCount, polygonCount, indexCount;
    std::uint32_t sizes; ///< bit n: there is a polygon of n corners
    MbVec3f low, high;   ///< the extent of the points
  };
  std::vector<Task> tasks; ///< those that are found and not written yet: see MxGridPass::task
  /// Bricks that are cut: a word a group, and each brick's place in its task.
  MxArray<std::uint64_t> present;
  MxArray<std::uint32_t> slots;

  /// Of the last cut; many where nothing is known.
  std::size_t vertexCount = static_cast<std::size_t>(-1);

  /// Which cells are cut, and what that was found for.
  MxIjkChoice choice;
  std::vector<std::uint64_t> choiceKey;

  /// What is shared with other cuts: of the mesh, of a field, of points. Null where not needed.
  std::shared_ptr<const MxMeshCheck> check;
  std::shared_ptr<const MxFieldRanges> fieldRanges;
  std::shared_ptr<const MxPointRanges> pointRanges;
};

/// Cuts a grid and fills the surface but for the stamp of its topology.
/// @param choice  all cells of the grid, or some
/// @param flip    polygons are to be turned over: the grid is left-handed
/// @return whether nodes of cut cells lie on the level
bool cutGrid(const MxGridLevel& level, const MxGridPlaces& places, const MxIjkChoice& choice,
             bool flip, bool parallel, MxExtractionMonitor& monitor, MxCutGridMemory& memory,
             MeXSurfaceMeshUnstructured& surface);
