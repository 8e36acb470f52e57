#include <tests/support/WarningLog.h>

#include <Inventor/errors/SoDebugError.h>

WarningLog::WarningLog()
    : m_oldHandler(SoError::getHandlerCallback()), m_oldData(SoError::getHandlerData()),
      m_oldDebugHandler(SoDebugError::getHandlerCallback()),
      m_oldDebugData(SoDebugError::getHandlerData())
{
  SoError::setHandlerCallback(&WarningLog::handle, this);
  SoDebugError::setHandlerCallback(&WarningLog::handle, this);
}

WarningLog::~WarningLog()
{
  SoError::setHandlerCallback(m_oldHandler, m_oldData);
  SoDebugError::setHandlerCallback(m_oldDebugHandler, m_oldDebugData);
}

void WarningLog::handle(const SoError* error, void* self)
{
  std::string text = error->getDebugString().getString();
  if (error->isOfType(SoDebugError::getClassTypeId())) {
    // "Coin warning in Class::function(): text"
    const std::size_t in = text.find(" in ");
    const std::size_t end = text.find("(): ", in);
    if (in != std::string::npos && end != std::string::npos)
      text = text.substr(in + 4, end - in - 4) + ": " + text.substr(end + 4);
    if (text.starts_with("glxglue_")) return; // a new EGL context always gets one of these
  }
  static_cast<WarningLog*>(self)->m_texts.push_back(text);
}
