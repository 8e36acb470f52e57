#include <velmo/toolkit/shapes/MxTextFont.h>

#include <cstdlib>

SbName mxTextFont()
{
  const char* wanted = std::getenv("VELMO_FONT");
  return wanted && *wanted ? wanted : "DejaVu Sans";
}

void mxFindTextLibraries()
{
  // It looks for names that come with the headers, unless it is told others.
  setenv("COIN_FONTCONFIG_LIBNAME", "libfontconfig.so.1", 0);
  setenv("COIN_FREETYPE2_LIBNAME", "libfreetype.so.6", 0);
}
