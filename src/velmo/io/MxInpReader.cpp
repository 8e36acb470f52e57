#include <velmo/io/MxCellBlocks.h>
#include <velmo/io/MxFileFormats.h>
#include <velmo/io/MxInpDeck.h>
#include <velmo/io/MxInpModel.h>
#include <velmo/io/MxNumberText.h>
#include <velmo/io/MxTextPieces.h>

#include <algorithm>
#include <charconv>

namespace {

/// Families of element types: how their names begin, and their dimension. The number of nodes
/// follows in the name. Longer names come before those that they begin with.
struct Family
{
  std::string_view name;
  int dimension;
};
constexpr Family kFamilies[] = {
    {"COH3D", 3}, {"CIN3D", 3}, {"DC3D", 3},  {"DCC3D", 3}, {"AC3D", 3}, {"FC3D", 3}, {"F3D", 3},
    {"Q3D", 3},   {"EC3D", 3},  {"EMC3D", 3}, {"C3D", 3},   {"CSS", 3},  {"SC", 3},   {"STRI", 2},
    {"SFM3D", 2}, {"DC2D", 2},  {"AC2D", 2},  {"ACAX", 2},  {"DCAX", 2}, {"CGAX", 2}, {"CPEG", 2},
    {"CPE", 2},   {"CPS", 2},   {"CAX", 2},   {"M3D", 2},   {"R3D", 2},  {"DS", 2},   {"S", 2},
    {"T2D", 1},   {"T3D", 1},   {"R2D", 1},   {"RB2D", 1},  {"RB3D", 1}, {"RAX", 1},  {"DC1D", 1}};

/// Beams and pipes are named by their space and their order.
constexpr std::string_view kBeams[] = {"B", "PIPE", "ELBOW"};

/// The element type of a name in capitals; null when there is no shape for it.
const MxElementType* typeOf(std::string_view name)
{
  for (const std::string_view beam : kBeams)
    if (name.starts_with(beam) && name.size() >= beam.size() + 2 &&
        (name[beam.size()] == '2' || name[beam.size()] == '3'))
    {
      const char order = name[beam.size() + 1];
      if (order == '1' || order == '3') return mxElementType(MxElementOrder::Inp, 1, 2);
      if (order == '2') return mxElementType(MxElementOrder::Inp, 1, 3);
    }
  if (name.starts_with("STRI65")) return mxElementType(MxElementOrder::Inp, 2, 6);
  for (const Family& family : kFamilies) {
    if (!name.starts_with(family.name)) continue;
    const char* const digits = name.data() + family.name.size();
    unsigned nodes = 0;
    const auto [next, error] = std::from_chars(digits, name.data() + name.size(), nodes);
    if (error == std::errc() && next > digits)
      return mxElementType(MxElementOrder::Inp, family.dimension, nodes);
  }
  return nullptr;
}

constexpr bool isSeparator(char c)
{
  return c == ',' || isBlank(c);
}

/// The next number or name between commas and blanks.
std::string_view nextItem(const char*& p, const char* end)
{
  while (p < end && isSeparator(*p))
    ++p;
  const char* const first = p;
  while (p < end && !isSeparator(*p))
    ++p;
  return {first, static_cast<std::size_t>(p - first)};
}

std::size_t countItems(std::string_view text)
{
  std::size_t count = 0;
  bool before = true;
  for (const char c : text) {
    const bool separator = isSeparator(c);
    count += static_cast<std::size_t>(!separator & before);
    before = separator;
  }
  return count;
}

std::string_view nextLine(const char*& p, const char* end)
{
  const char* const first = p;
  const auto* found =
      static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
  p = found ? found + 1 : end;
  return {first, static_cast<std::size_t>(p - first)};
}

bool isEmptyLine(std::string_view line)
{
  return std::all_of(line.begin(), line.end(), [](char c) { return isBlank(c); });
}

template <class Visit>
void forLines(std::string_view text, const Visit& visit)
{
  const char* p = text.data();
  const char* const end = p + text.size();
  while (p < end) {
    const std::string_view line = nextLine(p, end);
    if (!isEmptyLine(line) && !visit(line)) return;
  }
}

class InpReader
{
public:
  InpReader(const MxFileBytes& file, const MxReadRequest& request)
      : m_file(file), m_request(request), m_model(request.parallel)
  {}

