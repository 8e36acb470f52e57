#pragma once

#include <velmo/toolkit/background/MxBackgroundTask.h>

#include <Inventor/sensors/SoOneShotSensor.h>
#include <Inventor/sensors/SoTimerSensor.h>

#include <functional>
#include <memory>

/// Calls the traversing thread when a background task has ended.
///
/// A worker cannot schedule a sensor, since the toolkit's queues have no lock. So a timer of the
/// traversing thread looks at the task every few hundredths of a second while it runs, and
/// schedules the one-shot sensor when it has ended. Applications that process no timers notice the
/// end with their next traversal. *Threads*: the traversing thread's.
class MxTaskWatch
{
public:
  /// @param wake  called once an ended task, from the delay queue
  MxTaskWatch(SoSensorCB* wake, void* data);
  ~MxTaskWatch();
  MxTaskWatch(const MxTaskWatch&) = delete;
  MxTaskWatch& operator=(const MxTaskWatch&) = delete;

  /// Watches this task and no other.
  /// @param isWanted  asked when the task has ended: whether anyone is to be woken
  void watch(std::shared_ptr<const MxBackgroundTask> task, std::function<bool()> isWanted);
  void stop();

  /// Ends all watches, before the toolkit's queues go.
  static void stopAll();

private:
  static void lookCB(void* self, SoSensor* timer);

  SoTimerSensor m_timer;
  SoOneShotSensor m_wake;
  std::shared_ptr<const MxBackgroundTask> m_task;
  std::function<bool()> m_isWanted;
};
