#pragma once

#include <cmath>
#include <cstddef>

/// Three values of one type: a point, a vector, or three extents.
template <class T>
struct MbVec3
{
  T x{}, y{}, z{};

  constexpr T& operator[](std::size_t i) { return i == 0 ? x : i == 1 ? y : z; }
  constexpr const T& operator[](std::size_t i) const { return i == 0 ? x : i == 1 ? y : z; }

  friend constexpr bool operator==(const MbVec3&, const MbVec3&) = default;
  friend constexpr MbVec3 operator+(const MbVec3& a, const MbVec3& b)
  {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
  }
  friend constexpr MbVec3 operator-(const MbVec3& a, const MbVec3& b)
  {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
  }
  friend constexpr MbVec3 operator*(const MbVec3& a, T s) { return {a.x * s, a.y * s, a.z * s}; }
  constexpr MbVec3& operator+=(const MbVec3& b) { return *this = *this + b; }
};

using MbVec3d = MbVec3<double>;
using MbVec3f = MbVec3<float>;

template <class T>
constexpr T dot(const MbVec3<T>& a, const MbVec3<T>& b)
{
  return a.x * b.x + a.y * b.y + a.z * b.z;
}

template <class T>
constexpr MbVec3<T> cross(const MbVec3<T>& a, const MbVec3<T>& b)
{
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

template <class T>
T length(const MbVec3<T>& a)
{
  return std::sqrt(dot(a, a));
}

template <class T>
bool isFinite(const MbVec3<T>& a)
{
  return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}

/// Three counts or indices along I, J and K.
using MbIndex3 = MbVec3<std::size_t>;