  MxFileMesh run()
  {
    const MxInpDeck deck(m_file, [&](const MxInpBlock& block) {
      read(block);
      if (m_request.progress && block.file == &m_file)
        m_request.progress(static_cast<double>(block.where - m_file.begin()) /
                           static_cast<double>(m_file.size()));
    });
    return m_model.finish(m_file);
  }

private:
  void read(const MxInpBlock& block)
  {
    const std::string& name = block.name;
    if (name == "NODE") {
      readNodes(block);
    } else if (name == "ELEMENT") {
      readElements(block);
    } else if (name == "NSET") {
      readSet(block, MiDataBinding::PerNode);
    } else if (name == "ELSET") {
      readSet(block, MiDataBinding::PerCell);
    } else if (name == "PART") {
      const std::string* part = block.value("NAME");
      if (!part) block.fail("has no NAME");
      m_model.beginPart(mxInpName(*part));
    } else if (name == "END PART") {
      m_model.endPart();
    } else if (name == "INSTANCE") {
      readInstance(block);
    } else if (name == "NGEN" || name == "NFILL" || name == "NCOPY" || name == "NMAP" ||
               name == "ELGEN" || name == "ELCOPY" || name == "SYSTEM")
    {
      m_model.leaveOut(name);
    }
  }

  void readNodes(const MxInpBlock& block)
  {
    const std::string* system = block.value("SYSTEM");
    if (system && mxInpName(*system) != "R") m_model.leaveOut("SYSTEM of *NODE");
    const std::string* set = block.value("NSET");
    for (const std::string_view text : block.data) {
      MxFileArray numbers, points;
      mxReadPieces(
          *block.file, text, m_request.parallel,
          [](std::string_view piece, std::size_t) {
            std::size_t lines = 0;
            forLines(piece, [&](std::string_view) { return ++lines > 0; });
            return lines;
          },
          [&](std::size_t count) {
            numbers = MxFileArray::of<std::int64_t>(count);
            points = MxFileArray::of<double>(3 * count);
          },
          [&](std::string_view piece, std::size_t, std::size_t first, MxTextFault& fault) {
            std::int64_t* number = numbers.as<std::int64_t>() + first;
            double* point = points.as<double>() + 3 * first;
            forLines(piece, [&](std::string_view line) {
              return readNode(line, *number++, point, fault) && (point += 3);
            });
          });
      if (set) m_model.addToSet(mxInpName(*set), MiDataBinding::PerNode, numbers);
      m_model.addNodes(numbers, points);
    }
  }

  /// Coordinates that are not given are zero.
  static bool readNode(std::string_view line, std::int64_t& number, double* point,
                       MxTextFault& fault)
  {
    const char* p = line.data();
    const char* const end = p + line.size();
    bool last = false;
    const std::string_view name = mxInpField(p, end, last);
    if (!mxParseNumber(name, number)) {
      fault.set(line.data(), mxQuoted(name) + " is no number of a node");
      return false;
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
      point[axis] = 0;
      if (last) continue;
      const std::string_view field = mxInpField(p, end, last);
      if (field.empty() || mxParseReal(field, point[axis])) continue;
      fault.set(line.data(), mxQuoted(field) + " is no coordinate");
      return false;
    }
    return true;
  }

  void readElements(const MxInpBlock& block)
  {
    const std::string* typeName = block.value("TYPE");
    if (!typeName) block.fail("has no TYPE");
    const std::string name = mxInpName(*typeName);
    const std::string* set = block.value("ELSET");
    const MxElementType* const type = typeOf(name);
    const std::size_t each = type ? type->nodeCount + std::size_t{1} : 0;
    for (const std::string_view text : block.data) {
      if (!type) {
        m_model.leaveOutElements(name, countRecords(text));
        continue;
      }
      MxFileArray numbers;
      mxReadPieces(
          *block.file, text, m_request.parallel,
          [](std::string_view piece, std::size_t) { return countItems(piece); },
          [&](std::size_t count) {
            if (count % each != 0)
              block.file->failAtLine(text.data(), "elements of type " + name + " take " +
                                                      std::to_string(each) + " numbers each, but " +
                                                      std::to_string(count) + " follow");
            numbers = MxFileArray::of<std::int64_t>(count);
          },
          [&](std::string_view piece, std::size_t, std::size_t first, MxTextFault& fault) {
            readItems(piece, numbers.as<std::int64_t>() + first, fault);
          });
      m_model.addElements(*type, numbers, set ? mxInpName(*set) : "");
    }
  }

  static void readItems(std::string_view piece, std::int64_t* to, MxTextFault& fault)
  {
    const char* p = piece.data();
    const char* const end = p + piece.size();
    for (;;) {
      while (p < end && isSeparator(*p))
        ++p;
      if (p == end) return;
      const auto [next, error] = std::from_chars(p, end, *to);
      if (error == std::errc() && (next == end || isSeparator(*next))) {
        p = next;
        ++to;
        continue;
      }
      const std::string_view item = nextItem(p, end);
      if (!mxParseNumber(item, *to++))
        return fault.set(item.data(), mxQuoted(item) + " is no number of an element or a node");
    }
  }

