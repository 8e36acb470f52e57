#include <velmo/io/MxInpModel.h>

#include <velmo/base/MxMemoryLimit.h>
#include <velmo/io/MxFileBytes.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

constexpr std::size_t kMostSets = 64;

std::string joined(const std::vector<std::string>& names)
{
  std::string text;
  for (const std::string& name : names)
    text += (text.empty() ? "" : ", ") + name;
  return text;
}

/// Turns a point about the axis of an instance, after moving it.
MbVec3d placed(const MbVec3d& point, const MxInpInstance& instance)
{
  const MbVec3d moved = point + instance.shift;
  const MbVec3d axis = instance.axisTo - instance.axisFrom;
  const double length = std::sqrt(dot(axis, axis));
  if (instance.degrees == 0 || !(length > 0)) return moved;
  const MbVec3d u = axis * (1 / length), v = moved - instance.axisFrom;
  const double angle = instance.degrees * std::numbers::pi / 180;
  const double c = std::cos(angle), s = std::sin(angle);
  return instance.axisFrom + v * c + cross(u, v) * s + u * (dot(u, v) * (1 - c));
}

} // namespace

void MxInpModel::beginPart(const std::string& name)
{
  m_part = m_parts.size();
  m_parts.emplace_back().name = name;
  m_partNames.emplace(name, m_part);
}

bool MxInpModel::findPart(const std::string& name, std::size_t& part) const
{
  const auto found = m_partNames.find(name);
  if (found == m_partNames.end()) return false;
  part = found->second;
  return true;
}

void MxInpModel::addNodes(const MxFileArray& numbers, const MxFileArray& points)
{
  Part& part = m_parts[m_part];
  part.numbers.push_back(numbers);
  part.points.push_back(points);
  part.nodeCount += numbers.size;
}

void MxInpModel::addElements(const MxElementType& type, const MxFileArray& numbers,
                             const std::string& set)
{
  MxCellBlock block;
  block.type = &type;
  block.stride = type.nodeCount + std::uint32_t{1};
  block.firstNode = 1;
  block.count = numbers.size / block.stride;
  block.numbers = m_blocks.keep(numbers);
  if (!set.empty())
    block.ids[0].value =
        m_elementSets.emplace(set, static_cast<std::int64_t>(m_elementSets.size()) + 1)
            .first->second;
  m_parts[m_part].blocks.push_back(block);
}

MxInpSet& MxInpModel::set(const std::string& name, MiDataBinding binding,
                          const std::string& instance)
{
  const auto [place, isNew] =
      m_setPlaces.emplace(std::tuple(binding, m_part, instance, name), m_sets.size());
  if (!isNew) return m_sets[place->second];
  MxInpSet& set = m_sets.emplace_back();
  set.name = name;
  set.binding = binding;
  set.part = m_part;
  set.instance = instance;
  return set;
}

void MxInpModel::addToSet(const std::string& name, MiDataBinding binding,
                          const MxFileArray& numbers)
{
  set(name, binding).lists.push_back(numbers);
}

void MxInpModel::leaveOut(const std::string& what)
{
  if (std::find(m_leftOut.begin(), m_leftOut.end(), what) == m_leftOut.end())
    m_leftOut.push_back(what);
}

void MxInpModel::placeParts(const MxFileBytes& file)
{
  std::vector<char> used(m_parts.size(), 0);
  for (const MxInpInstance& instance : m_instances) {
    m_spaces.push_back({.part = instance.part, .instance = &instance});
    used[instance.part] = 1;
  }
  for (std::size_t part = 0; part < m_parts.size(); ++part) {
    const bool outside = part == 0 && m_parts.size() > 1 && m_parts[0].blocks.empty();
    if (used[part] || m_parts[part].nodeCount == 0) continue;
    if (outside)
      m_mesh.notes.push_back(std::to_string(m_parts[0].nodeCount) +
                             " nodes outside of the parts are left out.");
    else if (part > 0 && !m_instances.empty())
      m_mesh.notes.push_back("The part " + m_parts[part].name + " has no instance: left out.");
    else
      m_spaces.push_back({.part = part, .instance = nullptr});
  }
  if (m_spaces.empty()) file.fail("", "has no nodes");
  if (m_spaces.size() > std::numeric_limits<std::uint16_t>::max())
    file.fail("", "has " + std::to_string(m_spaces.size()) + " instances, which are too many");
  std::size_t cells = 0;
  for (Space& space : m_spaces) {
    space.firstNode = m_mesh.nodeCount;
    m_mesh.nodeCount += m_parts[space.part].nodeCount;
    for (const MxCellBlock& block : m_parts[space.part].blocks)
      cells += block.count;
  }
  // Instances multiply what stands in the file.
  if (!mxFitsMemory(m_mesh.nodeCount, 3 * sizeof(double)) ||
      !mxFitsMemory(cells, 8 * sizeof(std::int32_t)))
    file.fail("", "has more nodes and elements in its instances than memory can hold");
}

