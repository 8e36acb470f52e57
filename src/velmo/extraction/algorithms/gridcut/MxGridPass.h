#pragma once

#include <velmo/extraction/algorithms/gridcut/MxCutGrid.h>

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
  std::size_t tasksAtATime; ///< that are found before the first of them has been written

  MxCutGridMemory::Task& task(std::size_t number) const
  {
    return memory.tasks[number % tasksAtATime];
  }
  const MbIndex3& cells() const { return choice.numbering.counts; }
  std::size_t taskOf(const MbIndex3& brick) const
  {
    return brick.y / 4 + lattice.groups.counts.y * (brick.z / 4);
  }
};

/// Where the tasks write: behind each other, those found first to the front.
struct MxGridOutput
{
  std::vector<std::size_t> vertexBegins, polygonBegins, indexBegins; ///< by task
  int* indices = nullptr;
  std::uint32_t* starts = nullptr;
  std::uint32_t* cells = nullptr;
  std::uint32_t* nodes = nullptr;
  double* weights = nullptr;
  MbVec3f* points = nullptr;
};

/// The vertices of a brick whose first node is `origin`.
void listVertices(const MxCutBrick& brick, const MbIndex3& origin, MxBrickVertices& list);
/// Finds the bricks of a task that are cut, their cells and the weights of their vertices.
void findCutBricks(const MxGridPass& pass, std::size_t task);
/// Writes the vertices and polygons of a task's bricks, and tells the task their extent.
void writeCutBricks(const MxGridPass& pass, const MxGridPlaces& places, const MxGridOutput& output,
                    std::size_t task);
