#include <velmo/mesh/MbCellFilter.h>

#include <algorithm>

namespace {
// The values of a set in one order of three indices.
template <class T>
MbIndex3 sizesOf(const MiDataSetI<T>& set)
{
  return {set.getSize(), 1, 1};
}
template <class T>
MbIndex3 sizesOf(const MiDataSetIj<T>& set)
{
  return {set.getSizeI(), set.getSizeJ(), 1};
}
template <class T>
MbIndex3 sizesOf(const MiDataSetIjk<T>& set)
{
  return set.getSizes();
}
double valueOf(const MiScalardSetI& set, std::size_t i, std::size_t, std::size_t)
{
  return set.getValue(i);
}
double valueOf(const MiScalardSetIj& set, std::size_t i, std::size_t j, std::size_t)
{
  return set.getValue(i, j);
}
double valueOf(const MiScalardSetIjk& set, std::size_t i, std::size_t j, std::size_t k)
{
  return set.getValue(i, j, k);
}

std::size_t flatFirst(const MbCellRow& row, const MbIndex3& counts)
{
  return row.first + counts.x * (row.j + counts.y * row.k);
}

// How many of the row's cells the array has.
std::size_t available(std::size_t first, std::size_t count, std::size_t size)
{
  return first < size ? std::min(count, size - first) : 0;
}

// Calls visit(items) with items[n] the n-th value from `first` on; a pointer where there are no
// gaps, so that the compiler makes a vector loop of it.
template <class T, class Visitor>
void visitItems(const MiArrayView& view, std::size_t first, const Visitor& visit)
{
  struct Spread
  {
    const char* data;
    std::size_t stride;
    T operator[](std::size_t n) const { return *reinterpret_cast<const T*>(data + n * stride); }
  };
  const char* data = static_cast<const char*>(view.data) + first * view.stride;
  if (view.stride == sizeof(T))
    visit(reinterpret_cast<const T*>(data));
  else
    visit(Spread{data, view.stride});
}
} // namespace

void MbIndexRangeRule::setRange(MbIndex3 lower, MbIndex3 upper)
{
  m_lower = lower;
  m_upper = upper;
  m_stamp = MxTimeStamp::take();
}

void MbIndexRangeRule::accept(const MbCellRow& row, std::uint8_t* accepted) const
{
  const bool inside =
      m_lower.y <= row.j && row.j < m_upper.y && m_lower.z <= row.k && row.k < m_upper.z;
  for (std::size_t n = 0; n < row.count; ++n) {
    const std::size_t i = row.first + n;
    accepted[n] = inside && m_lower.x <= i && i < m_upper.x ? 1 : 0;
  }
}

template <class Set>
void MbValueRangeRule<Set>::accept(const MbCellRow& row, std::uint8_t* accepted) const
{
  const MbIndex3 sizes = sizesOf(*m_set);
  std::fill_n(accepted, row.count, std::uint8_t{0});
  if (row.j >= sizes.y || row.k >= sizes.z) return;
  std::size_t count = available(row.first, row.count, sizes.x);
  if (const MiArrayView view = m_set->getView()) {
    const std::size_t first = flatFirst(row, sizes);
    count = available(first, count, view.count);
    if (count == 0) return;
    visitScalarType(view.type, [&](auto kind) {
      visitItems<decltype(kind)>(view, first, [&, min = m_min, max = m_max](const auto& values) {
        for (std::size_t n = 0; n < count; ++n) {
          const double value = static_cast<double>(values[n]);
          accepted[n] = (value >= min) & (value <= max);
        }
      });
    });
    return;
  }
  for (std::size_t n = 0; n < count; ++n) {
    const double value = valueOf(*m_set, row.first + n, row.j, row.k);
    accepted[n] = value >= m_min && value <= m_max ? 1 : 0;
  }
}

template class MbValueRangeRule<MiScalardSetI>;
template class MbValueRangeRule<MiScalardSetIj>;
template class MbValueRangeRule<MiScalardSetIjk>;

MbMaskRule::MbMaskRule(MbNumbers mask, MbIndex3 cellCounts, MbMaskForm form)
    : m_mask(std::move(mask)), m_counts(cellCounts), m_form(form)
{
  const MiScalarType type = m_mask.getView().type;
  const bool floating = type == MiScalarType::Float32 || type == MiScalarType::Float64;
  if (m_form == MbMaskForm::Bit && m_mask && floating)
    throw std::invalid_argument("A mask of bits needs integer words.");
}

void MbMaskRule::accept(const MbCellRow& row, std::uint8_t* accepted) const
{
  std::fill_n(accepted, row.count, std::uint8_t{0});
  const MiArrayView& view = m_mask.getView();
  if (!view) return;
  const std::size_t first = flatFirst(row, m_counts);
  visitScalarType(view.type, [&](auto kind) {
    using T = decltype(kind);
    if (m_form == MbMaskForm::Number) {
      const std::size_t count = available(first, row.count, view.count);
      if (count == 0) return;
      visitItems<T>(view, first, [&](const auto& numbers) {
        for (std::size_t n = 0; n < count; ++n)
          accepted[n] = numbers[n] != T{};
      });
    } else if constexpr (std::is_integral_v<T>) {
      constexpr std::size_t kBits = 8 * sizeof(T);
      const std::size_t count = available(first, row.count, view.count * kBits);
      visitItems<T>(view, 0, [&](const auto& words) {
        for (std::size_t n = 0; n < count; ++n) {
          const std::size_t bit = first + n;
          const auto word = static_cast<std::make_unsigned_t<T>>(words[bit / kBits]);
          accepted[n] = static_cast<std::uint8_t>((word >> (bit % kBits)) & 1u);
        }
      });
    }
  });
}
