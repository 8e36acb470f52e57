#include <velmo/toolkit/classes/MxTextRegistry.h>

#include <map>

namespace {
std::map<std::string_view, const char*>& texts()
{
  static std::map<std::string_view, const char*> s_texts;
  return s_texts;
}
} // namespace

void MxTextRegistry::addInMemoryTextFile(const char* name, const char* text)
{
  texts()[name] = text;
}

void MxTextRegistry::removeInMemoryTextFile(const char* name)
{
  texts().erase(name);
}

const char* MxTextRegistry::find(std::string_view name)
{
  const auto found = texts().find(name);
  return found == texts().end() ? nullptr : found->second;
}
