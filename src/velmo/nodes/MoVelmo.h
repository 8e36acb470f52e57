#pragma once

#include <cstdint>

/// Start and stop of the library, counted. Its nodes may be made while it is started and not be
/// used after the last stop. *Threads*: the thread that traverses scenes.
class MoVelmo
{
public:
  MoVelmo() = delete;

  /// Starts the scene-graph toolkit and the extraction library, and registers every class when it
  /// is the first start. Returns how many starts are open now.
  /// @param flags  handed to the extraction library
  static int init(int flags);
  static int init();
  /// Undoes one start; the last one removes the classes, and stops the toolkit unless the
  /// application had started that itself. Does nothing when no start is open. Should the
  /// application stop the toolkit first, no start is open any more.
  static void finish();
  static bool isInitialized();

  static const char* getVersion();
  static const char* getProductName();

private:
  static void toolkitEnds();

  static std::int32_t s_initRefCount;
};