void MxInpModel::fillPoints()
{
  m_mesh.points = MxFileArray::of<double>(3 * m_mesh.nodeCount);
  for (const Space& space : m_spaces) {
    auto* to = m_mesh.points.as<MbVec3d>() + space.firstNode;
    for (const MxFileArray& points : m_parts[space.part].points) {
      const auto* const from = points.as<MbVec3d>();
      forEachBlock(m_parallel, points.size / 3, kFileBlock,
                   [&](std::size_t, std::size_t first, std::size_t last) {
                     for (std::size_t i = first; i < last; ++i)
                       to[i] = space.instance ? placed(from[i], *space.instance) : from[i];
                   });
      to += points.size / 3;
    }
  }
}

MxFileMesh MxInpModel::finish(const MxFileBytes& file)
{
  m_mesh.format = "inp";
  placeParts(file);
  for (Part& part : m_parts) {
    auto numbers = MxFileArray::of<std::int64_t>(part.nodeCount);
    auto* to = numbers.as<std::int64_t>();
    for (const MxFileArray& some : part.numbers)
      to = std::copy_n(some.as<std::int64_t>(), some.size, to);
    part.numbers.assign(1, numbers);
    part.nodes = MxNumberMap(numbers.span<const std::int64_t>(), m_parallel);
    if (part.nodes.getRepeatedCount() > 0)
      m_mesh.notes.push_back(std::to_string(part.nodes.getRepeatedCount()) +
                             " nodes have the number of another one before them.");
  }
  fillPoints();

  for (const auto& [type, count] : m_leftOutElements)
    m_mesh.notes.push_back(std::to_string(count) + " elements of type " + type +
                           " are left out: there is no shape for them.");
  if (!m_leftOut.empty()) m_mesh.notes.push_back("Not carried out: " + joined(m_leftOut) + ".");

  std::vector<MxCellBlocks::Space> spaces;
  for (std::size_t s = 0; s < m_spaces.size(); ++s) {
    const Space& space = m_spaces[s];
    spaces.push_back({&m_parts[space.part].nodes, space.firstNode});
    for (MxCellBlock block : m_parts[space.part].blocks) {
      block.space = static_cast<std::uint16_t>(s);
      m_blocks.add(block);
    }
  }
  const std::string ids[] = {"ELSET"};
  m_blocks.finish(m_mesh, spaces, {ids, m_elementSets.empty() ? 0u : 1u}, m_parallel);
  if (m_elementSets.size() <= kMostSets)
    for (const auto& [name, number] : m_elementSets)
      m_mesh.remarks.push_back("ELSET " + std::to_string(number) + " is " + name + ".");
  makeSets();
  return std::move(m_mesh);
}

const MxInpSet* MxInpModel::findLike(const MxInpSet& like, const std::string& name) const
{
  const auto found = m_setPlaces.find(std::tuple(like.binding, like.part, like.instance, name));
  return found == m_setPlaces.end() ? nullptr : &m_sets[found->second];
}

