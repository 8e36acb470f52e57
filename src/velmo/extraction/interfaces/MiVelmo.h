#pragma once

/// Start and stop of the extraction library. Counted: it is ready while starts outnumber stops.
class MiVelmo
{
public:
  /// @param flags  kept for applications, without a meaning yet
  static void init(int flags = 0);
  static void finish();
  static bool isInitialized();
};
