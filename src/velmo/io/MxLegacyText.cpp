#include <velmo/io/MxLegacyText.h>
#include <velmo/io/MxNumberText.h>

#include <algorithm>

namespace {

struct TypeName
{
  const char* name;
  MiScalarType type;
  bool isId = false;
};
constexpr TypeName kTypes[] = {{"float", MiScalarType::Float32},
                               {"double", MiScalarType::Float64},
                               {"int", MiScalarType::Int32},
                               {"unsigned_int", MiScalarType::UInt32},
                               {"short", MiScalarType::Int16},
                               {"unsigned_short", MiScalarType::UInt16},
                               {"char", MiScalarType::Int8},
                               {"signed_char", MiScalarType::Int8},
                               {"unsigned_char", MiScalarType::UInt8},
                               {"long", MiScalarType::Int64},
                               {"unsigned_long", MiScalarType::UInt64},
                               {"vtktypeint64", MiScalarType::Int64},
                               {"vtktypeuint64", MiScalarType::UInt64},
                               {"vtkidtype", MiScalarType::Int32, true}};

const TypeName* findType(std::string_view name)
{
  const std::string wanted = mxLowered(name);
  const auto* found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                   [&](const TypeName& type) { return wanted == type.name; });
  return found == std::end(kTypes) ? nullptr : found;
}

} // namespace

std::string mxLowered(std::string_view word)
{
  std::string text(word);
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

std::string mxDecodedName(std::string_view word)
{
  const auto digit = [](char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                  : -1;
  };
  std::string name;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (word[i] == '%' && i + 2 < word.size() && digit(word[i + 1]) >= 0 && digit(word[i + 2]) >= 0)
    {
      name += static_cast<char>(digit(word[i + 1]) * 16 + digit(word[i + 2]));
      i += 2;
    } else {
      name += word[i];
    }
  }
  return name;
}

std::string_view MxLegacyText::word()
{
  const std::string_view found = mxNextWord(m_at, m_end);
  m_word = found.data();
  return found;
}
std::string_view MxLegacyText::wordFor(const char* what)
{
  const std::string_view found = word();
  if (found.empty()) fail(std::string("the file ends where ") + what + " should be");
  return found;
}
std::string_view MxLegacyText::restOfLine()
{
  const char* first = m_at;
  while (m_at < m_end && *m_at != '\n')
    ++m_at;
  std::string_view line(first, static_cast<std::size_t>(m_at - first));
  if (m_at < m_end) ++m_at;
  while (!line.empty() && isBlank(line.back()))
    line.remove_suffix(1);
  return line;
}

std::size_t MxLegacyText::count(const char* what)
{
  const std::string_view text = wordFor(what);
  std::int64_t value = 0;
  if (!mxParseNumber(text, value))
    fail(std::string(what) + " " + mxQuoted(text) + " is not a count");
  if (value < 0) fail(std::string(what) + " " + std::to_string(value) + " is negative");
  return static_cast<std::size_t>(value);
}
double MxLegacyText::number(const char* what)
{
  const std::string_view text = wordFor(what);
  double value = 0;
  if (!mxParseNumber(text, value))
    fail(std::string(what) + " " + mxQuoted(text) + " is not a number");
  return value;
}
MbVec3d MxLegacyText::numbers3(const char* what)
{
  MbVec3d result;
  for (std::size_t i = 0; i < 3; ++i)
    result[i] = number(what);
  return result;
}

void MxLegacyText::checkFits(std::size_t items, std::size_t numbersEach,
                             const std::string& what) const
{
  const auto left = static_cast<std::size_t>(m_end - m_at);
  if (numbersEach > 0 && items > (left * 8 + 8) / numbersEach)
    fail(what + " should have " + std::to_string(items) + " items, but only " +
         std::to_string(left) + " bytes follow");
}