  /// Lines but for those that go on behind a comma.
  static std::size_t countRecords(std::string_view text)
  {
    std::size_t count = 0;
    bool goesOn = false;
    forLines(text, [&](std::string_view line) {
      count += goesOn ? 0 : 1;
      while (isBlank(line.back()))
        line.remove_suffix(1);
      goesOn = line.back() == ',';
      return true;
    });
    return count;
  }

  void readSet(const MxInpBlock& block, MiDataBinding binding)
  {
    const bool perNode = binding == MiDataBinding::PerNode;
    const std::string* name = block.value(perNode ? "NSET" : "ELSET");
    if (!name) block.fail(std::string("has no ") + (perNode ? "NSET" : "ELSET"));
    if (block.has("INTERNAL")) return;
    const std::string* instance = block.value("INSTANCE");
    MxInpSet& set = m_model.set(mxInpName(*name), binding, instance ? mxInpName(*instance) : "");
    const bool ranges = block.has("GENERATE");
    for (const std::string_view text : block.data)
      forLines(text, [&](std::string_view line) {
        ranges ? readRange(block, line, set) : readMembers(line, set);
        return true;
      });
  }

  static void readRange(const MxInpBlock& block, std::string_view line, MxInpSet& set)
  {
    MxInpSet::Range range;
    const char* p = line.data();
    const char* const end = p + line.size();
    for (std::int64_t* number : {&range.first, &range.last, &range.step}) {
      const std::string_view item = nextItem(p, end);
      if (item.empty()) break;
      if (!mxParseNumber(item, *number))
        block.file->failAtLine(item.data(), mxQuoted(item) + " is no number of a range");
    }
    if (range.step < 1) block.file->failAtLine(line.data(), "the step of a range is not positive");
    set.ranges.push_back(range);
  }

  static void readMembers(std::string_view line, MxInpSet& set)
  {
    const char* p = line.data();
    const char* const end = p + line.size();
    for (std::string_view item = nextItem(p, end); !item.empty(); item = nextItem(p, end)) {
      std::int64_t number = 0;
      if (mxParseNumber(item, number))
        set.numbers.push_back(number);
      else
        set.others.push_back(mxInpName(item));
    }
  }

  void readInstance(const MxInpBlock& block)
  {
    const std::string *name = block.value("NAME"), *part = block.value("PART");
    if (!part) block.fail("has no PART");
    MxInpInstance instance;
    instance.name = name ? mxInpName(*name) : "";
    if (!m_model.findPart(mxInpName(*part), instance.part))
      block.fail("is of the part " + mxQuoted(*part) + ", which is not known");
    std::vector<double> numbers;
    for (const std::string_view text : block.data)
      forLines(text, [&](std::string_view line) {
        const char* p = line.data();
        const char* const end = p + line.size();
        for (std::string_view item = nextItem(p, end); !item.empty(); item = nextItem(p, end)) {
          if (!mxParseReal(item, numbers.emplace_back()))
            block.file->failAtLine(item.data(), mxQuoted(item) + " is no number of a placement");
        }
        return true;
      });
    if (numbers.size() != 0 && numbers.size() != 3 && numbers.size() != 10)
      block.fail("has " + std::to_string(numbers.size()) +
                 " numbers for its placement, neither 3 nor 10");
    numbers.resize(10, 0.0);
    instance.shift = {numbers[0], numbers[1], numbers[2]};
    instance.axisFrom = {numbers[3], numbers[4], numbers[5]};
    instance.axisTo = {numbers[6], numbers[7], numbers[8]};
    instance.degrees = numbers[9];
    m_model.addInstance(instance);
  }

  const MxFileBytes& m_file;
  const MxReadRequest& m_request;
  MxInpModel m_model;
};

} // namespace

bool mxIsInp(const MxFileBytes& file)
{
  // A line that begins with '*' and a letter, before anything but comments.
  const std::string_view head = file.head();
  std::size_t at = 0;
  for (;;) {
    at = head.find_first_not_of(" \t\r\n", at);
    if (at == head.npos || head[at] != '*' || at + 1 == head.size()) return false;
    if (head[at + 1] != '*')
      return (head[at + 1] >= 'A' && head[at + 1] <= 'Z') ||
             (head[at + 1] >= 'a' && head[at + 1] <= 'z');
    at = head.find('\n', at);
  }
}

MxFileMesh mxReadInp(const MxFileBytes& file, const MxReadRequest& request)
{
  return InpReader(file, request).run();
}
