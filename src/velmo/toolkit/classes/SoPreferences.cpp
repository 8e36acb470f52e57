#include <velmo/toolkit/classes/SoPreferences.h>

#include <cstdlib>
#include <strings.h>

SbBool SoPreferences::getBool(const char* name, SbBool defaultValue)
{
  SbBool isBoolean;
  return getBool(name, defaultValue, isBoolean);
}

SbBool SoPreferences::getBool(const char* name, SbBool defaultValue, SbBool& isBoolean)
{
  isBoolean = TRUE;
  const char* text = std::getenv(name);
  if (!text) return defaultValue;
  if (!strcasecmp(text, "1") || !strcasecmp(text, "true")) return TRUE;
  if (!strcasecmp(text, "0") || !strcasecmp(text, "false")) return FALSE;
  isBoolean = FALSE;
  return defaultValue;
}

std::string SoPreferences::getString(const char* name, const char* defaultValue)
{
  const char* text = std::getenv(name);
  return text ? text : defaultValue;
}
