#pragma once

#include <Inventor/SbBasic.h>

/// Preferences of the user, read from the environment at each call.
class SoPreferences
{
public:
  /// True for "1" or "true", false for "0" or "false" (any case); `defaultValue` for a variable
  /// that is not set or says anything else.
  static SbBool getBool(const char* name, SbBool defaultValue);
};
