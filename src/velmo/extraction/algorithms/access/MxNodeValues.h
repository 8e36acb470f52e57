#pragma once

#include <velmo/extraction/interfaces/MiArrayView.h>
#include <velmo/extraction/interfaces/MiDataSet.h>

/// The numbers of a data set under flat indices, read from its array where it has one of the right
/// length and by a virtual call each otherwise. Cheap to copy; borrows the set.
class MxNodeValues
{
public:
  MxNodeValues() = default;
  explicit MxNodeValues(const MiDataSetI<double>& set)
      : m_flat(&set), m_size(set.getSize()), m_view(set.getView())
  {
    dropShortView();
  }
  explicit MxNodeValues(const MiDataSetIj<double>& set)
      : m_grid(&set), m_countI(set.getSizeI()), m_size(m_countI * set.getSizeJ()),
        m_view(set.getView())
  {
    dropShortView();
  }

  std::size_t size() const { return m_size; }
  double operator[](std::size_t i) const
  {
    const char* item = static_cast<const char*>(m_view.data) + i * m_view.stride;
    if (!m_view) return m_flat ? m_flat->getValue(i) : m_grid->getValue(i % m_countI, i / m_countI);
    if (m_view.type == MiScalarType::Float64) return *reinterpret_cast<const double*>(item);
    if (m_view.type == MiScalarType::Float32)
      return static_cast<double>(*reinterpret_cast<const float*>(item));
    return visitScalarType(m_view.type, [item](auto scalar) {
      return static_cast<double>(*reinterpret_cast<const decltype(scalar)*>(item));
    });
  }

  /// Calls visit(values) with a pointer to the numbers where they are floats or doubles without
  /// gaps, with this otherwise.
  template <class Visitor>
  void visit(const Visitor& visitor) const
  {
    if (m_view.isContiguous<double>())
      visitor(m_view.as<double>());
    else if (m_view.isContiguous<float>())
      visitor(m_view.as<float>());
    else
      visitor(*this);
  }

private:
  void dropShortView()
  {
    if (m_view.count < m_size) m_view = {};
  }

  const MiDataSetI<double>* m_flat = nullptr;
  const MiDataSetIj<double>* m_grid = nullptr;
  std::size_t m_countI = 1, m_size = 0;
  MiArrayView m_view;
};
