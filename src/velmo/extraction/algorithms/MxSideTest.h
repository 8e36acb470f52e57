#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Tells on which side of a limit numbers lie, four at a time, and whether one came so near that
/// only a closer look can tell.
class MxSideTest
{
public:
  /// @param tolerance  a number is near when its distance from the limit is not above this. What is
  /// not a number may lie anywhere
  MxSideTest(double limit, double tolerance)
#ifdef __SSE2__
      : m_limit(_mm_set1_pd(limit)), m_tolerance(tolerance),
        m_nearest(_mm_set1_pd(std::numeric_limits<double>::infinity()))
#else
      : m_limit(limit), m_tolerance(tolerance)
#endif
  {}

#ifdef __SSE2__
  /// Bit n is set when number n is below the limit, unless it is near.
  unsigned four(const double* numbers)
  {
    return test(_mm_loadu_pd(numbers), _mm_loadu_pd(numbers + 2));
  }
  unsigned four(const float* numbers)
  {
    const __m128 all = _mm_loadu_ps(numbers);
    return test(_mm_cvtps_pd(all), _mm_cvtps_pd(_mm_movehl_ps(all, all)));
  }
  bool wasNear() const
  {
    return std::min(_mm_cvtsd_f64(m_nearest),
                    _mm_cvtsd_f64(_mm_unpackhi_pd(m_nearest, m_nearest))) <= m_tolerance;
  }

private:
  unsigned test(__m128d a, __m128d b)
  {
    a = _mm_sub_pd(a, m_limit);
    b = _mm_sub_pd(b, m_limit);
    const __m128d sign = _mm_set1_pd(-0.0);
    m_nearest = _mm_min_pd(_mm_min_pd(_mm_andnot_pd(sign, a), _mm_andnot_pd(sign, b)), m_nearest);
    return static_cast<unsigned>(
        _mm_movemask_ps(_mm_shuffle_ps(_mm_castpd_ps(a), _mm_castpd_ps(b), 0xdd)));
  }
  __m128d m_limit;
  double m_tolerance;
  __m128d m_nearest;
#else
  template <class T>
  unsigned four(const T* numbers)
  {
    unsigned bits = 0;
    for (unsigned n = 0; n < 4; ++n) {
      const double distance = static_cast<double>(numbers[n]) - m_limit;
      bits |= (distance < 0 ? 1u : 0u) << n;
      m_near = m_near || std::abs(distance) <= m_tolerance;
    }
    return bits;
  }
  bool wasNear() const
  {
    return m_near;
  }

private:
  double m_limit, m_tolerance;
  bool m_near = false;
#endif
};
