#include <velmo/io/MxCellBlocks.h>
#include <velmo/io/MxFileFormats.h>
#include <velmo/io/MxMshInput.h>
#include <velmo/io/MxNumberText.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace {

/// An element type of the format.
struct MshType
{
  std::uint8_t number;
  std::int8_t dimension;
  std::uint8_t nodes;
  std::uint8_t used; ///< the nodes of the shape that it is read as; 0 for none
};
// A pyramid loses the node in its base.
constexpr MshType kTypes[] = {
    {1, 1, 2, 2},     {2, 2, 3, 3},    {3, 2, 4, 4},    {4, 3, 4, 4},    {5, 3, 8, 8},
    {6, 3, 6, 6},     {7, 3, 5, 5},    {8, 1, 3, 3},    {9, 2, 6, 6},    {10, 2, 9, 9},
    {11, 3, 10, 10},  {12, 3, 27, 27}, {13, 3, 18, 18}, {14, 3, 14, 13}, {15, 0, 1, 1},
    {16, 2, 8, 8},    {17, 3, 20, 20}, {18, 3, 15, 15}, {19, 3, 13, 13}, {20, 2, 9, 0},
    {21, 2, 10, 0},   {22, 2, 12, 0},  {23, 2, 15, 0},  {24, 2, 15, 0},  {25, 2, 21, 0},
    {26, 1, 4, 0},    {27, 1, 5, 0},   {28, 1, 6, 0},   {29, 3, 20, 0},  {30, 3, 35, 0},
    {31, 3, 56, 0},   {32, 3, 22, 0},  {33, 3, 28, 0},  {36, 2, 16, 0},  {37, 2, 25, 0},
    {38, 2, 36, 0},   {39, 2, 12, 0},  {40, 2, 16, 0},  {41, 2, 20, 0},  {42, 2, 28, 0},
    {43, 2, 36, 0},   {44, 2, 45, 0},  {45, 2, 55, 0},  {46, 2, 66, 0},  {47, 2, 49, 0},
    {48, 2, 64, 0},   {49, 2, 81, 0},  {50, 2, 100, 0}, {51, 2, 121, 0}, {52, 2, 18, 0},
    {53, 2, 21, 0},   {54, 2, 24, 0},  {55, 2, 27, 0},  {56, 2, 30, 0},  {57, 2, 24, 0},
    {58, 2, 28, 0},   {59, 2, 32, 0},  {60, 2, 36, 0},  {61, 2, 40, 0},  {62, 1, 7, 0},
    {63, 1, 8, 0},    {64, 1, 9, 0},   {65, 1, 10, 0},  {66, 1, 11, 0},  {71, 3, 84, 0},
    {72, 3, 120, 0},  {73, 3, 165, 0}, {74, 3, 220, 0}, {90, 3, 40, 0},  {91, 3, 75, 0},
    {92, 3, 64, 0},   {93, 3, 125, 0}, {94, 3, 216, 0}, {99, 3, 32, 0},  {106, 3, 126, 0},
    {107, 3, 196, 0}, {118, 3, 30, 0}, {119, 3, 55, 0}, {120, 3, 91, 0}, {121, 3, 140, 0}};

constexpr std::size_t kMostViews = 1000;
/// No element has more nodes.
constexpr std::int64_t kMostCorners = 10000;

/// Values of nodes or elements at a time, where they stand.
struct View
{
  std::string name;
  MiDataBinding binding = MiDataBinding::PerNode;
  double time = 0;
  std::size_t components = 1, count = 0;
  const char* place = nullptr;
  bool ofCorners = false; ///< values for each node of an element
};

class MshReader
{
public:
  MshReader(const MxFileBytes& file, const MxReadRequest& request)
      : m_file(file), m_request(request), m_parallel(request.parallel), m_size(file.size()),
        m_input(file, request.parallel)
  {
    m_mesh.format = "msh";
  }

