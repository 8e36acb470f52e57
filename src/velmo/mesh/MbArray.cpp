#include <velmo/mesh/MbArray.h>

namespace {
template <class T>
const T* itemAt(const MiArrayView& view, std::size_t item)
{
  return reinterpret_cast<const T*>(static_cast<const char*>(view.data) + item * view.stride);
}
} // namespace

double mbNumber(const MiArrayView& view, std::size_t item, std::size_t component)
{
  return visitScalarType(view.type, [&](auto kind) {
    return static_cast<double>(itemAt<decltype(kind)>(view, item)[component]);
  });
}

std::size_t mbIndex(const MiArrayView& view, std::size_t item)
{
  return visitScalarType(view.type, [&](auto kind) -> std::size_t {
    using T = decltype(kind);
    const T value = *itemAt<T>(view, item);
    if constexpr (std::is_floating_point_v<T>) {
      // Whole numbers that a double holds exactly; NaN fails the comparison.
      const double number = value;
      const bool fits = number >= 0 && number <= 9007199254740992.0;
      const std::size_t index = fits ? static_cast<std::size_t>(number) : 0;
      return fits && static_cast<double>(index) == number ? index
                                                          : std::numeric_limits<std::size_t>::max();
    } else {
      return static_cast<std::size_t>(value);
    }
  });
}

MbVec3d mbPoint(const MiArrayView& view, std::size_t item)
{
  return visitScalarType(view.type, [&](auto kind) -> MbVec3d {
    const auto* p = itemAt<decltype(kind)>(view, item);
    return {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])};
  });
}
