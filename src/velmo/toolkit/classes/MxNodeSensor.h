#pragma once

#include <Inventor/sensors/SoNodeSensor.h>

/// Remembers whether a node or anything below it was changed. *Threads*: the scene graph's.
class MxNodeSensor
{
public:
  /// @param node  borrowed; outlives the sensor. Counts as changed at first.
  explicit MxNodeSensor(SoNode* node) : m_sensor(&noticeCB, this)
  {
    m_sensor.setPriority(0);
    m_sensor.attach(node);
  }
  ~MxNodeSensor() { m_sensor.detach(); }
  MxNodeSensor(const MxNodeSensor&) = delete;
  MxNodeSensor& operator=(const MxNodeSensor&) = delete;

  bool isModified() const { return m_isModified; }
  void setModified() { m_isModified = true; }
  void reset() { m_isModified = false; }

private:
  static void noticeCB(void* self, SoSensor*) { static_cast<MxNodeSensor*>(self)->setModified(); }

  SoNodeSensor m_sensor;
  bool m_isModified = true;
};
