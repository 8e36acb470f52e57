#include <velmo/io/MxFileBytes.h>
#include <velmo/io/MxFileFormats.h>

bool mxIsExodus(const MxFileBytes& file)
{
  const std::string_view head = file.head();
  return head.starts_with("CDF\x01") || head.starts_with("CDF\x02") ||
         head.starts_with("CDF\x05") || head.starts_with("\x89HDF\r\n\x1a\n");
}

#ifndef VELMO_HAVE_NETCDF

MxFileMesh mxReadExodus(const MxFileBytes& file, const MxReadRequest&)
{
  file.fail("", "is a netCDF file; Exodus II is read through the library netCDF (Debian's "
                "libnetcdf-dev), without which this program was built");
}

#else

#include <velmo/io/MxCellBlocks.h>
#include <velmo/io/MxNetcdfFile.h>

#include <algorithm>
#include <cmath>

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
    for (std::size_t b = 0; b < blocks; ++b) {
      const std::string number = std::to_string(b + 1), connect = "connect" + number;
      MxCellBlock block;
      block.count = m_file.dimension("num_el_in_blk" + number);
      if (block.count == 0 || !m_file.hasVariable(connect)) continue;
      const std::string typeName = m_file.text(connect, "elem_type");
      const std::size_t nodes = m_file.dimension("num_nod_per_el" + number);
      const std::int64_t id = ids ? ids.as<std::int64_t>()[b] : static_cast<std::int64_t>(b) + 1;
      block.type = typeOf(typeName, nodes);
      if (!block.type) {
        m_mesh.notes.push_back(std::to_string(block.count) + " elements of type " + typeName +
                               " with " + std::to_string(nodes) +
                               " nodes are left out: there is no shape for them.");
        continue;
      }
      block.numbers =
          m_blocks.keep(m_file.read(connect, {0, 0}, {block.count, nodes}, MiScalarType::Int64));
      block.stride = static_cast<std::uint32_t>(nodes);
      block.ids[0].value = id;
      block.ids[1].value = static_cast<std::int64_t>(b);
      m_blocks.add(block);
      if (b < names.size() && !names[b].empty())
        m_mesh.remarks.push_back("Block " + std::to_string(id) + " is called " + names[b] + ".");
    }
    const MxNumberMap nodes = MxNumberMap::consecutive(1, m_mesh.nodeCount);
    const MxCellBlocks::Space space{&nodes, 0};
    const std::string idNames[] = {"block"};
    m_blocks.finish(m_mesh, {&space, 1}, idNames, m_parallel);
  }

  void chooseStep()
  {
    const std::size_t steps = m_file.dimension("time_step");
    if (steps == 0 || !m_file.hasVariable("time_whole")) return;
    m_hasSteps = true;
    const MxFileArray times = m_file.read("time_whole", {0}, {steps}, MiScalarType::Float64);
    const auto all = times.span<const double>();
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
    const auto read = [&](std::size_t variable) {
      auto values = MxFileArray::of<double>(n);
      auto* to = values.as<double>();
      for (const MxCellBlock& block : m_blocks.getBlocks()) {
        const std::string own = "vals_elem_var" + std::to_string(variable + 1) + "eb" +
                                std::to_string(block.ids[1].value + 1);
        if (m_file.hasVariable(own)) {
          const MxFileArray some =
              m_file.read(own, {m_step, 0}, {1, block.count}, MiScalarType::Float64);
          std::copy_n(some.as<double>(), block.count, to);
        } else {
          std::fill_n(to, block.count, std::nan(""));
        }
        to += block.count;
      }
      return values;
    };
    for (const Variable& variable : variables("name_elem_var", "num_elem_var")) {
      std::vector<MxFileArray> parts;
      for (const std::size_t part : variable.parts)
        parts.push_back(read(part));
      add(variable.name, MiDataBinding::PerCell, n, parts);
    }
  }

  const MxReadRequest& m_request;
  const bool m_parallel;
  MxNetcdfFile m_file;
  MxFileMesh m_mesh;
  MxCellBlocks m_blocks;
  std::size_t m_dimensions = 0, m_step = 0;
  bool m_hasSteps = false;
};

} // namespace

MxFileMesh mxReadExodus(const MxFileBytes& file, const MxReadRequest& request)
{
  return ExodusReader(file, request).run();
}

#endif
