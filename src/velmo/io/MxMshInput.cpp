#include <velmo/io/MxMshInput.h>

#include <velmo/io/MxNumberText.h>

#include <algorithm>

void MxMshInput::fail(const std::string& problem) const
{
  if (m_binary) m_file.failAtByte(m_at, problem);
  m_file.failAtLine(m_at, problem);
}

void MxMshInput::readFormat()
{
  std::string_view section = nextSection();
  while (section == "Comments") {
    skipSection(section);
    section = nextSection();
  }
  if (section == "NOD") fail("version 1 cannot be read; versions 2.x and 4.1 can");
  if (section != "MeshFormat") fail("$MeshFormat is missing");
  const std::string version(mxNextWord(m_at, m_end));
  const bool version2 = version == "2" || version.starts_with("2.");
  m_version4 = version == "4.1";
  if (!version2 && !m_version4)
    fail("the version " + mxQuoted(version) + " cannot be read; versions 2.x and 4.1 can");
  const std::int64_t form = textNumber("the form of the file");
  const std::int64_t width = textNumber("the width of the file's numbers");
  if (form != 0 && form != 1)
    fail("the form of the file is " + std::to_string(form) + ", neither 0 nor 1");
  if (form == 1) {
    if (width != 8 && !(m_version4 && width == 4))
      fail("numbers of " + std::to_string(width) + " bytes cannot be read");
    m_wide = static_cast<std::size_t>(width);
    endLine();
    std::int32_t one = 0;
    std::memcpy(&one, take(1, 4, "the number that tells the byte order"), 4);
    if (one != 1 && one != 0x01000000) fail("the number that tells the byte order is not 1");
    m_swap = one != 1;
  }
  endSection("MeshFormat");
  m_binary = form == 1;
}

void MxMshInput::endLine()
{
  while (m_at < m_end && *m_at != '\n')
    ++m_at;
  if (m_at < m_end) ++m_at;
}

std::string_view MxMshInput::nextSection()
{
  while (m_at < m_end && isBlank(*m_at))
    ++m_at;
  if (m_at == m_end) return {};
  const char* p = m_at;
  const std::string_view name = mxNextWord(p, m_end);
  if (name[0] != '$') fail(mxQuoted(name) + " stands where a section should begin");
  m_at = p;
  // Binary data follow at once behind the line.
  endLine();
  return name.substr(1);
}

void MxMshInput::endSection(std::string_view name)
{
  const char* p = m_at;
  const std::string wanted = "$End" + std::string(name);
  const std::string_view found = mxNextWord(p, m_end);
  if (found != wanted) fail(mxQuoted(found) + " stands where " + wanted + " should");
  m_at = p;
}

void MxMshInput::skipSection(std::string_view name)
{
  const std::string wanted = "$End" + std::string(name);
  const std::string_view rest(m_at, getLeft());
  const std::size_t found = rest.find(wanted);
  if (found == rest.npos) fail("the section $" + std::string(name) + " is not ended");
  m_at += found + wanted.size();
}

std::string_view MxMshInput::line()
{
  const char* first = m_at;
  endLine();
  std::string_view text(first, static_cast<std::size_t>(m_at - first));
  while (!text.empty() && isBlank(text.back()))
    text.remove_suffix(1);
  while (!text.empty() && isBlank(text.front()))
    text.remove_prefix(1);
  return text;
}

std::int64_t MxMshInput::textNumber(const char* what)
{
  const char* p = m_at;
  const std::string_view word = mxNextWord(p, m_end);
  std::int64_t value = 0;
  if (!mxParseNumber(word, value)) fail(mxQuoted(word) + " stands where " + what + " should");
  m_at = p;
  return value;
}

double MxMshInput::textReal(const char* what)
{
  const char* p = m_at;
  const std::string_view word = mxNextWord(p, m_end);
  double value = 0;
  if (!mxParseNumber(word, value)) fail(mxQuoted(word) + " stands where " + what + " should");
  m_at = p;
  return value;
}

const char* MxMshInput::take(std::size_t count, std::size_t width, const char* what)
{
  if (count > getLeft() / width)
    m_file.failAtByte(m_at, std::string(what) + " should have " + std::to_string(count) +
                                " items of " + std::to_string(width) + " bytes, but only " +
                                std::to_string(getLeft()) + " bytes follow");
  const char* first = m_at;
  m_at += count * width;
  return first;
}

void MxMshInput::copy(std::byte* to, const char* from, std::size_t count, std::size_t width) const
{
  mxCopyNumbers(to, from, count, width, m_swap, m_parallel);
}

template <class T>
T MxMshInput::binary(const char* what)
{
  T value{};
  copy(reinterpret_cast<std::byte*>(&value), take(1, sizeof(T), what), 1, sizeof(T));
  return value;
}

std::int64_t MxMshInput::number(const char* what)
{
  return m_binary ? binary<std::int32_t>(what) : textNumber(what);
}

std::int64_t MxMshInput::wideNumber(const char* what)
{
  if (!m_binary) return textNumber(what);
  return m_wide == 4 ? binary<std::uint32_t>(what)
                     : static_cast<std::int64_t>(binary<std::uint64_t>(what));
}

std::size_t MxMshInput::wideCount(const char* what, std::size_t numbersEach, std::size_t bytesEach)
{
  return checkedCount(wideNumber(what), what, numbersEach, bytesEach);
}

std::size_t MxMshInput::checkedCount(std::int64_t count, const char* what, std::size_t numbersEach,
                                     std::size_t bytesEach) const
{
  if (count < 0) fail(std::string(what) + " is negative");
  // A number of text takes a digit and a blank, but for the last of the file.
  const std::size_t each = m_binary ? bytesEach : 2 * numbersEach;
  if (static_cast<std::size_t>(count) > (getLeft() + 1) / std::max<std::size_t>(1, each))
    fail(std::string(what) + " is " + std::to_string(count) + ", but only " +
         std::to_string(getLeft()) + " bytes follow");
  return static_cast<std::size_t>(count);
}

double MxMshInput::real(const char* what)
{
  return m_binary ? binary<double>(what) : textReal(what);
}

MxFileArray MxMshInput::integers(MiScalarType stored, std::size_t count, const char* what)
{
  if (!m_binary)
    return mxReadNumbers(m_file, m_at, m_end, MiScalarType::Int64, count, what, m_parallel);
  const std::size_t width = scalarSize(stored);
  const char* from = take(count, width, what);
  MxFileArray array(stored, count);
  copy(array.data.get(), from, count, width);
  if (width == 8) {
    array.type = MiScalarType::Int64;
    return array;
  }
  auto wide = MxFileArray::of<std::int64_t>(count);
  visitNumbers(array, [&](auto values) {
    std::transform(values.begin(), values.end(), wide.as<std::int64_t>(),
                   [](auto value) { return static_cast<std::int64_t>(value); });
  });
  return wide;
}

MxFileArray MxMshInput::numbers(std::size_t count, const char* what)
{
  return integers(MiScalarType::Int32, count, what);
}

MxFileArray MxMshInput::wideNumbers(std::size_t count, const char* what)
{
  return integers(m_wide == 4 ? MiScalarType::UInt32 : MiScalarType::UInt64, count, what);
}

MxFileArray MxMshInput::reals(std::size_t count, const char* what)
{
  if (!m_binary)
    return mxReadNumbers(m_file, m_at, m_end, MiScalarType::Float64, count, what, m_parallel);
  const char* from = take(count, sizeof(double), what);
  auto array = MxFileArray::of<double>(count);
  copy(array.data.get(), from, count, sizeof(double));
  return array;
}
