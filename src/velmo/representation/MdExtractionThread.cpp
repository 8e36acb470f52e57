#include <velmo/representation/MdExtractionThread.h>

#include <velmo/representation/MoMeshRepresentation.h>

#include <algorithm>

MdExtractionThreadBase::ProgressIndicator::ProgressIndicator(SoRef<MdUserExtractorCallback> user)
    : m_user(std::move(user)), m_target(m_user->getTarget())
{}

bool MdExtractionThreadBase::ProgressIndicator::endStep(std::size_t stepsDone)
{
  if (!isAbortRequested() && !Forwarding::endStep(stepsDone)) requestAbort();
  return !isAbortRequested();
}

double MdExtractionThreadBase::ProgressIndicator::getEndStepCallPeriod() const
{
  return std::min(0.3, Forwarding::getEndStepCallPeriod());
}

MdExtractionThreadBase::MdExtractionThreadBase(MoMeshRepresentation& owner)
    : m_owner(owner), m_watch(&updateShapeSensorCB, &owner)
{}

MdExtractionThreadBase::~MdExtractionThreadBase()
{
  m_watch.stop();
  requestAbort();
  wait();
}

void MdExtractionThreadBase::requestAbort()
{
  if (m_task) m_task->requestAbort();
}

void MdExtractionThreadBase::wait() const
{
  if (m_task) m_task->wait();
}

SoRef<MdUserExtractorCallback> MdExtractionThreadBase::getUserCallback() const
{
  return SoRef<MdUserExtractorCallback>(&m_owner.getUserCallback());
}

void MdExtractionThreadBase::start(SoState* state, MxBackgroundTask::Inputs inputs,
                                   std::shared_ptr<Outcome> outcome, std::function<void()> work,
                                   std::shared_ptr<ProgressIndicator> progress)
{
  m_cache = MdExtractionThreadCache::build(state);
  m_outcome = std::move(outcome);
  m_task = MxBackgroundTask::start(std::move(inputs), std::move(work),
                                   [progress] { progress->requestAbort(); });
  // Whoever sees old results redraws, also after an abort: something newer is wanted then. What the
  // user stopped stays stopped until something else brings a traversal.
  m_watch.watch(m_task, [task = m_task, told = m_outcome] {
    return task->isAbortRequested() || !told->cancelled;
  });
}

bool MdExtractionThreadBase::finish()
{
  const std::shared_ptr<MxBackgroundTask> task = std::exchange(m_task, nullptr);
  m_watch.stop();
  m_cache.reset();
  // An abort that came after the last step of the work counts as well.
  if (task->isAbortRequested() || m_outcome->cancelled) return false;
  if (std::exception_ptr failure = task->getFailure()) std::rethrow_exception(failure);
  return true;
}

void MdExtractionThreadBase::updateShapeSensorCB(void* owner, SoSensor*)
{
  static_cast<MoMeshRepresentation*>(owner)->touch();
}
