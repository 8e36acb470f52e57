#pragma once

#include "Job.h"

#include "../Workloads.h"

#include <string>

/// One generated mesh and the view of it that both sides get; the program holds one at a time.
class CaseMesh
{
public:
  /// @throw std::invalid_argument for a name it does not know
  CaseMesh(const std::string& name, const bench::Sizes& sizes);
  CaseMesh(const CaseMesh&) = delete;
  CaseMesh& operator=(const CaseMesh&) = delete;

  const MeshArrays& view() const { return m_view; }

private:
  void setStructured(std::size_t n);
  void setUnstructured();

  bench::CellArrays m_arrays;
  MeshArrays m_view;
};
