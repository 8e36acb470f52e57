#pragma once

#include <Inventor/sensors/SoFieldSensor.h>

#include <cstdint>

/// Counts the changes of a field. A stamp is never given twice, by any counter.
class MxFieldStamp
{
public:
  MxFieldStamp() : m_sensor(&MxFieldStamp::changed, this)
  {
    // At once, not when the program is idle next.
    m_sensor.setPriority(0);
  }
  MxFieldStamp(const MxFieldStamp&) = delete;
  MxFieldStamp& operator=(const MxFieldStamp&) = delete;

  /// Looks after this field from now on; null for none.
  void watch(SoField* field);
  std::uint64_t get() const { return m_stamp; }
  static std::uint64_t next();

private:
  static void changed(void* self, SoSensor*) { static_cast<MxFieldStamp*>(self)->m_stamp = next(); }

  std::uint64_t m_stamp = next();
  SoFieldSensor m_sensor;
};
