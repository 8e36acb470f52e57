// main of the test programs that use nodes: the library is started around all tests.
#include <velmo/nodes/MoVelmo.h>

#include <gmock/gmock.h>

int main(int argc, char** argv)
{
  testing::InitGoogleMock(&argc, argv);
  MoVelmo::init();
  const int result = RUN_ALL_TESTS();
  MoVelmo::finish();
  return result;
}
