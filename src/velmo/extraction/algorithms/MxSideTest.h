#pragma once

#include <cmath>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Tells on which side of a limit numbers lie, four at a time, and whether one came so near that
/// only a closer look can tell.
class MxSideTest
{
public:
  /// @param tolerance  a number is near when its distance from the limit is not above this; what is
  /// not a number is near, too
  MxSideTest(double limit, double tolerance)
#ifdef __SSE2__
      : m_limit(_mm_set1_pd(limit)), m_tolerance(_mm_set1_pd(tolerance)), m_near(_mm_setzero_pd())
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
    return _mm_movemask_pd(m_near) != 0;
  }

private:
  unsigned test(__m128d a, __m128d b)
  {
    a = _mm_sub_pd(a, m_limit);
    b = _mm_sub_pd(b, m_limit);
    const __m128d sign = _mm_set1_pd(-0.0);
    m_near = _mm_or_pd(m_near, _mm_or_pd(_mm_cmpngt_pd(_mm_andnot_pd(sign, a), m_tolerance),
                                         _mm_cmpngt_pd(_mm_andnot_pd(sign, b), m_tolerance)));
    return static_cast<unsigned>(
        _mm_movemask_ps(_mm_shuffle_ps(_mm_castpd_ps(a), _mm_castpd_ps(b), 0xdd)));
  }
  __m128d m_limit, m_tolerance, m_near;
#else
  template <class T>
  unsigned four(const T* numbers)
  {
    unsigned bits = 0;
    for (unsigned n = 0; n < 4; ++n) {
      const double distance = static_cast<double>(numbers[n]) - m_limit;
      bits |= (distance < 0 ? 1u : 0u) << n;
      m_near = m_near || !(std::abs(distance) > m_tolerance);
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