/// Marks the members of a set; false when that takes too long.
bool MxInpModel::mark(const MxInpSet& set, const MxNumberMap& places,
                      std::span<const std::int64_t> known, std::uint8_t* marks, int depth)
{
  constexpr int kDeepest = 16;
  const auto work = [&](std::size_t steps) {
    if (steps > m_work) return false;
    m_work -= steps;
    return true;
  };
  const auto put = [&](std::int64_t number) {
    const std::int64_t place = places.find(number);
    if (place >= 0) marks[place] = 1;
  };
  for (const MxFileArray& list : set.lists) {
    if (!work(list.size)) return false;
    for (const std::int64_t number : list.span<const std::int64_t>())
      put(number);
  }
  if (!work(set.numbers.size() + set.ranges.size() + set.others.size())) return false;
  std::for_each(set.numbers.begin(), set.numbers.end(), put);
  for (const MxInpSet::Range& range : set.ranges) {
    if (range.last < range.first) continue;
    const auto first = static_cast<std::uint64_t>(range.first);
    const auto step = static_cast<std::uint64_t>(range.step);
    const std::uint64_t steps = (static_cast<std::uint64_t>(range.last) - first) / step;
    if (!work(std::min<std::size_t>(steps, known.size()))) return false;
    if (steps < known.size()) {
      for (std::uint64_t i = 0; i <= steps; ++i)
        put(static_cast<std::int64_t>(first + i * step));
      continue;
    }
    for (std::size_t place = 0; place < known.size(); ++place)
      if (known[place] >= range.first && known[place] <= range.last &&
          (static_cast<std::uint64_t>(known[place]) - first) % step == 0)
        marks[place] = 1;
  }
  for (const std::string& name : set.others) {
    const MxInpSet* other = findLike(set, name);
    if (other && (depth == kDeepest || !mark(*other, places, known, marks, depth + 1)))
      return false;
  }
  return true;
}

/// Marks the members of a set that lie in a space.
bool MxInpModel::markIn(const MxInpSet& set, std::size_t number, const MxNumberMap& places,
                        const MxFileArray& elements, std::uint8_t* marks)
{
  const Space& space = m_spaces[number];
  const bool meant = set.instance.empty() ? set.part == space.part
                                          : space.instance && space.instance->name == set.instance;
  if (!meant) return true;
  if (set.binding == MiDataBinding::PerNode) {
    const Part& part = m_parts[space.part];
    return mark(set, part.nodes, part.numbers[0].span<const std::int64_t>(),
                marks + space.firstNode, 0);
  }
  return mark(set, places,
              elements.span<const std::int64_t>().subspan(space.firstCell, space.cellCount),
              marks + space.firstCell, 0);
}

/// An array of zeros and ones for each name; those of no member, or of all, are left out.
void MxInpModel::makeSets()
{
  for (std::size_t s = 0, cell = 0, block = 0; s < m_spaces.size(); ++s) {
    const auto& blocks = m_blocks.getBlocks();
    m_spaces[s].firstCell = cell;
    for (; block < blocks.size() && blocks[block].space == s; ++block)
      cell += blocks[block].count;
    m_spaces[s].cellCount = cell - m_spaces[s].firstCell;
  }
  const bool perCell = std::any_of(m_sets.begin(), m_sets.end(), [](const MxInpSet& set) {
    return set.binding == MiDataBinding::PerCell;
  });
  MxFileArray elements;
  std::vector<MxNumberMap> places(m_spaces.size());
  if (perCell) {
    elements = m_blocks.column(0, m_parallel);
    for (std::size_t s = 0; s < m_spaces.size(); ++s)
      places[s] = MxNumberMap(
          elements.span<const std::int64_t>().subspan(m_spaces[s].firstCell, m_spaces[s].cellCount),
          m_parallel);
  }

  // Sets of one name, of all parts and instances, make one array.
  std::map<std::pair<MiDataBinding, std::string>, std::vector<const MxInpSet*>> named;
  for (const MxInpSet& set : m_sets)
    named[{set.binding, set.name}].push_back(&set);
  m_work = 100'000'000 + 100 * (m_mesh.nodeCount + m_mesh.cells.count);
  std::size_t made = 0, left = 0;
  for (const auto& [key, sets] : named) {
    const bool nodes = key.first == MiDataBinding::PerNode;
    const std::size_t items = nodes ? m_mesh.nodeCount : m_mesh.cells.count;
    if (made == kMostSets || items > m_work) {
      ++left;
      continue;
    }
    m_work -= items;
    auto marks = MxFileArray::of<std::uint8_t>(items);
    std::fill_n(marks.as<std::uint8_t>(), items, std::uint8_t{0});
    bool done = true;
    for (const MxInpSet* set : sets)
      for (std::size_t s = 0; s < m_spaces.size() && done; ++s)
        done = markIn(*set, s, places[s], elements, marks.as<std::uint8_t>());
    const auto all = marks.span<const std::uint8_t>();
    const auto members = static_cast<std::size_t>(std::count(all.begin(), all.end(), 1));
    if (!done) {
      ++left;
    } else if (members > 0 && members < items) {
      m_mesh.sets.push_back({key.second, key.first, 1, marks});
      ++made;
    }
  }
  if (left > 0)
    m_mesh.notes.push_back(std::to_string(left) + " sets of nodes or elements are left out: too "
                                                  "many, or too long.");
}
