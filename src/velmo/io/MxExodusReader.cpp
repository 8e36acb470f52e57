#include <velmo/io/MxFileBytes.h>
#include <velmo/io/MxFileFormats.h>

bool mxIsExodus(const MxFileBytes& file)
{
  const std::string_view head = file.head();
  return head.starts_with("CDF\x01") || head.starts_with("CDF\x02") ||
         head.starts_with("CDF\x05") || head.starts_with("\x89HDF\r\n\x1a\n");
}

#ifndef VELMO_HAS_NETCDF

MxFileMesh mxReadExodus(const MxFileBytes& file, const MxReadRequest&)
{
  file.fail("", "is a netCDF file; Exodus II is read through the library netCDF (Debian's "
                "libnetcdf-dev), without which this program was built");
}

#else

#include <velmo/io/MxCellBlocks.h>
#include <velmo/io/MxExodusPoly.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace {

/// Families of element types: how their names begin, their dimension, and the node counts of the
/// shapes. Elements with more nodes, such as one in their middle, are read without those.
struct Family
{
  std::string_view name;
  int dimension;
  std::array<std::size_t, 3> nodes;
};
constexpr Family kFamilies[] = {
    {"HEX", 3, {8, 20, 27}}, {"TET", 3, {4, 10, 10}}, {"WED", 3, {6, 15, 18}},
    {"PYR", 3, {5, 13, 13}}, {"QUA", 2, {4, 8, 9}},   {"SHE", 2, {4, 8, 9}},
    {"TRI", 2, {3, 6, 6}},   {"BAR", 1, {2, 3, 3}},   {"BEA", 1, {2, 3, 3}},
    {"TRU", 1, {2, 3, 3}},   {"ROD", 1, {2, 3, 3}},   {"EDG", 1, {2, 3, 3}},
    {"LIN", 1, {2, 3, 3}},   {"SPH", 0, {1, 1, 1}},   {"CIR", 0, {1, 1, 1}},
    {"NOD", 0, {1, 1, 1}},   {"POI", 0, {1, 1, 1}}};

/// Each set takes a byte a node or cell.
constexpr std::size_t kMostSets = 100;

std::string capitals(std::string text)
{
  for (char& c : text)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return text;
}

const MxElementType* typeOf(const std::string& name, std::size_t nodes)
{
  for (const Family& family : kFamilies) {
    if (!capitals(name).starts_with(family.name)) continue;
    // A shell of three nodes is a triangle.
    if (family.name == "SHE" && (nodes == 3 || nodes == 6))
      return mxElementType(MxElementOrder::Exodus, 2, nodes);
    std::size_t used = 0;
    for (const std::size_t count : family.nodes)
      if (count <= nodes) used = count;
    return used ? mxElementType(MxElementOrder::Exodus, family.dimension, used) : nullptr;
  }
  return nullptr;
}

/// A variable, or the parts of a vector.
struct Variable
{
  std::string name;
  std::vector<std::size_t> parts; ///< numbers of the variables, from 0
};

/// Variables that are called alike but for X, Y and Z at the end are a vector; without a Z on a
/// mesh of two dimensions.
std::vector<Variable> joinVectors(const std::vector<std::string>& names, std::size_t dimensions)
{
  std::vector<Variable> variables;
  for (std::size_t i = 0; i < names.size();) {
    const std::size_t wanted = std::max<std::size_t>(2, dimensions);
    std::size_t parts = 0;
    std::string stem = names[i].empty() ? "" : names[i].substr(0, names[i].size() - 1);
    while (!stem.empty() && parts < wanted && i + parts < names.size() &&
           (names[i + parts] == stem + "XYZ"[parts] || names[i + parts] == stem + "xyz"[parts]))
      ++parts;
    if (parts < wanted) {
      variables.push_back({names[i], {i}});
      ++i;
      continue;
    }
    if (stem.back() == '_') stem.pop_back();
    Variable& variable = variables.emplace_back();
    variable.name = stem;
    for (std::size_t part = 0; part < parts; ++part)
      variable.parts.push_back(i++);
  }
  return variables;
}

class ExodusReader
{
public:
  ExodusReader(const MxFileBytes& file, const MxReadRequest& request)
      : m_request(request), m_parallel(request.parallel), m_file(file)
  {
    m_mesh.format = "exodus";
  }

  MxFileMesh run()
  {
    m_dimensions = m_file.dimension("num_dim");
    m_mesh.nodeCount = m_file.dimension("num_nodes");
    if (m_dimensions == 0 || m_dimensions > 3) m_file.fail("is a netCDF file, but no Exodus II");
    m_mesh.title = m_file.text(MxNetcdfFile::kGlobal, "title");
    readPoints();
    progress(0.3);
    readBlocks();
    progress(0.7);
    chooseStep();
    readNodeVariables();
    readCellVariables();
    readSets();
    return std::move(m_mesh);
  }

private:
  void progress(double done) const
  {
    if (m_request.progress) m_request.progress(done);
  }

