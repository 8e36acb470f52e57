#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MiCellShape.h>

#include <cstddef>
#include <span>
#include <vector>

/// What the places of a cell's nodes say about it.
struct MxCellQuality
{
  bool isDegenerate = false; ///< no length, area or volume
  bool isFolded = false;
  bool isCollapsed = false; ///< some corners are one, but it has an extent
  bool isOpen = false;      ///< of a polyhedron
  int sign = 0;             ///< of the volume; 0 without one and for polyhedra
};

/// Judges cells, one after the other; an object belongs to one thread.
class MxCellJudge
{
public:
  /// @param nodes   of the cell, in the order of its shape
  /// @param places  of these nodes, finite
  /// @param faces   the face stream of a polyhedron, checked
  MxCellQuality judge(MiCellShape shape, std::span<const std::size_t> nodes,
                      std::span<const MbVec3d> places, std::span<const std::size_t> faces);

private:
  void measure(std::span<const MbVec3d> places);
  void judgeLine(MiCellShape shape, std::span<const MbVec3d> places, MxCellQuality& quality) const;
  void judgePolygon(std::span<const MbVec3d> corners, bool isQuad, MxCellQuality& quality) const;
  void judgeVolume(MiCellShape shape, std::span<const MbVec3d> places,
                   MxCellQuality& quality) const;
  void judgePolyhedron(std::span<const std::size_t> nodes, std::span<const MbVec3d> places,
                       std::span<const std::size_t> faces, MxCellQuality& quality);
  bool isCollapsed(std::span<const std::size_t> nodes, std::span<const MbVec3d> corners);

  double m_size = 0;      ///< diagonal of the box around the cell
  double m_thickness = 0; ///< less than this is rounding
  std::vector<std::size_t> m_sorted;
  std::vector<std::pair<std::size_t, std::size_t>> m_edges;
  std::vector<MbVec3d> m_face;
};
