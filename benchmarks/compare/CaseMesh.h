#pragma once

#include "Job.h"

#include "../Workloads.h"

#include <string>

/// One generated mesh with its fields, and the view of it that both sides get; the program holds
/// one at a time.
class CaseMesh
{
public:
  /// @throw std::invalid_argument for a name it does not know
  CaseMesh(const std::string& name, const bench::Sizes& sizes);
  CaseMesh(const CaseMesh&) = delete;
  CaseMesh& operator=(const CaseMesh&) = delete;

  const MeshArrays& view() const { return m_view; }

private:
  void setStructured(MeshKind kind, std::size_t n);
  void setSurface(std::size_t m);
  void setUnstructured();
  bench::Point pointOf(std::size_t node) const;
  void fillFields();
  void fillVectors();

  bench::CellArrays m_arrays;
  std::vector<double> m_axes[3];
  std::vector<double> m_smooth, m_busy, m_colour, m_vec;
  MeshArrays m_view;
};