MxFileArray MxLegacyText::list(std::string_view typeName, std::size_t items,
                               std::size_t numbersEach, const std::string& what)
{
  checkFits(items, numbersEach, what);
  const std::size_t total = items * numbersEach;
  if (mxLowered(typeName) == "bit") return bits(total, what);
  return list(typeOf(typeName, what), total, what);
}

MiScalarType MxLegacyText::typeOf(std::string_view typeName, const std::string& what) const
{
  const TypeName* type = findType(typeName);
  if (!type) fail(what + " has the type " + mxQuoted(typeName) + ", which is not known");
  // Ids are written with 32 bits in binary files, whatever the writer's own have.
  return type->isId && !m_binary ? MiScalarType::Int64 : type->type;
}

MxFileArray MxLegacyText::list(MiScalarType type, std::size_t total, const std::string& what,
                               bool narrow)
{
  mxReport(m_request, m_file, m_at);
  narrow = narrow && type == MiScalarType::Int64;
  const std::size_t width = scalarSize(type);
  MxFileArray text;
  const void* from = nullptr;
  if (m_binary) {
    from = bytes(total, width, what);
  } else {
    text = mxReadNumbers(m_file, m_at, m_end, type, total, what, m_parallel);
    if (!narrow) return text;
    from = text.data.get();
  }
  const bool swap = m_binary && std::endian::native == std::endian::little;
  MxFileArray array(narrow ? MiScalarType::Int32 : type, total);
  if (narrow)
    mxCopyNarrowed(array.as<std::int32_t>(), from, total, swap, m_parallel);
  else
    mxCopyNumbers(array.data.get(), from, total, width, swap, m_parallel);
  return array;
}

MxFileArray MxLegacyText::indices(std::string_view typeName, std::size_t items,
                                  const std::string& what, bool narrow)
{
  checkFits(items, 1, what);
  const MiScalarType type = typeOf(typeName, what);
  if (!isInteger(type)) fail(what + " are no whole numbers");
  return mxAsIndices(list(type, items, what, narrow));
}

const char* MxLegacyText::bytes(std::size_t items, std::size_t width, const std::string& what)
{
  restOfLine();
  return take(items, width, what);
}

const char* MxLegacyText::take(std::size_t items, std::size_t width, const std::string& what)
{
  const auto left = static_cast<std::size_t>(m_end - m_at);
  if (items > left / width)
    m_file.failAtByte(m_at, what + " should have " + std::to_string(items) + " numbers of " +
                                std::to_string(width) + " bytes, but only " + std::to_string(left) +
                                " bytes follow");
  const char* first = m_at;
  m_at += items * width;
  return first;
}

MxFileArray MxLegacyText::bits(std::size_t total, const std::string& what)
{
  if (!m_binary) return list(MiScalarType::UInt8, total, what);
  restOfLine();
  const char* from = take((total + 7) / 8, 1, what);
  auto array = MxFileArray::of<std::uint8_t>(total);
  for (std::size_t i = 0; i < total; ++i)
    array.as<std::uint8_t>()[i] =
        static_cast<std::uint8_t>(static_cast<unsigned char>(from[i / 8]) >> (7 - i % 8) & 1);
  return array;
}

void MxLegacyText::skipStrings(std::size_t texts, const std::string& what)
{
  restOfLine();
  for (std::size_t i = 0; i < texts; ++i) {
    if (m_at == m_end) m_file.failAtLine(m_at, what + " ends too early");
    if (!m_binary) {
      restOfLine();
      continue;
    }
    // The two highest bits tell how many bytes hold the length: 8, 4, 2 or 1.
    const auto head = static_cast<unsigned char>(*m_at);
    const std::size_t bytes = std::size_t{8} >> (head >> 6);
    const char* p = take(bytes, 1, what);
    std::size_t length = head & 63;
    for (std::size_t b = 1; b < bytes; ++b)
      length = length << 8 | static_cast<unsigned char>(p[b]);
    take(length, 1, what);
  }
}
