#include <velmo/io/MxGrdeclDeck.h>

#include <velmo/io/MxIncludes.h>
#include <velmo/io/MxNumberText.h>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

// Keywords that stand alone.
constexpr std::string_view kAlone[] = {
    "NOECHO",  "ECHO",     "RUNSPEC", "GRID",    "EDIT",    "PROPS",  "REGIONS", "SOLUTION",
    "SUMMARY", "SCHEDULE", "INIT",    "METRIC",  "FIELD",   "LAB",    "OIL",     "WATER",
    "GAS",     "DISGAS",   "VAPOIL",  "NEWTRAN", "OLDTRAN", "UNIFIN", "UNIFOUT", "FMTIN",
    "FMTOUT",  "NONNC",    "ENDBOX",  "NOGGF",   "ENDSKIP"};
// Keywords of several records, each ended by a '/', and another '/' behind the last.
constexpr std::string_view kRecords[] = {
    "EQUALS", "COPY",    "ADD",      "MULTIPLY", "MINVALUE", "MAXVALUE", "COPYBOX", "EQUALREG",
    "ADDREG", "COPYREG", "MULTIREG", "OPERATE",  "OPERATER", "FAULTS",   "MULTFLT", "MULTREGT",
    "NNC",    "AQUCON",  "AQUANCON", "THPRES",   "EDITNNC",  "CARFIN",   "REFINE",  "AMALGAM"};

template <std::size_t N>
bool isOneOf(const std::string_view (&list)[N], std::string_view word)
{
  return std::find(std::begin(list), std::end(list), word) != std::end(list);
}

bool isCapital(char c)
{
  return c >= 'A' && c <= 'Z';
}

bool isLetter(char c)
{
  return isCapital(c) || (c >= 'a' && c <= 'z');
}

/// Of letters, and digits and the like behind the first one; 0 when there is no keyword.
std::size_t keywordLength(const char* p, const char* end)
{
  if (p == end || !isLetter(*p)) return 0;
  const char* q = p;
  while (q < end &&
         (isLetter(*q) || (*q >= '0' && *q <= '9') || *q == '_' || *q == '-' || *q == '+'))
    ++q;
  // A keyword ends with a blank; "A--" is one and a comment.
  const std::string_view word(p, static_cast<std::size_t>(q - p));
  const std::size_t comment = word.find("--");
  if (comment != word.npos) return comment;
  return q == end || isBlank(*q) || *q == '/' ? word.size() : 0;
}

const char* lineEnd(const char* p, const char* end)
{
  const auto* found =
      static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
  return found ? found : end;
}

bool isComment(const char* p, const char* end)
{
  return end - p >= 2 && p[0] == '-' && p[1] == '-';
}

const char* skipBlank(const char* p, const char* end)
{
  for (;;) {
    while (p < end && isBlank(*p))
      ++p;
    if (!isComment(p, end)) return p;
    p = lineEnd(p, end);
  }
}

/// Nothing but a keyword stands on the line of `p`; "nan" is none.
bool isKeywordLine(const char* p, const char* end)
{
  const std::size_t length = keywordLength(p, end);
  if (length == 0 || !isCapital(*p)) return false;
  const char* const last = lineEnd(p, end);
  p += length;
  while (p < last && isBlank(*p))
    ++p;
  return p == last || isComment(p, last);
}

/// The '/' that ends what begins at `first`: none of a comment or a text in quotes. Null when there
/// is none.
const char* findSlash(const char* first, const char* end)
{
  for (const char* p = first; p < end; ++p) {
    const char* line =
        static_cast<const char*>(std::memchr(p, '/', static_cast<std::size_t>(end - p)));
    if (!line) return nullptr;
    while (line > p && line[-1] != '\n')
      --line;
    bool quoted = false;
    for (p = line; p < end && *p != '\n'; ++p) {
      quoted ^= *p == '\'';
      if (quoted) continue;
      if (*p == '/') return p;
      if (isComment(p, end)) {
        p = lineEnd(p, end);
        break;
      }
    }
  }
  return nullptr;
}

} // namespace

MxGrdeclDeck::MxGrdeclDeck(const MxFileBytes& root)
{
  scan(root);
}

