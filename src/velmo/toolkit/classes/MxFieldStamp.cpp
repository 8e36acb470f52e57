#include <velmo/toolkit/classes/MxFieldStamp.h>

#include <atomic>

std::uint64_t MxFieldStamp::next()
{
  static std::atomic<std::uint64_t> s_last{0};
  return ++s_last;
}

void MxFieldStamp::watch(SoField* field)
{
  if (m_sensor.getAttachedField() == field) return;
  m_sensor.detach();
  if (field) m_sensor.attach(field);
  m_stamp = next();
}
