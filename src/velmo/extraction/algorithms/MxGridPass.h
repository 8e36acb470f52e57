#pragma once

#include <velmo/extraction/algorithms/MxCutGrid.h>

/// The two passes of a grid's cut, by tasks: the rows of groups of bricks along I. A task writes to
/// what is its own; the second pass reads what the first one found for all tasks.

/// What all passes know.
struct MxGridPass
{
  const MxGridLevel& level;
  const MxIjkChoice& choice;
  bool flip;
  MxGridBricks lattice;
  MxCutGridMemory& memory;

  const MbIndex3& cells() const { return choice.numbering.counts; }
  std::size_t taskCount() const { return lattice.groups.counts.y * lattice.groups.counts.z; }
  std::size_t taskOf(const MbIndex3& brick) const
  {
    return brick.y / 4 + lattice.groups.counts.y * (brick.z / 4);
  }
};

/// Where the tasks write.
struct MxGridOutput
{
  std::vector<std::size_t> vertexBegins, polygonBegins, indexBegins; ///< by task
  int* indices;
  std::uint32_t* starts; ///< null for polygons of one size
  std::uint32_t* cells;
  std::uint32_t* nodes;
  double* weights;
  MbVec3f* points;
};

/// The vertices of a brick whose first node is `origin`.
void listVertices(const MxCutBrick& brick, const MbIndex3& origin, MxBrickVertices& list);
/// Finds the bricks of a task that are cut, their cells and the weights of their vertices.
void findCutBricks(const MxGridPass& pass, std::size_t task);
/// Writes the vertices and polygons of a task's bricks, and tells the task their extent.
void writeCutBricks(const MxGridPass& pass, const MxGridPlaces& places, const MxGridOutput& output,
                    std::size_t task);