  void readPoints()
  {
    const std::size_t n = m_mesh.nodeCount;
    m_file.checkFits(n, m_dimensions * sizeof(float), "num_nodes");
    m_mesh.points = MxFileArray::of<double>(3 * n);
    auto* const to = m_mesh.points.as<double>();
    const bool together = m_file.hasVariable("coord");
    for (std::size_t axis = 0; axis < 3; ++axis) {
      MxFileArray values;
      if (axis < m_dimensions && n > 0)
        values = together
                     ? m_file.read("coord", {axis, 0}, {1, n}, MiScalarType::Float64)
                     : m_file.read(
                           std::string("coord") + "xyz" [axis], { 0 }, {n}, MiScalarType::Float64);
      forEachBlock(m_parallel, n, kFileBlock,
                   [&](std::size_t, std::size_t first, std::size_t last) {
                     for (std::size_t i = first; i < last; ++i)
                       to[3 * i + axis] = values ? values.as<double>()[i] : 0;
                   });
    }
  }

  /// Elements of one block that became cells.
  struct Kept
  {
    std::size_t block = 0, count = 0;
    std::int64_t id = 0;
    std::size_t firstElement = 0, firstCell = 0;
  };

  void readBlocks()
  {
    const std::size_t blocks = m_file.dimension("num_el_blk");
    // Each block has dimensions and a variable of its own in the header.
    m_file.checkNamed(blocks, "num_el_blk");
    MxFileArray ids;
    if (m_file.hasVariable("eb_prop1"))
      ids = m_file.read("eb_prop1", {0}, {blocks}, MiScalarType::Int64);
    std::vector<std::string> names;
    if (m_file.hasVariable("eb_names")) names = m_file.texts("eb_names", blocks);
    std::vector<Kept> all;
    std::size_t elements = 0;
    for (std::size_t b = 0; b < blocks; ++b) {
      Kept own;
      own.block = b;
      own.count = m_file.dimension("num_el_in_blk" + std::to_string(b + 1));
      own.id = ids ? ids.as<std::int64_t>()[b] : static_cast<std::int64_t>(b) + 1;
      own.firstElement = elements;
      elements += own.count;
      all.push_back(own);
      if (own.count > 0 && readBlock(own) && b < names.size() && !names[b].empty())
        m_mesh.remarks.push_back("Block " + std::to_string(own.id) + " is called " + names[b] +
                                 ".");
    }
    const MxNumberMap nodes = MxNumberMap::consecutive(1, m_mesh.nodeCount);
    const MxCellBlocks::Space space{&nodes, 0};
    m_blocks.finish(m_mesh, {&space, 1}, {}, m_parallel);
    for (const MxCellBlock& block : m_blocks.getBlocks())
      m_kept.push_back(all[static_cast<std::size_t>(block.ids[0].value)]);
    joinPolyBlocks();
    std::size_t cells = 0;
    for (Kept& kept : m_kept) {
      m_firstElements[kept.firstElement] = static_cast<std::size_t>(&kept - m_kept.data());
      kept.firstCell = cells;
      cells += kept.count;
    }
    addBlockIds();
  }

  /// False for elements that no shape fits.
  bool readBlock(const Kept& own)
  {
    const std::string number = std::to_string(own.block + 1), connect = "connect" + number,
                      faces = "facconn" + number;
    const bool polyhedra = m_file.hasVariable(faces);
    if (!polyhedra && !m_file.hasVariable(connect)) return false;
    const std::string typeName = m_file.text(polyhedra ? faces : connect, "elem_type");
    if (polyhedra || capitals(typeName) == "NSIDED") {
      MxFileMesh& part = m_poly.emplace_back();
      part.cells = polyhedra ? m_polyBlocks.readPolyhedra(number, own.count)
                             : m_polyBlocks.readPolygons(number, own.count);
      m_polyKept.push_back(own);
      return true;
    }
    const std::size_t nodes = m_file.dimension("num_nod_per_el" + number);
    MxCellBlock block;
    block.type = typeOf(typeName, nodes);
    if (!block.type) {
      m_mesh.notes.push_back(std::to_string(own.count) + " elements of type " + typeName +
                             " with " + std::to_string(nodes) +
                             " nodes are left out: there is no shape for them.");
      return false;
    }
    block.count = own.count;
    block.numbers =
        m_blocks.keep(m_file.read(connect, {0, 0}, {block.count, nodes}, MiScalarType::Int64));
    block.stride = static_cast<std::uint32_t>(nodes);
    block.ids[0].value = static_cast<std::int64_t>(own.block);
    m_blocks.add(block);
    return true;
  }

