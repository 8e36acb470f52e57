#pragma once

#include <iosfwd>
#include <string>

namespace velmoview {

/// A line on the terminal that tells how far long work has come. Short work shows nothing, and so
/// does all work where the stream is no terminal.
class ProgressBar
{
public:
  /// @param terminal  where to draw; std::cerr draws only when it is a terminal
  explicit ProgressBar(std::ostream& terminal);
  /// As on a terminal, after `delay` seconds of work.
  ProgressBar(std::ostream& terminal, double delay);
  ~ProgressBar() { finish(); }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  /// Work begins; the bar of other work is wiped away.
  void begin(std::string what);
  /// From 0 to 1.
  void set(double done);
  /// Wipes the bar away.
  void finish();

private:
  std::ostream& m_terminal;
  bool m_shown;       ///< is a terminal
  double m_delay;     ///< seconds before the first line
  std::string m_what; ///< empty when there is no work
  double m_begun = 0;
  int m_percent = -1; ///< as drawn; -1 when nothing is
};

} // namespace velmoview
