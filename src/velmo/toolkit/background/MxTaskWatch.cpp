#include <velmo/toolkit/background/MxTaskWatch.h>

#include <Inventor/SbTime.h>

#include <utility>
#include <vector>

namespace {

constexpr double kPeriod = 0.02; // seconds

// Never deleted: nodes may be the statics of a program.
std::vector<MxTaskWatch*>& watches()
{
  static auto* all = new std::vector<MxTaskWatch*>;
  return *all;
}

} // namespace

MxTaskWatch::MxTaskWatch(SoSensorCB* wake, void* data) : m_timer(&lookCB, this), m_wake(wake, data)
{
  m_timer.setInterval(SbTime(kPeriod));
  watches().push_back(this);
}

MxTaskWatch::~MxTaskWatch()
{
  stop();
  std::erase(watches(), this);
}

void MxTaskWatch::watch(std::shared_ptr<const MxBackgroundTask> task,
                        std::function<bool()> isWanted)
{
  m_task = std::move(task);
  m_isWanted = std::move(isWanted);
  if (!m_timer.isScheduled()) m_timer.schedule();
}

void MxTaskWatch::stop()
{
  if (m_timer.isScheduled()) m_timer.unschedule();
  if (m_wake.isScheduled()) m_wake.unschedule();
  m_task.reset();
  m_isWanted = nullptr;
}

void MxTaskWatch::stopAll()
{
  for (MxTaskWatch* watch : watches())
    watch->stop();
}

void MxTaskWatch::lookCB(void* self, SoSensor*)
{
  auto& watch = *static_cast<MxTaskWatch*>(self);
  if (!watch.m_task || !watch.m_task->hasEnded()) return;
  watch.m_timer.unschedule();
  if (watch.m_isWanted()) watch.m_wake.schedule();
  watch.m_task.reset();
}