  /// Cells of any number of nodes come behind those of the other blocks.
  void joinPolyBlocks()
  {
    if (m_poly.empty()) return;
    if (m_mesh.cells.count > 0) {
      m_poly.emplace(m_poly.begin());
      m_poly.front().cells = std::move(m_mesh.cells);
    }
    m_mesh.cells = mxJoinParts(std::move(m_poly), m_file.getPath()).cells;
    m_kept.insert(m_kept.end(), m_polyKept.begin(), m_polyKept.end());
  }

  void addBlockIds()
  {
    const bool narrow = std::all_of(m_kept.begin(), m_kept.end(), [](const Kept& kept) {
      return kept.id == static_cast<std::int32_t>(kept.id);
    });
    const auto add = [&](auto number) {
      auto ids = MxFileArray::of<decltype(number)>(m_mesh.cells.count);
      for (const Kept& kept : m_kept)
        std::fill_n(ids.template as<decltype(number)>() + kept.firstCell, kept.count,
                    static_cast<decltype(number)>(kept.id));
      m_mesh.sets.push_back({"block", MiDataBinding::PerCell, 1, std::move(ids)});
    };
    if (m_mesh.cells.count > 0) narrow ? add(std::int32_t{}) : add(std::int64_t{});
  }

  /// Sets of nodes, elements and sides of elements, as 0 and 1 for each node or cell.
  void readSets()
  {
    struct SetKind
    {
      const char *sets, *size, *members, *ids, *names, *label;
      MiDataBinding binding;
    };
    constexpr SetKind kKinds[] = {{"num_node_sets", "num_nod_ns", "node_ns", "ns_prop1", "ns_names",
                                   "node set", MiDataBinding::PerNode},
                                  {"num_elem_sets", "num_ele_els", "elem_els", "els_prop1",
                                   "els_names", "element set", MiDataBinding::PerCell},
                                  {"num_side_sets", "num_side_ss", "elem_ss", "ss_prop1",
                                   "ss_names", "side set", MiDataBinding::PerCell}};
    bool hasSides = false;
    std::size_t tooMany = 0, made = 0;
    for (const SetKind& kind : kKinds) {
      const std::size_t sets = m_file.dimension(kind.sets);
      m_file.checkNamed(sets, kind.sets);
      std::vector<std::string> names;
      if (m_file.hasVariable(kind.names)) names = m_file.texts(kind.names, sets);
      MxFileArray ids;
      if (m_file.hasVariable(kind.ids))
        ids = m_file.read(kind.ids, {0}, {sets}, MiScalarType::Int64);
      for (std::size_t s = 0; s < sets; ++s) {
        const std::string number = std::to_string(s + 1);
        const std::size_t size = m_file.dimension(kind.size + number);
        if (size == 0 || !m_file.hasVariable(kind.members + number)) continue;
        if (made++ >= kMostSets) {
          ++tooMany;
          continue;
        }
        const MxFileArray members =
            m_file.read(kind.members + number, {0}, {size}, MiScalarType::Int64);
        const std::int64_t id = ids ? ids.as<std::int64_t>()[s] : static_cast<std::int64_t>(s) + 1;
        const bool named = s < names.size() && !names[s].empty();
        addSet(named ? names[s] : kind.label + (" " + std::to_string(id)), kind.binding, members);
        hasSides |= kind.members == std::string_view("elem_ss");
      }
    }
    if (hasSides)
      m_mesh.remarks.emplace_back(
          "A side set marks the cells that it has sides of, not the sides.");
    if (tooMany > 0)
      m_mesh.notes.push_back(std::to_string(tooMany) + " sets are left out; the first " +
                             std::to_string(kMostSets) + " are read.");
  }

  void addSet(const std::string& name, MiDataBinding binding, const MxFileArray& members)
  {
    const bool perNode = binding == MiDataBinding::PerNode;
    const std::size_t items = perNode ? m_mesh.nodeCount : m_mesh.cells.count;
    if (items == 0) return;
    auto marks = MxFileArray::of<std::uint8_t>(items);
    std::fill_n(marks.as<std::uint8_t>(), items, std::uint8_t{0});
    for (const std::int64_t member : members.span<const std::int64_t>()) {
      // Members are counted from 1; those of elements that are left out have no cell.
      const std::uint64_t item = static_cast<std::uint64_t>(member) - 1;
      if (perNode) {
        if (item < items) marks.as<std::uint8_t>()[item] = 1;
        continue;
      }
      auto kept = m_firstElements.upper_bound(item);
      if (kept == m_firstElements.begin()) continue;
      const Kept& own = m_kept[(--kept)->second];
      if (item - own.firstElement < own.count)
        marks.as<std::uint8_t>()[own.firstCell + item - own.firstElement] = 1;
    }
    m_mesh.sets.push_back({name, binding, 1, std::move(marks)});
  }

