#include <velmoview/WarningLog.h>

#include <Inventor/errors/SoDebugError.h>

#include <algorithm>

namespace velmoview {

WarningLog::WarningLog()
    : m_errorHandler(SoError::getHandlerCallback()), m_errorData(SoError::getHandlerData()),
      m_debugHandler(SoDebugError::getHandlerCallback()),
      m_debugData(SoDebugError::getHandlerData())
{
  SoError::setHandlerCallback(&WarningLog::receive, this);
  SoDebugError::setHandlerCallback(&WarningLog::receive, this);
}

WarningLog::~WarningLog()
{
  SoError::setHandlerCallback(m_errorHandler, m_errorData);
  SoDebugError::setHandlerCallback(m_debugHandler, m_debugData);
}

void WarningLog::receive(const SoError* error, void* log)
{
  const bool debug = error->isOfType(SoDebugError::getClassTypeId());
  if (debug && static_cast<const SoDebugError*>(error)->getSeverity() == SoDebugError::INFO) return;
  const std::string text = plainWarning(error->getDebugString().getString());
  // Without a window system every new context posts one of these.
  if (text.starts_with("glxglue_")) return;
  static_cast<WarningLog*>(log)->add(text);
}

void WarningLog::add(const std::string& text)
{
  if (std::find(m_texts.begin(), m_texts.end(), text) == m_texts.end()) m_texts.push_back(text);
}

std::string plainWarning(const std::string& posted)
{
  std::string text = posted;
  for (const std::string prefix : {"Coin warning in ", "Coin error in "}) {
    if (!posted.starts_with(prefix)) continue;
    const std::size_t end = posted.find("(): ");
    if (end == std::string::npos) continue;
    text = posted.substr(prefix.size(), end - prefix.size()) + ": " + posted.substr(end + 4);
  }
  while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
    text.pop_back();
  return text;
}

} // namespace velmoview
