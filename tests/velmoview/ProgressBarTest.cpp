#include <velmoview/ProgressBar.h>

#include <gmock/gmock.h>

#include <iostream>
#include <sstream>

using testing::EndsWith;
using testing::HasSubstr;

TEST(ProgressBar, LongWorkIsShownAndWipedAway)
{
  std::ostringstream terminal;
  {
    velmoview::ProgressBar bar(terminal, 0);
    bar.set(0.9); // of no work
    EXPECT_EQ(terminal.str(), "");
    bar.begin("reading a.vtu");
    bar.set(0.5);
    bar.set(0.501); // the same line
    const std::string line = terminal.str();
    EXPECT_THAT(
        line, EndsWith("reading a.vtu [" + std::string(20, '#') + std::string(20, '.') + "] 50 %"));
    EXPECT_EQ(line.find("50 %"), line.rfind("50 %"));
    bar.set(2);
    EXPECT_THAT(terminal.str(), HasSubstr("100 %"));
  }
  EXPECT_THAT(terminal.str(), EndsWith("\r\x1b[K"));
}

TEST(ProgressBar, ShortWorkAndOtherStreamsShowNothing)
{
  std::ostringstream terminal;
  velmoview::ProgressBar patient(terminal, 1000), noTerminal(terminal);
  for (velmoview::ProgressBar* bar : {&patient, &noTerminal}) {
    bar->begin("work");
    bar->set(0.5);
    bar->finish();
  }
  EXPECT_EQ(terminal.str(), "");
}
