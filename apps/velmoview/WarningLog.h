#pragma once

#include <string>
#include <vector>

class SoError;

namespace velmoview {

/// Collects what the toolkit posts while it lives, as "MoMeshSkin::doExtract: ..."; one at a time.
/// Made after the toolkit's start, which resets its handlers. Errors and warnings count alike;
/// what the toolkit says about its own window system is left out.
class WarningLog
{
public:
  WarningLog();
  ~WarningLog();
  WarningLog(const WarningLog&) = delete;
  WarningLog& operator=(const WarningLog&) = delete;

  /// Adds a text once.
  void add(const std::string& text);
  const std::vector<std::string>& texts() const { return m_texts; }

private:
  static void receive(const SoError* error, void* log);

  using Handler = void(const SoError* error, void* data);

  std::vector<std::string> m_texts;
  Handler* m_errorHandler;
  void* m_errorData;
  Handler* m_debugHandler;
  void* m_debugData;
};

/// "Coin warning in F(): M" becomes "F: M"; other texts stay as they are.
std::string plainWarning(const std::string& posted);

} // namespace velmoview
