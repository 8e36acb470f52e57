#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MiArrayView.h>

#include <array>
#include <limits>
#include <memory>
#include <ranges>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace velmo_detail {
template <class T>
struct ArrayItem
{
  using Scalar = T;
  static constexpr std::size_t kComponents = 1;
};
template <class T>
requires std::is_enum_v<T>
struct ArrayItem<T>
{
  using Scalar = std::underlying_type_t<T>;
  static constexpr std::size_t kComponents = 1;
};
template <class T>
struct ArrayItem<MbVec3<T>>
{
  using Scalar = T;
  static constexpr std::size_t kComponents = 3;
};
template <class T>
struct ArrayItem<std::array<T, 3>>
{
  using Scalar = T;
  static constexpr std::size_t kComponents = 3;
};

template <class T>
concept Number = std::is_arithmetic_v<typename ArrayItem<T>::Scalar> &&
                 !std::is_same_v<typename ArrayItem<T>::Scalar, bool> &&
                 sizeof(typename ArrayItem<T>::Scalar) <= 8;
} // namespace velmo_detail

/// Item `item` of an array of numbers as a double; `component` 0 to 2 of an array of triples.
/// The caller has checked `item` against the view's count.
double mbNumber(const MiArrayView& view, std::size_t item, std::size_t component = 0);
/// Item `item` as an index. Negative and fractional numbers give a huge one, which no range check
/// lets pass.
std::size_t mbIndex(const MiArrayView& view, std::size_t item);
/// Item `item` of an array of points or vectors.
MbVec3d mbPoint(const MiArrayView& view, std::size_t item);

/// An array that an application gives to a ready-made mesh, data set or filter: of any numeric
/// type, and never copied.
///
/// *Ownership*: lvalue containers and spans are borrowed and stay alive and unchanged while the
/// mesh is read; a std::vector rvalue is moved in; a view may bring an owner to keep. Copies share
/// the array.
///
/// @tparam Components  1 for numbers; 3 for points and vectors, given as triples (MbVec3<T>,
///                     std::array<T, 3>) or as numbers, three an item
template <std::size_t Components>
class MbArray
{
public:
  MbArray() = default;

  template <std::ranges::contiguous_range Range>
  requires std::ranges::borrowed_range<Range> &&
      velmo_detail::Number<std::ranges::range_value_t<Range>>
      MbArray(Range&& values)
      : m_view(viewOf<std::ranges::range_value_t<Range>>(std::ranges::data(values),
                                                         std::ranges::size(values)))
  {}

  template <velmo_detail::Number T>
  MbArray(std::vector<T>&& values)
  {
    auto owned = std::make_shared<const std::vector<T>>(std::move(values));
    m_view = viewOf<T>(owned->data(), owned->size());
    m_owner = std::move(owned);
  }

  /// @param view   any layout, gaps between the items included
  /// @param owner  kept as long as the array, null for a borrowed one
  explicit MbArray(const MiArrayView& view, std::shared_ptr<const void> owner = {})
      : m_view(view.count == 0 ? MiArrayView{} : view), m_owner(std::move(owner))
  {}

  const MiArrayView& getView() const { return m_view; }
  /// Items, not components.
  std::size_t size() const { return m_view.count; }
  explicit operator bool() const { return static_cast<bool>(m_view); }

private:
  template <class T>
  static MiArrayView viewOf(const T* data, std::size_t size)
  {
    using Item = velmo_detail::ArrayItem<T>;
    using Scalar = typename Item::Scalar;
    static_assert(Item::kComponents == 1 || Item::kComponents == Components,
                  "an array of numbers was given triples");
    static_assert(sizeof(T) == Item::kComponents * sizeof(Scalar));
    if (size == 0) return {};
    if constexpr (Item::kComponents == Components)
      return {data, kMiScalarTypeOf<Scalar>, size, sizeof(T)};
    if (size % Components != 0)
      throw std::invalid_argument("An array of points needs three numbers a point.");
    return {data, kMiScalarTypeOf<Scalar>, size / Components, Components * sizeof(T)};
  }

  MiArrayView m_view;
  std::shared_ptr<const void> m_owner;
};

using MbNumbers = MbArray<1>;
using MbPoints = MbArray<3>;
