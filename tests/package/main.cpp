#include <velmo/io.h>
#include <velmo/picture.h>

#include <cstdio>

int main()
{
  MoVelmo::init();
  std::printf("%s %s\n", MoVelmo::getProductName(), MoVelmo::getVersion());
  MoVelmo::finish();
  return MoVelmo::isInitialized() ? 1 : 0;
}