  void chooseStep()
  {
    const std::size_t steps = m_file.dimension("time_step");
    if (steps == 0 || !m_file.hasVariable("time_whole")) return;
    m_hasSteps = true;
    const MxFileArray times = m_file.read("time_whole", {0}, {steps}, MiScalarType::Float64);
    const auto all = times.span<const double>();
    if (m_request.time) {
      const auto [first, last] = std::minmax_element(all.begin(), all.end());
      mxCheckTime(m_file.getBytes(), *m_request.time, *first, *last);
    }
    if (m_request.time)
      for (std::size_t step = 1; step < steps; ++step)
        if (std::abs(all[step] - *m_request.time) < std::abs(all[m_step] - *m_request.time))
          m_step = step;
    m_mesh.time = all[m_step];
  }

  void add(const std::string& name, MiDataBinding binding, std::size_t items,
           const std::vector<MxFileArray>& parts)
  {
    if (parts.size() == 1) {
      m_mesh.sets.push_back({name, binding, 1, parts[0]});
      return;
    }
    // Vectors of two dimensions get a third component.
    MxFileArray values(parts[0].type, 3 * items);
    visitNumbers(values, [&](auto to) {
      using T = typename decltype(to)::value_type;
      for (std::size_t c = 0; c < 3; ++c)
        for (std::size_t i = 0; i < items; ++i)
          to[3 * i + c] = c < parts.size() ? parts[c].template as<T>()[i] : T{};
    });
    m_mesh.sets.push_back({name, binding, 3, std::move(values)});
  }

  std::vector<Variable> variables(const char* names, const char* count) const
  {
    if (!m_hasSteps || !m_file.hasVariable(names)) return {};
    return joinVectors(m_file.texts(names, m_file.dimension(count)), m_dimensions);
  }

  void readNodeVariables()
  {
    const std::size_t n = m_mesh.nodeCount;
    if (n == 0) return;
    // Parts of a vector are of one type.
    const auto read = [&](std::size_t variable) {
      const std::string own = "vals_nod_var" + std::to_string(variable + 1);
      if (m_file.hasVariable(own))
        return m_file.read(own, {m_step, 0}, {1, n}, m_file.realType(own));
      return m_file.read("vals_nod_var", {m_step, variable, 0}, {1, 1, n},
                         m_file.realType("vals_nod_var"));
    };
    for (const Variable& variable : variables("name_nod_var", "num_nod_var")) {
      std::vector<MxFileArray> parts;
      for (const std::size_t part : variable.parts)
        parts.push_back(read(part));
      add(variable.name, MiDataBinding::PerNode, n, parts);
    }
  }

  /// Blocks that a variable is not given for have NaN.
  void readCellVariables()
  {
    const std::size_t n = m_mesh.cells.count;
    if (n == 0) return;
    bool isPartial = false;
    const auto read = [&](std::size_t variable) {
      auto values = MxFileArray::of<double>(n);
      for (const Kept& kept : m_kept) {
        auto* const to = values.as<double>() + kept.firstCell;
        const std::string own =
            "vals_elem_var" + std::to_string(variable + 1) + "eb" + std::to_string(kept.block + 1);
        if (m_file.hasVariable(own)) {
          const MxFileArray some =
              m_file.read(own, {m_step, 0}, {1, kept.count}, MiScalarType::Float64);
          std::copy_n(some.as<double>(), kept.count, to);
        } else {
          std::fill_n(to, kept.count, std::nan(""));
          isPartial = true;
        }
      }
      return values;
    };
    for (const Variable& variable : variables("name_elem_var", "num_elem_var")) {
      isPartial = false;
      std::vector<MxFileArray> parts;
      for (const std::size_t part : variable.parts)
        parts.push_back(read(part));
      add(variable.name, MiDataBinding::PerCell, n, parts);
      m_mesh.sets.back().isPartial = isPartial;
    }
  }

  const MxReadRequest& m_request;
  const bool m_parallel;
  MxNetcdfFile m_file;
  MxFileMesh m_mesh;
  MxCellBlocks m_blocks;
  MxExodusPoly m_polyBlocks{m_file};
  std::vector<MxFileMesh> m_poly;                     ///< cells of blocks of any number of nodes
  std::vector<Kept> m_kept, m_polyKept;               ///< in the order of the cells
  std::map<std::size_t, std::size_t> m_firstElements; ///< which of m_kept begins there
  std::size_t m_dimensions = 0, m_step = 0;
  bool m_hasSteps = false;
};

} // namespace

MxFileMesh mxReadExodus(const MxFileBytes& file, const MxReadRequest& request)
{
  return ExodusReader(file, request).run();
}

#endif
