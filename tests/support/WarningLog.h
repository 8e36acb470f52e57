#pragma once

#include <string>
#include <vector>

class SoError;

/// Collects what is posted through the toolkit's error classes while it lives, in order, instead of
/// letting it be printed. The toolkit forgets its handlers when it is finished: a test that
/// finishes it makes a new log afterwards.
class WarningLog
{
public:
  WarningLog();
  ~WarningLog();
  WarningLog(const WarningLog&) = delete;
  WarningLog& operator=(const WarningLog&) = delete;

  /// "Function: text" for warnings and errors that name a function, the bare text for the others.
  /// What the toolkit says about making graphics contexts is left out.
  const std::vector<std::string>& texts() const { return m_texts; }
  void clear() { m_texts.clear(); }

private:
  static void handle(const SoError* error, void* self);

  std::vector<std::string> m_texts;
  void (*m_oldHandler)(const SoError*, void*);
  void* m_oldData;
  void (*m_oldDebugHandler)(const SoError*, void*);
  void* m_oldDebugData;
};