void MxGrdeclDeck::scan(const MxFileBytes& file)
{
  m_open.push_back(&file);
  const char* const end = file.end();
  for (const char* p = skipBlank(file.begin(), end); p < end; p = skipBlank(p, end)) {
    if (*p == '/') { // ends the records of a keyword that is not known
      p = lineEnd(p, end);
      continue;
    }
    const std::size_t length = keywordLength(p, end);
    MxDeckSection section{{p, length}, {}, &file};
    if (length == 0) {
      const char* after = p;
      const std::string_view word = mxNextWord(after, end);
      file.failAtLine(p, mxQuoted(word) + " stands where a keyword should");
    }
    p += length;
    if (section.name == "END" || section.name == "ENDINC") break;
    if (section.name == "TITLE") {
      p = lineEnd(skipBlank(p, end), end);
      continue;
    }
    if (section.name.starts_with("SKIP")) {
      while (p < end && std::string_view(p, keywordLength(p, end)) != "ENDSKIP")
        p = skipBlank(lineEnd(p, end), end);
      continue;
    }
    if (isOneOf(kAlone, section.name)) continue;

    if (isOneOf(kRecords, section.name)) {
      m_leftOut.emplace_back(section.name);
      for (p = skipBlank(p, end); p < end && *p != '/'; p = skipBlank(p, end)) {
        p = findSlash(p, end);
        if (!p) section.fail("is not ended by '/'");
        p = lineEnd(p, end);
      }
      continue;
    }
    const char* const data = skipBlank(p, end);
    // Another keyword follows: this one, whatever it is, has no data.
    if (data == end || isKeywordLine(data, end)) {
      p = data;
      continue;
    }
    const bool include = section.name == "INCLUDE";
    const char* slash = nullptr;
    if (include && *data != '\'') { // a path without quotes has slashes of its own
      slash = data;
      while (slash < end && !isBlank(*slash))
        ++slash;
      section.text = {data, static_cast<std::size_t>(slash - data)};
    } else {
      slash = findSlash(data, end);
      if (!slash) section.fail("is not ended by '/'");
      section.text = {p, static_cast<std::size_t>(slash - p)};
    }
    p = lineEnd(slash, end);
    if (include)
      this->include(section);
    else
      m_sections.push_back(section);
  }
  m_open.pop_back();
}

void MxGrdeclDeck::include(const MxDeckSection& section)
{
  std::string_view name = section.text;
  const std::size_t quote = name.find('\'');
  if (quote != name.npos) {
    name.remove_prefix(quote + 1);
    name = name.substr(0, name.find('\''));
  }
  m_files.push_back(mxOpenInclude(std::string(name), section.name.data(), m_open, m_files.size()));
  scan(*m_files.back());
}

// ---- numbers

std::string_view mxNextDeckWord(const char*& where, const char* end)
{
  where = skipBlank(where, end);
  return mxNextWord(where, end);
}

