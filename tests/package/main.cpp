#include <velmo/nodes/MoVelmo.h>
#include <velmo/toolkit/MxOffscreenCanvas.h>

#include <cstdio>

int main()
{
  MoVelmo::init();
  std::printf("%s %s\n", MoVelmo::getProductName(), MoVelmo::getVersion());
  MoVelmo::finish();
  return MoVelmo::isInitialized() ? 1 : 0;
}