  MxFileMesh run()
  {
    m_input.readFormat();
    for (;;) {
      const std::string_view name = m_input.nextSection();
      if (name.empty()) break;
      if (!readSection(name)) {
        m_input.skipSection(name);
        continue;
      }
      m_input.endSection(name);
      if (m_request.progress)
        m_request.progress(1 -
                           static_cast<double>(m_input.getLeft()) / static_cast<double>(m_size));
    }
    if (!m_hasNodes) m_input.fail("$Nodes is missing");
    finish();
    return std::move(m_mesh);
  }

private:
  bool readSection(std::string_view name)
  {
    if (name == "PhysicalNames") {
      readPhysicalNames();
    } else if (name == "Entities" && m_input.isVersion4()) {
      readEntities();
    } else if (name == "Nodes") {
      if (m_hasNodes) m_input.fail("$Nodes stands twice");
      m_hasNodes = true;
      m_input.isVersion4() ? readNodes4() : readNodes2();
    } else if (name == "Elements") {
      if (!m_blocks.getBlocks().empty()) m_input.fail("$Elements stands twice");
      m_input.isVersion4() ? readElements4() : readElements2();
    } else if (name == "NodeData" || name == "ElementData" || name == "ElementNodeData") {
      readView(name);
      return false; // values wait until nodes and elements are known
    } else {
      return false;
    }
    return true;
  }

  void readPhysicalNames()
  {
    constexpr std::int64_t kMost = 50;
    const std::int64_t count = m_input.textNumber("the number of physical names");
    for (std::int64_t i = 0; i < count; ++i) {
      m_input.textNumber("a dimension");
      const std::int64_t tag = m_input.textNumber("a physical tag");
      const std::string_view name = m_input.line();
      if (i < kMost)
        m_mesh.remarks.push_back("Physical " + std::to_string(tag) + " is called " +
                                 std::string(name.substr(0, 100)) + ".");
    }
  }

  /// Remembers the first physical tag of each entity.
  void readEntities()
  {
    std::array<std::int64_t, 4> counts{};
    for (std::int64_t& count : counts)
      count = m_input.wideNumber("a count of entities");
    for (int dimension = 0; dimension < 4; ++dimension)
      for (std::int64_t i = 0; i < counts[static_cast<std::size_t>(dimension)]; ++i) {
        const std::int64_t tag = m_input.number("the tag of an entity");
        for (int n = 0; n < (dimension == 0 ? 3 : 6); ++n)
          m_input.real("the bounds of an entity");
        const std::size_t physicals = m_input.wideCount("a count of physical tags", 1, 4);
        for (std::size_t p = 0; p < physicals; ++p) {
          const std::int64_t physical = m_input.number("a physical tag");
          if (p == 0) m_physicals[{dimension, tag}] = physical;
        }
        if (dimension == 0) continue;
        const std::size_t bounding = m_input.wideCount("a count of bounding entities", 1, 4);
        for (std::size_t b = 0; b < bounding; ++b)
          m_input.number("a bounding entity");
      }
  }

  // ---- nodes

