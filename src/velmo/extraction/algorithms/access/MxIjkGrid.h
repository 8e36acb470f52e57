#pragma once

#include <velmo/extraction/algorithms/access/MxArrayAccess.h>
#include <velmo/extraction/interfaces/MiMesh.h>

#include <array>
#include <vector>

/// Where corner 0 to 7 of a hexahedron stands in its cell, as 0 or 1 along I, J and K.
inline constexpr std::array<std::array<std::uint8_t, 3>, 8> kCornerSteps = {
    {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}}};

/// Numbers i + ni * (j + nj * k).
struct MxIjkNumbering
{
  MbIndex3 counts;

  std::size_t flat(std::size_t i, std::size_t j, std::size_t k) const
  {
    return i + counts.x * (j + counts.y * k);
  }
  MbIndex3 split(std::size_t flat) const
  {
    const std::size_t row = flat / counts.x;
    return {flat - row * counts.x, row % counts.y, row / counts.y};
  }
  std::size_t total() const { return counts.x * counts.y * counts.z; }
};

inline MbIndex3 nodeCountsOf(const MbIndex3& cells)
{
  return {cells.x + 1, cells.y + 1, cells.z + 1};
}

/// The node coordinates of regular and rectilinear grids, one list an axis: what the grid's own
/// functions answer, asked once.
struct MxAxes
{
  std::array<std::vector<double>, 3> values;

  MbVec3d node(std::size_t i, std::size_t j, std::size_t k) const
  {
    return {values[0][i], values[1][j], values[2][k]};
  }
};

MxAxes makeAxes(const MiVolumeMeshRegular& mesh);
MxAxes makeAxes(const MiVolumeMeshRectilinear& mesh);

/// The corners of a vertex hexahedron mesh: read from its corner array, interpolated on its
/// pillars, or asked one by one.
class MxVertexCorners
{
public:
  explicit MxVertexCorners(const MiVolumeMeshVertexHexahedronIjk& mesh);

  MbVec3d corner(std::size_t i, std::size_t j, std::size_t k, int corner) const
  {
    MbVec3d p;
    if (m_form == Form::Float64)
      p = MxPointArray<double>{
          m_data, m_stride}[8 * m_numbering.flat(i, j, k) + static_cast<std::size_t>(corner)];
    else if (m_form == Form::Float32)
      p = MxPointArray<float>{
          m_data, m_stride}[8 * m_numbering.flat(i, j, k) + static_cast<std::size_t>(corner)];
    else
      p = m_geometry->getCorner(i, j, k, corner);
    // Minus zero coincides with zero, in bits too.
    return {p.x + 0.0, p.y + 0.0, p.z + 0.0};
  }
  const MxIjkNumbering& numbering() const { return m_numbering; }

private:
  enum class Form
  {
    Float64,
    Float32,
    Virtual
  };

  const MiGeometryVertexIjk* m_geometry;
  MxIjkNumbering m_numbering;
  Form m_form = Form::Virtual;
  const char* m_data = nullptr;
  std::size_t m_stride = 0;
};