namespace {

/// What a piece of text holds besides plain numbers.
enum CharacterFlag : std::uint8_t
{
  kPlain = 0,
  kDecimal = 1,
  kCareful = 2 ///< repeats, quotes, and whatever else is no part of a number
};

struct CharacterFlags
{
  std::array<std::uint8_t, 256> flags{};
  constexpr CharacterFlags()
  {
    for (std::size_t c = 0; c < 256; ++c) {
      const bool digit = c >= '0' && c <= '9';
      flags[c] = c <= ' ' || digit || c == '-' || c == '+' ? kPlain
                 : c == '.' || c == 'e' || c == 'E'        ? kDecimal
                                                           : kDecimal | kCareful;
    }
    flags['*'] = kCareful;
  }
};
constexpr CharacterFlags kCharacters;

/// Calls visit(word) for the words of a piece, without comments, until it answers false.
template <class Visit>
void forWords(std::string_view piece, const Visit& visit)
{
  const char* const end = piece.data() + piece.size();
  for (const char* p = skipBlank(piece.data(), end); p < end; p = skipBlank(p, end))
    if (!visit(mxNextWord(p, end))) return;
}

/// A word as a value and how often it stands there.
struct Repeat
{
  std::size_t times = 1;
  std::string_view value; ///< empty for the default
  bool isValid = true;
};

Repeat repeatOf(std::string_view word)
{
  Repeat repeat{1, word};
  const std::size_t star = word.find('*');
  if (star == word.npos) return repeat;
  repeat.value = word.substr(star + 1);
  if (star == 0) { // "*" is one default
    repeat.isValid = repeat.value.empty();
    return repeat;
  }
  const auto [next, error] = std::from_chars(word.data(), word.data() + star, repeat.times);
  if (error == std::errc::result_out_of_range) repeat.times = std::string_view::npos;
  repeat.isValid = next == word.data() + star && repeat.times > 0;
  return repeat;
}

bool parseValue(std::string_view word, double& value)
{
  return mxParseReal(word, value);
}
bool parseValue(std::string_view word, std::int32_t& value)
{
  return mxParseNumber(word, value);
}

struct PieceFacts
{
  bool whole = true, careful = false, defaults = false;
};

std::size_t countPiece(std::string_view piece, PieceFacts& facts, MxTextFault& fault)
{
  std::size_t words = 0;
  std::uint8_t flags = 0;
  char before = ' ';
  bool comment = false;
  for (const char c : piece) {
    words += static_cast<std::size_t>(!isBlank(c)) & static_cast<std::size_t>(isBlank(before));
    flags = static_cast<std::uint8_t>(flags | kCharacters.flags[static_cast<unsigned char>(c)]);
    comment |= (c == '-' ? 1 : 0) & (before == '-' ? 1 : 0);
    before = c;
  }
  facts.careful = comment || (flags & kCareful);
  facts.whole = !(flags & kDecimal);
  if (!facts.careful) return words;

  // Comments and repeats do not count as they stand.
  words = 0;
  facts.whole = true;
  forWords(piece, [&](std::string_view word) {
    const Repeat repeat = repeatOf(word);
    if (!repeat.isValid) fault.set(word.data(), mxQuoted(word) + " is no repeated number");
    facts.defaults |= repeat.value.empty();
    for (const char c : repeat.value)
      facts.whole &= !(kCharacters.flags[static_cast<unsigned char>(c)] & kDecimal);
    words = mxSaturatingSum(words, repeat.times);
    return !fault.where;
  });
  return words;
}

template <class T>
void readPiece(const MxDeckNumbers::Piece& piece, std::string_view name, T* to, T standard,
               MxTextFault& fault)
{
  T* const end = to + piece.count;
  const auto refuse = [&](std::string_view word) {
    fault.set(word.data(), mxQuoted(word) + " in " + std::string(name) + " is not a number");
  };
  const char* p = piece.text.data();
  const char* const last = p + piece.text.size();
  if (!piece.careful) {
    while (to < end) {
      while (p < last && isBlank(*p))
        ++p;
      const auto [next, error] = std::from_chars(p, last, *to);
      if (error == std::errc() && (next == last || isBlank(*next))) {
        p = next;
        ++to;
        continue;
      }
      const std::string_view word = mxNextWord(p, last);
      if (!parseValue(word, *to++)) return refuse(word);
    }
    return;
  }
  forWords(piece.text, [&](std::string_view word) {
    const Repeat repeat = repeatOf(word);
    T value = standard;
    if (!repeat.value.empty() && !parseValue(repeat.value, value)) {
      refuse(word);
      return false;
    }
    const std::size_t times = std::min(repeat.times, static_cast<std::size_t>(end - to));
    to = std::fill_n(to, times, value);
    return true;
  });
}

template <class T>
MxFileArray readNumbers(const MxDeckSection& section, const MxDeckNumbers& numbers, T standard,
                        bool parallel, MxTextFault& fault)
{
  auto array = MxFileArray::of<T>(numbers.count);
  std::vector<MxTextFault> faults(numbers.pieces.size());
  forEachTask(parallel, faults.size(), [&](std::size_t i) {
    const MxDeckNumbers::Piece& piece = numbers.pieces[i];
    T* const to = array.template as<T>() + piece.first;
    readPiece(piece, section.name, to, standard, faults[i]);
  });
  mxKeepFirst(fault, faults);
  return array;
}

} // namespace

MxDeckNumbers mxCountDeckNumbers(const MxDeckSection& section, bool parallel)
{
  MxDeckNumbers numbers;
  for (const std::string_view text : mxTextPieces(section.text))
    numbers.pieces.push_back({text});
  std::vector<PieceFacts> facts(numbers.pieces.size());
  std::vector<MxTextFault> faults(facts.size());
  forEachTask(parallel, facts.size(), [&](std::size_t i) {
    numbers.pieces[i].count = countPiece(numbers.pieces[i].text, facts[i], faults[i]);
  });
  MxTextFault fault;
  mxKeepFirst(fault, faults);
  if (fault.where) section.file->failAtLine(fault.where, fault.problem);
  for (std::size_t i = 0; i < facts.size(); ++i) {
    MxDeckNumbers::Piece& piece = numbers.pieces[i];
    piece.first = numbers.count;
    piece.careful = facts[i].careful;
    numbers.count = mxSaturatingSum(numbers.count, piece.count);
    numbers.whole &= facts[i].whole;
    numbers.defaults |= facts[i].defaults;
  }
  return numbers;
}

MxFileArray mxReadDeckNumbers(const MxDeckSection& section, const MxDeckNumbers& numbers,
                              MiScalarType type, double standard, bool parallel, MxTextFault& fault)
{
  if (type == MiScalarType::Int32)
    return readNumbers(section, numbers, static_cast<std::int32_t>(standard), parallel, fault);
  return readNumbers(section, numbers, standard, parallel, fault);
}
