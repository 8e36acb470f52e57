#include <velmo/extraction/algorithms/access/MxFieldValues.h>

template <class T>
MxFieldValues<T>::MxFieldValues(const MiTypedDataSet<T>& set, MxIndexing cellIndexing,
                                MxIndexing nodeIndexing, const MbIndex3& cells,
                                const MbIndex3& nodes)
{
  MxSetCasts<T> casts;
  *this = MxFieldValues(set, cellIndexing, nodeIndexing, cells, nodes, casts);
}

template <class T>
MxFieldValues<T>::MxFieldValues(const MiTypedDataSet<T>& set, MxIndexing cellIndexing,
                                MxIndexing nodeIndexing, const MbIndex3& cells,
                                const MbIndex3& nodes, MxSetCasts<T>& casts)
{
  const MiDataBinding binding = set.getBinding();
  m_perCell = binding == MiDataBinding::PerCell;
  if (!m_perCell && binding != MiDataBinding::PerNode) return;
  m_counts = m_perCell ? cells : nodes;
  const std::size_t count = m_counts.x * m_counts.y * m_counts.z;
  const auto take = [&](const auto* typed, bool fits, Kind slow) {
    if (!typed || !fits) return;
    m_view = typed->getView();
    m_kind = !m_view || m_view.count < count        ? slow
             : m_view.type == MiScalarType::Float64 ? Kind::Double
             : m_view.type == MiScalarType::Float32 ? Kind::Float
                                                    : Kind::Any;
  };
  switch (m_perCell ? cellIndexing : nodeIndexing) {
  case MxIndexing::I:
    m_i = casts.toI(set);
    take(m_i, m_i && m_i->getSize() == count, Kind::I);
    break;
  case MxIndexing::Ij:
    m_ij = casts.toIj(set);
    take(m_ij, m_ij && m_ij->getSizeI() == m_counts.x && m_ij->getSizeJ() == m_counts.y, Kind::Ij);
    break;
  case MxIndexing::Ijk:
    m_ijk = casts.toIjk(set);
    take(m_ijk, m_ijk && m_ijk->getSizes() == m_counts, Kind::Ijk);
    break;
  }
}

template <class T>
T MxFieldValues<T>::nothing()
{
  constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();
  if constexpr (std::is_same_v<T, MbVec3d>)
    return {kNothing, kNothing, kNothing};
  else
    return kNothing;
}

template <class T>
T MxFieldValues<T>::readSlowly(std::size_t number) const
{
  switch (m_kind) {
  case Kind::Any:
    return visitScalarType(m_view.type,
                           [&](auto scalar) { return read<decltype(scalar)>(number); });
  case Kind::I:
    return m_i->getValue(number);
  case Kind::Ij:
    return m_ij->getValue(number % m_counts.x, number / m_counts.x);
  case Kind::Ijk: {
    const MbIndex3 at = splitIndex(number, m_counts);
    return m_ijk->getValue(at.x, at.y, at.z);
  }
  default:
    return nothing();
  }
}

template class MxFieldValues<double>;
template class MxFieldValues<MbVec3d>;
