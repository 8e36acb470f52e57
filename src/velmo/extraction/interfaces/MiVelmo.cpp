#include <velmo/extraction/interfaces/MiVelmo.h>

namespace {
int s_startCount = 0;
}

void MiVelmo::init(int)
{
  ++s_startCount;
}

void MiVelmo::finish()
{
  if (s_startCount > 0) --s_startCount;
}

bool MiVelmo::isInitialized()
{
  return s_startCount > 0;
}
