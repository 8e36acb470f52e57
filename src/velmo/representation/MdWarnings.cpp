#include <velmo/representation/MdWarnings.h>

#include <Inventor/errors/SoDebugError.h>

#include <algorithm>
#include <utility>

void MdWarnings::beginTraversal()
{
  m_before = std::exchange(m_now, {});
}

void MdWarnings::post(const std::string& function, const char* text, const void* object,
                      std::uint64_t stamp)
{
  Cause cause{function, text, object, stamp};
  const auto isIn = [&](const std::vector<Cause>& known) {
    return std::find(known.begin(), known.end(), cause) != known.end();
  };
  if (isIn(m_now)) return;
  if (!isIn(m_before)) SoDebugError::postWarning(function.c_str(), "%s", text);
  m_now.push_back(std::move(cause));
}

void MdWarnings::forget()
{
  m_before.clear();
  m_now.clear();
}
