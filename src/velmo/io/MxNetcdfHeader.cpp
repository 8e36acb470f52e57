#include <velmo/io/MxNetcdfHeader.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

/// No variable may have more, the library says.
constexpr std::uint64_t kMostDimensions = 1024;

/// Walks over the header from front to back. Format: the classic, 64-bit offset and 64-bit data
/// forms of the NetCDF Users Guide, appendix on file formats.
class HeaderCheck
{
public:
  explicit HeaderCheck(const MxFileBytes& file)
      : m_file(file), m_at(file.begin() + 4), m_version(file.begin()[3])
  {}

  void run()
  {
    number(countWidth()); // of records
    for (std::uint64_t left = listSize(0x0A, "dimensions"); left > 0; --left) {
      skipName();
      m_lengths.push_back(number(countWidth()));
      if (m_lengths.back() >> 48) fail("a dimension has the length " + shown(m_lengths.back()));
    }
    if (std::count(m_lengths.begin(), m_lengths.end(), 0) > 1)
      fail("more than one dimension is without a length");
    checkAttributes();
    for (std::uint64_t left = listSize(0x0B, "variables"); left > 0; --left)
      checkVariable();
  }

private:
  int countWidth() const { return m_version == 5 ? 8 : 4; }
  std::uint64_t left() const { return static_cast<std::uint64_t>(m_file.end() - m_at); }
  static std::string shown(std::uint64_t number) { return std::to_string(number); }
  [[noreturn]] void fail(const std::string& problem) const
  {
    m_file.failAtByte(m_at, "the netCDF header is damaged: " + problem);
  }

  std::uint64_t number(int width)
  {
    if (left() < static_cast<std::uint64_t>(width)) fail("it ends too early");
    std::uint64_t value = 0;
    for (int i = 0; i < width; ++i)
      value = value << 8 | static_cast<unsigned char>(*m_at++);
    return value;
  }

  void skip(std::uint64_t count, std::uint64_t width, const char* what)
  {
    if (count > left() / width)
      fail(std::string(what) + " of " + shown(count) + " items is too long");
    // What is no multiple of four bytes is filled up.
    const std::uint64_t bytes = (count * width + 3) / 4 * 4;
    if (bytes > left()) fail("it ends too early");
    m_at += bytes;
  }

  void skipName()
  {
    const std::uint64_t length = number(countWidth());
    if (length == 0) fail("a name is empty");
    skip(length, 1, "a name");
  }

  std::uint64_t listSize(std::uint64_t tag, const char* what)
  {
    const std::uint64_t found = number(4), count = number(countWidth());
    if (found != tag && (found != 0 || count != 0))
      fail(std::string("its list of ") + what + " is missing");
    // Each has a name at least, and numbers.
    if (count > left() / 12) fail("it cannot hold " + shown(count) + " " + what);
    return count;
  }

  /// Bytes of a value.
  std::uint64_t widthOf(std::uint64_t type) const
  {
    constexpr std::uint64_t kWidths[] = {1, 1, 2, 4, 4, 8, 1, 2, 4, 8, 8};
    if (type < 1 || type > (m_version == 5 ? 11u : 6u))
      fail("the type " + shown(type) + " is not known");
    return kWidths[type - 1];
  }

  void checkAttributes()
  {
    for (std::uint64_t left = listSize(0x0C, "attributes"); left > 0; --left) {
      skipName();
      const std::uint64_t width = widthOf(number(4));
      skip(number(countWidth()), width, "an attribute");
    }
  }

  void checkVariable()
  {
    skipName();
    const std::uint64_t rank = number(countWidth());
    if (rank > kMostDimensions) fail("a variable has " + shown(rank) + " dimensions");
    // More than this no file has.
    constexpr double kMostValues = 1e15;
    double values = 1;
    for (std::uint64_t d = 0; d < rank; ++d) {
      const std::uint64_t id = number(countWidth());
      if (id >= m_lengths.size()) fail("a variable has the dimension " + shown(id));
      values *= static_cast<double>(std::max<std::uint64_t>(1, m_lengths[id]));
    }
    if (values > kMostValues) fail("a variable is too large");
    checkAttributes();
    widthOf(number(4));
    number(countWidth()); // its size
    const std::uint64_t begin = number(m_version == 1 ? 4 : 8);
    if (begin > m_file.size()) fail("a variable begins at byte " + shown(begin));
  }

  const MxFileBytes& m_file;
  const char* m_at;
  const int m_version;
  std::vector<std::uint64_t> m_lengths;
};

} // namespace

void mxCheckNetcdfHeader(const MxFileBytes& file)
{
  if (file.size() < 4) file.fail("", "ends within its first word");
  if (file.text().starts_with("CDF")) HeaderCheck(file).run();
}
