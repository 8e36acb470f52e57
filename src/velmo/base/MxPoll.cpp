#include <velmo/base/MxPoll.h>

#include <utility>

namespace {
thread_local MxPoll* t_poll = nullptr;
} // namespace

MxPoll* MxPoll::current()
{
  return t_poll;
}

MxPoll::Scope::Scope(MxPoll* poll) : m_before(std::exchange(t_poll, poll)) {}

MxPoll::Scope::~Scope()
{
  t_poll = m_before;
}
