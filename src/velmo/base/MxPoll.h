#pragma once

/// An object that is asked between the pieces of a loop whether to go on. An exception that it
/// throws ends the loop.
///
/// The loops of MxParallel.h ask the poll of the thread that calls them, also from the threads that
/// help it, so that an algorithm made of such loops need not ask.
class MxPoll
{
public:
  /// Called from several threads at a time. @throw whatever shall end the work
  virtual void poll() = 0;

  /// The calling thread's, null for none.
  static MxPoll* current();
  /// For long work that is no such loop: asks the calling thread's.
  static void ask()
  {
    if (MxPoll* own = current()) own->poll();
  }

  /// Makes a poll the calling thread's for a while.
  class Scope
  {
  public:
    explicit Scope(MxPoll* poll);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

  private:
    MxPoll* m_before;
  };

protected:
  ~MxPoll() = default;
};