  void readNodes2()
  {
    const std::int64_t announced = m_input.textNumber("the number of nodes");
    m_input.line();
    const std::size_t count = m_input.checkedCount(announced, "the number of nodes", 4, 28);
    makeRoom(count);
    auto* const tags = m_tags.as<std::int64_t>();
    auto* const points = m_mesh.points.as<double>();
    if (m_input.isBinary()) {
      const char* const from = m_input.take(count, 28, "the nodes");
      forEachBlock(
          m_parallel, count, kFileBlock, [&](std::size_t, std::size_t first, std::size_t last) {
            for (std::size_t i = first; i < last; ++i) {
              std::int32_t tag = 0;
              m_input.copy(reinterpret_cast<std::byte*>(&tag), from + 28 * i, 1, 4);
              tags[i] = tag;
              m_input.copy(reinterpret_cast<std::byte*>(points + 3 * i), from + 28 * i + 4, 3, 8);
            }
          });
      return;
    }
    const MxFileArray numbers = m_input.reals(4 * count, "the nodes");
    const auto* const from = numbers.as<double>();
    forEachBlock(m_parallel, count, kFileBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   for (std::size_t i = first; i < last; ++i) {
                     tags[i] = asTag(from[4 * i]);
                     std::copy_n(from + 4 * i + 1, 3, points + 3 * i);
                   }
                 });
  }

  void readNodes4()
  {
    const std::int64_t blocks = m_input.wideNumber("the number of blocks of nodes");
    const std::size_t count = m_input.wideCount("the number of nodes", 4, 32);
    m_input.wideNumber("the smallest node tag");
    m_input.wideNumber("the largest node tag");
    makeRoom(count);
    std::size_t done = 0;
    for (std::int64_t block = 0; block < blocks; ++block) {
      const std::int64_t dimension = m_input.number("the dimension of an entity");
      m_input.number("the tag of an entity");
      const std::int64_t parametric = m_input.number("the mark of parametric nodes");
      const std::size_t here = m_input.wideCount("the number of nodes of a block", 4, 32);
      if (here > count - done) m_input.fail("the blocks have more nodes than announced");
      if (dimension < 0 || dimension > 3)
        m_input.fail("an entity has the dimension " + std::to_string(dimension));
      const MxFileArray tags = m_input.wideNumbers(here, "node tags");
      std::copy_n(tags.as<std::int64_t>(), here, m_tags.as<std::int64_t>() + done);
      const std::size_t each = 3 + (parametric ? static_cast<std::size_t>(dimension) : 0);
      const MxFileArray numbers = m_input.reals(each * here, "node coordinates");
      double* const to = m_mesh.points.as<double>() + 3 * done;
      const auto* const from = numbers.as<double>();
      if (each == 3)
        std::copy_n(from, 3 * here, to);
      else
        for (std::size_t i = 0; i < here; ++i)
          std::copy_n(from + each * i, 3, to + 3 * i);
      done += here;
    }
    if (done != count)
      m_input.fail("the blocks have " + std::to_string(done) + " of the " + std::to_string(count) +
                   " nodes announced");
  }

  void makeRoom(std::size_t nodes)
  {
    m_mesh.nodeCount = nodes;
    m_mesh.points = MxFileArray::of<double>(3 * nodes);
    m_tags = MxFileArray::of<std::int64_t>(nodes);
  }

  /// What is no whole number becomes one that no node should have.
  static std::int64_t asTag(double number)
  {
    return std::abs(number) < 9e15 && number == std::floor(number)
               ? static_cast<std::int64_t>(number)
               : std::numeric_limits<std::int64_t>::min();
  }

  // ---- elements

  const MshType& typeOf(std::int64_t number) const
  {
    for (const MshType& type : kTypes)
      if (type.number == number) return type;
    m_input.fail("the element type " + std::to_string(number) + " is not known");
  }

  /// Adds elements, or counts those that no shape fits.
  void add(const MshType& type, MxCellBlock block)
  {
    if (block.count == 0) return;
    block.type =
        type.used ? mxElementType(MxElementOrder::Gmsh, type.dimension, type.used) : nullptr;
    if (block.type)
      m_blocks.add(block);
    else
      m_leftOut[type.number] += block.count;
  }

  void readElements4()
  {
    const std::int64_t blocks = m_input.wideNumber("the number of blocks of elements");
    const std::size_t count = m_input.wideCount("the number of elements", 2, 16);
    m_input.wideNumber("the smallest element tag");
    m_input.wideNumber("the largest element tag");
    std::size_t done = 0;
    for (std::int64_t b = 0; b < blocks; ++b) {
      const std::int64_t dimension = m_input.number("the dimension of an entity");
      const std::int64_t entity = m_input.number("the tag of an entity");
      const MshType& type = typeOf(m_input.number("an element type"));
      const std::size_t each = type.nodes + std::size_t{1};
      MxCellBlock block;
      block.count = m_input.wideCount("the number of elements of a block", each, 4 * each);
      done += block.count;
      if (done > count) m_input.fail("the blocks have more elements than announced");
      block.stride = static_cast<std::uint32_t>(each);
      block.firstNode = 1;
      const auto physical = m_physicals.find({static_cast<int>(dimension), entity});
      block.ids[0].value = physical == m_physicals.end() ? 0 : physical->second;
      block.ids[1].value = entity;
      block.numbers = m_blocks.keep(m_input.wideNumbers(each * block.count, "elements"));
      add(type, block);
    }
    if (done != count)
      m_input.fail("the blocks have " + std::to_string(done) + " of the " + std::to_string(count) +
                   " elements announced");
  }

  void readElements2()
  {
    const std::int64_t announced = m_input.textNumber("the number of elements");
    m_input.line();
    const std::size_t count = m_input.checkedCount(announced, "the number of elements", 4, 4);
    m_input.isBinary() ? readBinaryElements2(count) : readTextElements2(count);
  }

  /// Adds an element to a run of its like.
  void extend(const MshType*& runType, MxCellBlock& run, const MshType& type,
              const std::int64_t* numbers, std::size_t firstTag, std::size_t tags)
  {
    const std::size_t stride = firstTag + tags + type.nodes;
    if (runType == &type && run.stride == stride && run.numbers + run.count * stride == numbers) {
      ++run.count;
      return;
    }
    if (runType) add(*runType, run);
    runType = &type;
    run = {};
    run.numbers = numbers;
    run.count = 1;
    run.stride = static_cast<std::uint32_t>(stride);
    run.firstNode = static_cast<std::uint16_t>(firstTag + tags);
    if (tags > 0) run.ids[0].column = static_cast<int>(firstTag);
    if (tags > 1) run.ids[1].column = static_cast<int>(firstTag) + 1;
  }

  static constexpr std::int64_t kMostTags = 1000;

  void readTextElements2(std::size_t count)
  {
    const char* const first = m_input.getPlace();
    m_input.skipSection("Elements");
    const char* const behind = m_input.getPlace() - std::string_view("$EndElements").size();
    m_input.setPlace(first);
    const std::size_t size = mxCountWords(first, behind, m_parallel);
    const MxFileArray words = m_input.numbers(size, "the elements");
    const std::int64_t* const numbers = m_blocks.keep(words);
    const MshType* runType = nullptr;
    MxCellBlock run;
    std::size_t at = 0;
    for (std::size_t element = 0; element < count; ++element) {
      const auto refuse = [&] {
        m_input.setPlace(first);
        m_input.fail("element " + std::to_string(element) + " of " + std::to_string(count) +
                     " does not fit the " + std::to_string(size) + " numbers of the section");
      };
      if (size - at < 3) refuse();
      const std::int64_t tags = numbers[at + 2];
      if (tags < 0 || tags > kMostTags) refuse();
      const MshType& type = typeOf(numbers[at + 1]);
      const std::size_t each = 3 + static_cast<std::size_t>(tags) + type.nodes;
      if (each > size - at) refuse();
      extend(runType, run, type, numbers + at, 3, static_cast<std::size_t>(tags));
      at += each;
    }
    if (runType) add(*runType, run);
    if (at != size)
      m_input.fail("the elements use " + std::to_string(at) + " of the " + std::to_string(size) +
                   " numbers of the section");
  }

  void readBinaryElements2(std::size_t count)
  {
    // Twice: for the room that the numbers take, and for the numbers.
    const char* const first = m_input.getPlace();
    std::int64_t* numbers = nullptr;
    std::size_t size = 0;
    const MshType* runType = nullptr;
    MxCellBlock run;
    for (const bool fill : {false, true}) {
      m_input.setPlace(first);
      if (fill) {
        auto room = MxFileArray::of<std::int64_t>(size);
        numbers = room.as<std::int64_t>();
        m_blocks.keep(room);
      }
      for (std::size_t done = 0; done < count;) {
        const MshType& type = typeOf(m_input.number("an element type"));
        const std::int64_t here = m_input.number("the number of elements of a block");
        const std::int64_t tags = m_input.number("the number of tags");
        if (tags < 0 || tags > kMostTags)
          m_input.fail("an element has " + std::to_string(tags) + " tags");
        if (here < 1 || static_cast<std::size_t>(here) > count - done)
          m_input.fail("a block has " + std::to_string(here) + " elements, but " +
                       std::to_string(count - done) + " are left");
        const std::size_t each = 1 + static_cast<std::size_t>(tags) + type.nodes;
        const std::size_t total = each * static_cast<std::size_t>(here);
        if (!fill) {
          m_input.take(total, 4, "elements");
          size += total;
        } else {
          const MxFileArray block = m_input.numbers(total, "elements");
          std::copy_n(block.as<std::int64_t>(), total, numbers);
          for (std::int64_t i = 0; i < here; ++i, numbers += each)
            extend(runType, run, type, numbers, 1, static_cast<std::size_t>(tags));
        }
        done += static_cast<std::size_t>(here);
      }
    }
    if (runType) add(*runType, run);
  }

  // ---- values

  void readView(std::string_view section)
  {
    View view;
    view.binding = section == "ElementData" ? MiDataBinding::PerCell : MiDataBinding::PerNode;
    view.ofCorners = section == "ElementNodeData";
    const std::int64_t texts = m_input.textNumber("the number of texts");
    m_input.line();
    for (std::int64_t i = 0; i < texts; ++i) {
      if (m_input.getLeft() == 0) m_input.fail("the texts of a data section are missing");
      std::string_view text = m_input.line();
      if (text.size() > 1 && text.front() == '"' && text.back() == '"')
        text = text.substr(1, text.size() - 2);
      if (i == 0) view.name = text;
    }
    const std::int64_t reals = m_input.textNumber("the number of real tags");
    for (std::int64_t i = 0; i < reals; ++i) {
      const double real = m_input.textReal("a real tag");
      if (i == 0) view.time = real;
    }
    const std::int64_t integers = m_input.textNumber("the number of integer tags");
    std::int64_t components = 1, count = 0;
    for (std::int64_t i = 0; i < integers; ++i) {
      const std::int64_t integer = m_input.textNumber("an integer tag");
      if (i == 1) components = integer;
      if (i == 2) count = integer;
    }
    if (components < 1 || components > 9)
      m_input.fail("values have " + std::to_string(components) + " components");
    m_input.line();
    view.components = static_cast<std::size_t>(components);
    view.count = m_input.checkedCount(count, "the number of values", 1 + view.components,
                                      4 + 8 * view.components);
    view.place = m_input.getPlace();
    if (m_input.isBinary() && !view.ofCorners)
      m_input.take(view.count, 4 + 8 * view.components, "values");
    for (std::size_t i = 0; i < view.count && m_input.isBinary() && view.ofCorners; ++i) {
      m_input.number("the number of an element");
      m_input.take(cornerCount(), 8 * view.components, "values");
    }
    m_views.push_back(std::move(view));
  }

  /// Reads for how many nodes of an element values follow.
  std::size_t cornerCount()
  {
    const std::int64_t count = m_input.number("the number of values of an element");
    if (count < 0 || count > kMostCorners)
      m_input.fail("an element has values for " + std::to_string(count) + " nodes");
    return static_cast<std::size_t>(count);
  }

  /// Of views of one name those at the time that is nearest to the wanted one, or the first.
  void chooseViews()
  {
    if (m_request.time && !m_views.empty()) {
      const auto [first, last] =
          std::minmax_element(m_views.begin(), m_views.end(),
                              [](const View& a, const View& b) { return a.time < b.time; });
      mxCheckTime(m_file, *m_request.time, first->time, last->time);
    }
    std::vector<View> chosen;
    for (View& view : m_views) {
      const auto same = std::find_if(chosen.begin(), chosen.end(), [&](const View& other) {
        return other.name == view.name && other.binding == view.binding &&
               other.ofCorners == view.ofCorners;
      });
      if (same == chosen.end()) {
        if (chosen.size() < kMostViews) chosen.push_back(std::move(view));
      } else if (m_request.time &&
                 std::abs(view.time - *m_request.time) < std::abs(same->time - *m_request.time))
      {
        *same = std::move(view);
      }
    }
    m_views = std::move(chosen);
    if (!m_views.empty()) m_mesh.time = m_views[0].time;
  }

  void readValues(const View& view, const MxNumberMap& places, std::size_t items)
  {
    m_input.setPlace(view.place);
    const std::size_t n = view.components;
    auto values = MxFileArray::of<double>(items * n);
    std::fill_n(values.as<double>(), items * n, std::nan(""));
    auto* const to = values.as<double>();
    std::size_t filled = 0;
    const auto put = [&](std::int64_t tag, const auto& write) {
      const std::int64_t place = places.find(tag);
      if (place < 0 || static_cast<std::size_t>(place) >= items) return;
      write(to + static_cast<std::size_t>(place) * n);
      ++filled;
    };
    if (m_input.isBinary()) {
      const std::size_t width = 4 + 8 * n;
      const char* const from = m_input.take(view.count, width, "values");
      for (std::size_t i = 0; i < view.count; ++i) {
        std::int32_t tag = 0;
        m_input.copy(reinterpret_cast<std::byte*>(&tag), from + width * i, 1, 4);
        put(tag, [&](double* own) {
          m_input.copy(reinterpret_cast<std::byte*>(own), from + width * i + 4, n, 8);
        });
      }
    } else {
      const MxFileArray numbers = m_input.reals(view.count * (n + 1), "values");
      for (std::size_t i = 0; i < view.count; ++i) {
        const double* from = numbers.as<double>() + (n + 1) * i;
        put(asTag(from[0]), [&](double* own) { std::copy_n(from + 1, n, own); });
      }
    }
    m_mesh.sets.push_back({view.name, view.binding, n, std::move(values), filled < items});
  }

  /// A node that several elements have values for gets their mean.
  void readCornerValues(const View& view, const MxNumberMap& nodes, const MxNumberMap& cells)
  {
    m_input.setPlace(view.place);
    const std::size_t n = view.components;
    auto sums = MxFileArray::of<double>(m_mesh.nodeCount * n);
    auto* const to = sums.as<double>();
    std::fill_n(to, sums.size, 0.0);
    std::vector<std::uint32_t> counts(m_mesh.nodeCount, 0);
    std::vector<double> room;
    for (std::size_t i = 0; i < view.count; ++i) {
      const std::int64_t cell = cells.find(m_input.number("the number of an element"));
      const std::size_t corners = cornerCount();
      room.resize(corners * n);
      if (m_input.isBinary())
        m_input.copy(reinterpret_cast<std::byte*>(room.data()),
                     m_input.take(corners, 8 * n, "values"), corners * n, 8);
      else
        for (double& value : room)
          value = m_input.textReal("a value");
      if (cell < 0 || static_cast<std::size_t>(cell) >= m_mesh.cells.count) continue;
      std::size_t element = 0;
      const MxCellBlock& block = m_blocks.blockOf(static_cast<std::size_t>(cell), element);
      const std::int64_t* const own = block.numbers + element * block.stride + block.firstNode;
      const std::size_t known =
          std::min(corners, static_cast<std::size_t>(block.stride - block.firstNode));
      for (std::size_t corner = 0; corner < known; ++corner) {
        const std::int64_t node = nodes.find(own[corner]);
        if (node < 0 || static_cast<std::size_t>(node) >= m_mesh.nodeCount) continue;
        ++counts[static_cast<std::size_t>(node)];
        for (std::size_t c = 0; c < n; ++c)
          to[static_cast<std::size_t>(node) * n + c] += room[corner * n + c];
      }
    }
    for (std::size_t i = 0; i < sums.size; ++i)
      to[i] = counts[i / n] ? to[i] / counts[i / n] : std::nan("");
    m_mesh.notes.push_back("The values of '" + view.name +
                           "' per node of each element are averaged at the nodes.");
    const bool isPartial = std::find(counts.begin(), counts.end(), 0u) != counts.end();
    m_mesh.sets.push_back({view.name, view.binding, n, std::move(sums), isPartial});
  }

  void finish()
  {
    const MxNumberMap nodes(m_tags.span<const std::int64_t>(), m_parallel);
    if (nodes.getRepeatedCount() > 0)
      m_mesh.notes.push_back(std::to_string(nodes.getRepeatedCount()) +
                             " nodes have the tag of another one before them.");
    for (const auto& [type, count] : m_leftOut)
      m_mesh.notes.push_back(std::to_string(count) + " elements of type " + std::to_string(type) +
                             " are left out: their order is too high.");
    const MxCellBlocks::Space space{&nodes, 0};
    const std::string names[] = {"physical", "entity"};
    m_blocks.finish(m_mesh, {&space, 1}, names, m_parallel);
    chooseViews();
    MxNumberMap cells;
    if (std::any_of(m_views.begin(), m_views.end(), [](const View& view) {
          return view.binding == MiDataBinding::PerCell || view.ofCorners;
        }))
      cells = MxNumberMap(m_blocks.column(0, m_parallel).span<const std::int64_t>(), m_parallel);
    for (const View& view : m_views) {
      if (view.ofCorners)
        readCornerValues(view, nodes, cells);
      else if (view.binding == MiDataBinding::PerNode)
        readValues(view, nodes, m_mesh.nodeCount);
      else
        readValues(view, cells, m_mesh.cells.count);
    }
  }

  const MxFileBytes& m_file;
  const MxReadRequest& m_request;
  const bool m_parallel;
  const std::size_t m_size;
  MxMshInput m_input;
  bool m_hasNodes = false;
  MxFileMesh m_mesh;
  MxFileArray m_tags;
  std::map<std::pair<int, std::int64_t>, std::int64_t> m_physicals;
  MxCellBlocks m_blocks;
  std::map<int, std::size_t> m_leftOut;
  std::vector<View> m_views;
};

} // namespace

bool mxIsMsh(const MxFileBytes& file)
{
  std::string_view head = file.head();
  head.remove_prefix(std::min(head.size(), head.find_first_not_of(" \t\r\n")));
  return head.starts_with("$MeshFormat") || head.starts_with("$Comments") ||
         head.starts_with("$NOD");
}

MxFileMesh mxReadMsh(const MxFileBytes& file, const MxReadRequest& request)
{
  return MshReader(file, request).run();
}
