#include <velmoview/Run.h>

#include <csignal>
#include <iostream>

int main(int argc, char** argv)
{
  // A file that gets too large for the user's limit is an error like any other, not the end.
  std::signal(SIGXFSZ, SIG_IGN);
  return velmoview::run({argv + 1, argv + argc}, std::cout, std::cerr);
}
