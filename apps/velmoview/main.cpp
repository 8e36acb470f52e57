#include <velmoview/Run.h>

#include <iostream>

int main(int argc, char** argv)
{
  return velmoview::run({argv + 1, argv + argc}, std::cout, std::cerr);
}
