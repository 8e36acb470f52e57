#pragma once

#include <cmath>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Tells on which side of a limit numbers lie, five at a time, and whether one came so near that
/// only a closer look can tell.
class MxSideTest
{
public:
  /// Set when a number is near, or none.
  static constexpr unsigned kNear = 1u << 5;

  /// @param tolerance  a number is near when its distance from the limit is not above this
  MxSideTest(double limit, double tolerance) : m_limit(limit), m_tolerance(tolerance) {}

  /// Bit n is set when number n is below the limit; valid when kNear is not.
  template <class T>
  unsigned five(const T* numbers) const
  {
    const double last = static_cast<double>(numbers[4]) - m_limit;
    const unsigned bits = four(numbers) | (last < 0 ? 16u : 0u);
    return std::abs(last) > m_tolerance ? bits : bits | kNear;
  }

private:
#ifdef __SSE2__
  unsigned four(const double* numbers) const
  {
    return four(_mm_loadu_pd(numbers), _mm_loadu_pd(numbers + 2));
  }
  unsigned four(const float* numbers) const
  {
    const __m128 all = _mm_loadu_ps(numbers);
    return four(_mm_cvtps_pd(all), _mm_cvtps_pd(_mm_movehl_ps(all, all)));
  }
  unsigned four(__m128d a, __m128d b) const
  {
    const __m128d limit = _mm_set1_pd(m_limit), tolerance = _mm_set1_pd(m_tolerance);
    const __m128d sign = _mm_set1_pd(-0.0);
    a = _mm_sub_pd(a, limit);
    b = _mm_sub_pd(b, limit);
    const __m128d near = _mm_or_pd(_mm_cmpngt_pd(_mm_andnot_pd(sign, a), tolerance),
                                   _mm_cmpngt_pd(_mm_andnot_pd(sign, b), tolerance));
    const auto below = static_cast<unsigned>(
        _mm_movemask_ps(_mm_shuffle_ps(_mm_castpd_ps(a), _mm_castpd_ps(b), 0xdd)));
    return _mm_movemask_pd(near) ? below | kNear : below;
  }
#else
  template <class T>
  unsigned four(const T* numbers) const
  {
    unsigned bits = 0;
    for (unsigned n = 0; n < 4; ++n) {
      const double distance = static_cast<double>(numbers[n]) - m_limit;
      bits |= (distance < 0 ? 1u : 0u) << n;
      if (!(std::abs(distance) > m_tolerance)) bits |= kNear;
    }
    return bits;
  }
#endif

  double m_limit, m_tolerance;
};
