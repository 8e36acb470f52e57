#include <velmo/io/MxInpDeck.h>

#include <velmo/io/MxIncludes.h>
#include <velmo/io/MxNumberText.h>

#include <algorithm>
#include <cstring>

namespace {

const char* behindLine(const char* p, const char* end)
{
  const auto* found =
      static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
  return found ? found + 1 : end;
}

std::string_view trimmed(std::string_view text)
{
  while (!text.empty() && isBlank(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back()))
    text.remove_suffix(1);
  return text;
}

/// The '*' that begins the next line of a keyword or a comment; `end` when there is none.
const char* nextStar(const char* first, const char* end)
{
  for (const char* p = first; p < end; ++p) {
    p = static_cast<const char*>(std::memchr(p, '*', static_cast<std::size_t>(end - p)));
    if (!p) return end;
    const char* line = p;
    while (line > first && line[-1] != '\n' && isBlank(line[-1]))
      --line;
    if (line == first || line[-1] == '\n') return p;
  }
  return end;
}

bool isComment(const char* p, const char* end)
{
  return end - p > 1 && p[1] == '*';
}

bool startsWithLetter(const char* p, const char* end)
{
  while (p < end && isBlank(*p) && *p != '\n')
    ++p;
  return p < end && ((*p >= 'a' && *p <= 'z') || (*p >= 'A' && *p <= 'Z'));
}

/// The keyword's line at `p` and those that go on behind a comma; moves `p` behind them.
MxInpBlock parseKeyword(const char*& p, const char* end)
{
  MxInpBlock block;
  block.where = p++;
  bool last = false;
  block.name = mxInpName(mxInpField(p, end, last));
  while (!last) {
    const std::string_view field = mxInpField(p, end, last);
    if (field.empty()) {
      // A comma at the end of the line: the list goes on in the next one.
      if (last) last = !startsWithLetter(p, end);
      continue;
    }
    const std::size_t equals = field.find('=');
    std::string_view value = equals == field.npos ? "" : trimmed(field.substr(equals + 1));
    if (value.size() > 1 && (value.front() == '"' || value.front() == '\'') &&
        value.back() == value.front())
      value = value.substr(1, value.size() - 2);
    block.parameters.emplace_back(mxInpName(field.substr(0, equals)), value);
  }
  return block;
}

/// The data up to the next keyword; moves `p` to it.
std::vector<std::string_view> takeData(const char*& p, const char* end)
{
  std::vector<std::string_view> data;
  for (;;) {
    const char* const star = nextStar(p, end);
    if (star > p) data.emplace_back(p, static_cast<std::size_t>(star - p));
    p = star;
    if (p == end || !isComment(p, end)) return data;
    p = behindLine(p, end);
  }
}

} // namespace

const std::string* MxInpBlock::value(std::string_view parameter) const
{
  for (const auto& [key, text] : parameters)
    if (key == parameter) return &text;
  return nullptr;
}

std::string mxInpName(std::string_view text)
{
  std::string name;
  for (const char c : trimmed(text)) {
    if (isBlank(c)) {
      if (name.back() != ' ') name += ' ';
    } else {
      name += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
  }
  return name;
}

std::string_view mxInpField(const char*& where, const char* end, bool& last)
{
  const char* const first = where;
  while (where < end && *where != ',' && *where != '\n')
    ++where;
  last = where == end || *where == '\n';
  const std::string_view field(first, static_cast<std::size_t>(where - first));
  if (where < end) ++where;
  return trimmed(field);
}

MxInpDeck::MxInpDeck(const MxFileBytes& root, const Visitor& visit) : m_visit(visit)
{
  scan(root);
}

void MxInpDeck::scan(const MxFileBytes& file)
{
  m_open.push_back(&file);
  const char* const end = file.end();
  const char* p = file.begin();
  // A file that is included may begin with data of the keyword before.
  if (m_open.size() > 1) goOn(file, takeData(p, end));
  p = nextStar(p, end);
  while (p < end) {
    if (isComment(p, end)) {
      p = nextStar(behindLine(p, end), end);
      continue;
    }
    MxInpBlock block = parseKeyword(p, end);
    block.file = &file;
    block.data = takeData(p, end);
    if (block.name == "INCLUDE") {
      const std::string* name = block.value("INPUT");
      if (!name) block.fail("names no INPUT");
      const auto included = mxOpenInclude(*name, block.where, m_open, m_included++);
      scan(*included);
      goOn(file, std::move(block.data));
      continue;
    }
    m_visit(block);
    block.data.clear();
    m_last = std::move(block);
  }
  m_open.pop_back();
}

void MxInpDeck::goOn(const MxFileBytes& file, std::vector<std::string_view> data)
{
  const bool any = std::any_of(data.begin(), data.end(),
                               [](std::string_view text) { return !trimmed(text).empty(); });
  if (!any || m_last.name.empty()) return;
  MxInpBlock block = m_last;
  block.file = &file;
  block.where = data.front().data();
  block.data = std::move(data);
  m_visit(block);
}
