#include <velmo/toolkit/SoPreferences.h>

#include <cstdlib>
#include <strings.h>

SbBool SoPreferences::getBool(const char* name, SbBool defaultValue)
{
  const char* text = std::getenv(name);
  if (!text) return defaultValue;
  if (!strcasecmp(text, "1") || !strcasecmp(text, "true")) return TRUE;
  if (!strcasecmp(text, "0") || !strcasecmp(text, "false")) return FALSE;
  return defaultValue;
}
