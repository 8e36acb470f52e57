#pragma once

#include <Inventor/SbBasic.h>

#include <string>

/// Preferences of the user, read from the environment at each call.
class SoPreferences
{
public:
  /// True for "1" or "true", false for "0" or "false" (any case); `defaultValue` for a variable
  /// that is not set or says anything else.
  static SbBool getBool(const char* name, SbBool defaultValue);
  /// @param isBoolean  set to whether the variable says one of these words or is not set
  static SbBool getBool(const char* name, SbBool defaultValue, SbBool& isBoolean);
  /// The text of a variable, `defaultValue` for one that is not set.
  static std::string getString(const char* name, const char* defaultValue);
};
