#include <velmoview/ProgressBar.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <unistd.h>

namespace velmoview {

namespace {

constexpr double kDelay = 0.4;
constexpr int kWidth = 40;
constexpr const char* kWipe = "\r\x1b[K";

double now()
{
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

ProgressBar::ProgressBar(std::ostream& terminal) : ProgressBar(terminal, kDelay)
{
  m_shown = &terminal == &std::cerr && ::isatty(STDERR_FILENO) == 1;
}

ProgressBar::ProgressBar(std::ostream& terminal, double delay)
    : m_terminal(terminal), m_shown(true), m_delay(delay)
{}

void ProgressBar::begin(std::string what)
{
  finish();
  m_what = std::move(what);
  m_begun = now();
}

void ProgressBar::set(double done)
{
  if (!m_shown || m_what.empty() || now() - m_begun < m_delay) return;
  const int percent = static_cast<int>(100 * std::clamp(done, 0.0, 1.0));
  if (percent == m_percent) return;
  m_percent = percent;
  const auto filled = static_cast<std::size_t>(percent * kWidth / 100);
  m_terminal << kWipe << m_what << " [" << std::string(filled, '#')
             << std::string(kWidth - filled, '.') << "] " << percent << " %" << std::flush;
}

void ProgressBar::finish()
{
  if (m_percent >= 0) m_terminal << kWipe << std::flush;
  m_percent = -1;
  m_what.clear();
}

} // namespace velmoview
