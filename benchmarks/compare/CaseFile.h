#pragma once

#include "Job.h"

#include <string>

// Files that both sides read. Plain C++17, as the peer's part uses it.

/// The file of a mesh, with two fields, in the folder of temporary files: written by the peer when
/// it is first asked for, gone when another one is or the program ends.
/// @throw std::runtime_error when it cannot be written
std::string caseFile(const MeshArrays& mesh, FileFormat format);

/// Does the writing.
void writePeerFile(const MeshArrays& mesh, FileFormat format, const std::string& path);

/// What two readings of a file have in common.
class ReadCheck
{
public:
  void addCoordinate(double value) { m_values.area += std::abs(value); }
  void addValue(double value) { m_values.fanArea += std::abs(value); }
  /// A sum that knows the order of the nodes.
  void addNode(std::uint64_t node) { m_values.cellDigest += (node + 1) * (m_place++ % 1021 + 1); }

  CheckValues values(std::size_t nodes, std::size_t cells) const
  {
    CheckValues result = m_values;
    // The fields stand for themselves, as a part of what is compared.
    result.area += result.fanArea;
    result.vertices = nodes;
    result.faces = cells;
    return result;
  }

private:
  CheckValues m_values;
  std::uint64_t m_place = 0;
};
