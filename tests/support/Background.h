#pragma once

#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/representation/MoMeshRepresentation.h>

#include <gtest/gtest.h>

#include <Inventor/sensors/SoSensorManager.h>
#include <Inventor/SoDB.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

/// An environment variable with another value for as long as this lives.
class ScopedVariable
{
public:
  ScopedVariable(const char* name, const char* value) : m_name(name)
  {
    if (const char* before = std::getenv(name)) m_before = before, m_wasSet = true;
    setenv(name, value, 1);
  }
  ~ScopedVariable()
  {
    if (m_wasSet)
      setenv(m_name, m_before.c_str(), 1);
    else
      unsetenv(m_name);
  }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
  const char* m_name;
  std::string m_before;
  bool m_wasSet = false;
};

/// A callback behind which extractions wait, at their beginning, until the gate is opened; open at
/// first.
class GateCallback final : public MiExtractorCallback
{
public:
  void beginExtract(const std::string&, std::size_t) override
  {
    ++begun;
    m_isInside = true;
    std::unique_lock lock(m_mutex);
    // A test that forgets the gate fails instead of hanging.
    if (!m_opened.wait_for(lock, std::chrono::seconds(20), [this] { return m_isOpen; }))
      ADD_FAILURE() << "the gate stayed closed";
  }
  void endExtract() override
  {
    thread = std::this_thread::get_id();
    m_isInside = false;
    ++ended;
  }
  void beginPhase(const std::string&, std::size_t) override {}
  void endPhase() override {}
  bool endStep(std::size_t) override { return !stops; }
  double getEndStepCallPeriod() const override { return 0.0; }

  void close()
  {
    const std::lock_guard lock(m_mutex);
    m_isOpen = false;
  }
  void open()
  {
    const std::lock_guard lock(m_mutex);
    m_isOpen = true;
    m_opened.notify_all();
  }
  /// Opens it from another thread, some time later.
  std::thread openLater()
  {
    return std::thread([this] {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      open();
    });
  }
  bool isInside() const { return m_isInside; }
  void waitUntilInside() const
  {
    while (!m_isInside)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  std::atomic<int> begun{0}, ended{0};
  std::atomic<bool> stops{false};
  std::thread::id thread; ///< of the last extraction

private:
  std::mutex m_mutex;
  std::condition_variable m_opened;
  bool m_isOpen = true;
  std::atomic<bool> m_isInside{false};
};

/// What an idle application does.
inline void processSensors()
{
  SoDB::getSensorManager()->processTimerQueue();
  SoDB::getSensorManager()->processDelayQueue(TRUE);
}

/// Traverses until the node has nothing left to extract.
template <class Traverse>
void settle(MoMeshRepresentation& node, const Traverse& traverse)
{
  for (traverse(); node.isExtracting(); traverse())
    node.waitForExtraction();
}
