#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxSaveArrays.h>
#include <velmo/mesh/MbArray.h>
#include <velmo/mesh/MeXMesh.h>

#include <algorithm>

namespace {

using Form = MeXProvenance::NodeForm;

/// The source nodes of an extracted node.
struct Sources
{
  const std::uint32_t* nodes;
  const double* weights; ///< null for one node alone
  std::size_t count;
};

/// An extracted mesh, whatever its dimension.
struct Part
{
  const MeXGeometryI* geometry = nullptr;
  const MeXProvenance* provenance = nullptr;
  const MeXTopologyExplicitI* topology = nullptr; ///< null: a cell for each node
  bool knowsNodes = false, knowsCells = false;    ///< the provenance fits

  std::size_t nodeCount() const { return geometry->getNodeCount(); }
  std::size_t cellCount() const { return topology ? topology->getCellCount() : nodeCount(); }
  /// Where a cell's nodes begin in the list of all, which has no ends of cells between them.
  std::size_t nodesBefore(std::size_t cell) const
  {
    return topology ? topology->getCellBegin(cell) - cell : cell;
  }
  std::size_t listLength() const
  {
    const std::size_t count = cellCount();
    return count == 0 ? 0 : nodesBefore(count - 1) + cellSize(count - 1);
  }
  std::size_t cellSize(std::size_t cell) const
  {
    return topology ? topology->getCellSize(cell) : 1;
  }
  bool isAlongCells() const { return provenance->nodeCells.size() == nodeCount(); }

  Sources sourcesOf(std::size_t node, double (&room)[2]) const
  {
    const MeXProvenance& p = *provenance;
    if (p.form == Form::Node) return {p.nodes.data() + node, nullptr, 1};
    if (p.form == Form::Edge) {
      room[0] = 1 - p.weights[node];
      room[1] = p.weights[node];
      return {p.nodes.data() + 2 * node, room, 2};
    }
    const std::size_t begin = p.offsets[node];
    return {p.nodes.data() + begin, p.weights.data() + begin, p.offsets[node + 1] - begin};
  }
};

template <class Mesh>
bool takeMesh(const MiMesh& mesh, Part& part)
{
  const auto* own = dynamic_cast<const Mesh*>(&mesh);
  if (!own) return false;
  part.geometry = &own->geometry;
  part.provenance = &own->provenance;
  if constexpr (requires { own->topology; }) part.topology = &own->topology;
  return true;
}

Part partOf(const MiMesh& mesh)
{
  Part part;
  if (!takeMesh<MeXSurfaceMeshUnstructured>(mesh, part) &&
      !takeMesh<MeXLineMeshUnstructured>(mesh, part) &&
      !takeMesh<MeXPointMeshCurvilinear>(mesh, part))
    return part;
  const MeXProvenance& p = *part.provenance;
  const std::size_t nodes = part.nodeCount();
  part.knowsCells = p.cells.size() == part.cellCount();
  part.knowsNodes = p.form == Form::Node ? p.nodes.size() == nodes
                    : p.form == Form::Edge
                        ? p.weights.size() == nodes && p.nodes.size() == 2 * nodes
                        : p.offsets.size() == nodes + 1;
  return part;
}

std::size_t product(const MbIndex3& counts)
{
  return counts.x * counts.y * counts.z;
}

/// The parts of one file, and what is written of each.
class ExtractedOutput
{
public:
  ExtractedOutput(const std::string& path, const MbSaveOptions& options)
      : m_path(path), m_options(options)
  {}
  void addPart(const MiMesh& mesh);
  void write(std::span<const MbExtractedPart> described, std::span<const MbNamedArray> sources);

  std::vector<std::string> notes;

private:
  template <class Make>
  MxOutputArray joined(const Make& make) const
  {
    std::vector<MxOutputArray> arrays;
    for (std::size_t p = 0; p < m_parts.size(); ++p)
      arrays.push_back(make(m_parts[p], p));
    return mxJoined(std::move(arrays));
  }
  template <class Test>
  bool all(const Test& test) const
  {
    return std::all_of(m_parts.begin(), m_parts.end(), test);
  }
  void addPointProvenance(MxVtkXmlWriter& file, MxUniqueNames& names);
  void addCells(MxVtkXmlWriter& file, MxUniqueNames& names, bool perNode);
  void addMapped(MxVtkXmlWriter& file, MxUniqueNames& names, const MbNamedArray& array,
                 bool ontoNodes);
  void addData(MxVtkXmlWriter& file, MiDataBinding binding,
               std::span<const MbExtractedPart> described, std::span<const MbNamedArray> sources);
  template <class T>
  void addTopology(MxVtkXmlWriter& file, const char* element);
  void addGeometry(MxVtkXmlWriter& file);

  const std::string& m_path;
  const MbSaveOptions& m_options;
  std::vector<Part> m_parts;
  /// Nodes, and entries of the lists of cells, before each part, and of all.
  std::vector<std::size_t> m_nodeStarts{0}, m_listStarts{0};
  std::size_t m_cellCount = 0;
  int m_dimension = 2;
};

void ExtractedOutput::addPart(const MiMesh& mesh)
{
  const Part part = partOf(mesh);
  if (!part.geometry) throw MbMeshFileError(m_path, "", "is to hold a mesh that was not extracted");
  m_dimension = !part.topology                                                   ? 0
                : dynamic_cast<const MeXLineMeshUnstructured*>(&mesh) != nullptr ? 1
                                                                                 : 2;
  m_nodeStarts.push_back(m_nodeStarts.back() + part.nodeCount());
  m_listStarts.push_back(m_listStarts.back() + part.listLength());
  m_cellCount += part.cellCount();
  m_parts.push_back(part);
}

void ExtractedOutput::addPointProvenance(MxVtkXmlWriter& file, MxUniqueNames& names)
{
  if (!all([](const Part& part) { return part.knowsNodes; })) return;
  std::size_t most = 1;
  bool isMixed = false;
  for (const Part& part : m_parts) {
    isMixed = isMixed || part.provenance->form != Form::Node;
    if (part.provenance->form == Form::Edge) most = std::max<std::size_t>(most, 2);
    if (part.provenance->form == Form::Node || part.provenance->form == Form::Edge) continue;
    const auto& offsets = part.provenance->offsets;
    for (std::size_t node = 0; node < part.nodeCount(); ++node)
      most = std::max<std::size_t>(most, offsets[node + 1] - offsets[node]);
  }
  const auto add = [&]<class T>(const char* name, T nothing, const auto& valueOf) {
    const std::string own = names.take(name);
    file.add(joined([&](const Part& part, std::size_t) -> MxOutputArray {
      return {
          own, kMiScalarTypeOf<T>, most, most * part.nodeCount(), mxFillWith<T>([=](std::size_t n) {
            double room[2];
            const Sources sources = part.sourcesOf(n / most, room);
            return n % most < sources.count ? static_cast<T>(valueOf(sources, n % most)) : nothing;
          })};
    }));
  };
  add("SourceNodes", std::int64_t{-1},
      [](const Sources& sources, std::size_t n) { return sources.nodes[n]; });
  if (isMixed)
    add("SourceWeights", 0., [](const Sources& sources, std::size_t n) {
      return sources.weights ? sources.weights[n] : 1.;
    });
}

/// The source cells of cells, or of the nodes of lines.
void ExtractedOutput::addCells(MxVtkXmlWriter& file, MxUniqueNames& names, bool perNode)
{
  if (!all([&](const Part& part) { return perNode ? part.isAlongCells() : part.knowsCells; }))
    return;
  const auto cellsOf = [perNode](const Part& part) -> const MxArray<std::uint32_t>& {
    return perNode ? part.provenance->nodeCells : part.provenance->cells;
  };
  const auto add = [&](const char* name, std::size_t components, const auto& numberOf) {
    const std::string own = names.take(name);
    file.add(joined([&](const Part& part, std::size_t) -> MxOutputArray {
      const MxArray<std::uint32_t>& cells = cellsOf(part);
      return {own, MiScalarType::Int64, components, components * cells.size(),
              mxFillWith<std::int64_t>(
                  [=, &cells, counts = part.provenance->sourceCells](std::size_t n) {
                    return numberOf(cells[n / components], n % components, counts);
                  })};
    }));
  };
  add("SourceCell", 1,
      [](std::uint32_t cell, std::size_t, const MbIndex3&) -> std::size_t { return cell; });
  const MbIndex3 counts = m_parts.empty() ? MbIndex3{1, 1, 1} : m_parts[0].provenance->sourceCells;
  const auto indexOf = [](std::uint32_t cell, std::size_t axis, const MbIndex3& n) {
    const std::size_t row = n.x ? cell / n.x : 0;
    return axis == 0 ? cell - row * n.x : axis == 1 ? (n.y ? row % n.y : 0) : n.y ? row / n.y : 0;
  };
  if (counts.z > 1)
    add("SourceCellIjk", 3, indexOf);
  else if (counts.y > 1)
    add("SourceCellIj", 2, indexOf);
}

/// Mixes the numbers of the source's nodes; S and T are the types of source and file.
template <class S, class T>
auto mixWith(const Part& part, const MbNamedArray& array)
{
  const auto* from = static_cast<const std::byte*>(array.values.data);
  return mxFillWith<T>([=, stride = array.values.stride,
                        components = array.components](std::size_t n) {
    const auto valueAt = [&](std::size_t node) {
      return static_cast<double>(reinterpret_cast<const S*>(from + node * stride)[n % components]);
    };
    double room[2];
    const Sources sources = part.sourcesOf(n / components, room);
    // A weight of one keeps the value as it is, whatever it is.
    if (!sources.weights || (sources.count == 1 && sources.weights[0] == 1))
      return valueAt(sources.nodes[0]);
    double sum = 0;
    for (std::size_t s = 0; s < sources.count; ++s)
      sum += sources.weights[s] * valueAt(sources.nodes[s]);
    return sum;
  });
}

void ExtractedOutput::addMapped(MxVtkXmlWriter& file, MxUniqueNames& names,
                                const MbNamedArray& array, bool ontoNodes)
{
  const std::string name = names.take(array.name);
  const bool perCell = array.binding == MiDataBinding::PerCell;
  const bool isCopied =
      perCell || all([](const Part& part) { return part.provenance->form == Form::Node; });
  if (isCopied) {
    file.add(joined([&](const Part& part, std::size_t) {
      const MeXProvenance& p = *part.provenance;
      const std::uint32_t* items = (!perCell ? p.nodes : ontoNodes ? p.nodeCells : p.cells).data();
      MxOutputArray output =
          mxOutputOf(array, name, [items](std::size_t n) -> std::size_t { return items[n]; });
      output.count = array.components * (ontoNodes ? part.nodeCount() : part.cellCount());
      return output;
    }));
    return;
  }
  visitScalarType(array.values.type, [&](auto scalar) {
    using S = decltype(scalar);
    using T = std::conditional_t<std::is_same_v<S, float>, float, double>;
    file.add(joined([&](const Part& part, std::size_t) -> MxOutputArray {
      return {name, kMiScalarTypeOf<T>, array.components, array.components * part.nodeCount(),
              mixWith<S, T>(part, array)};
    }));
  });
}

/// First where things came from, then what is their own, then what the source has.
void ExtractedOutput::addData(MxVtkXmlWriter& file, MiDataBinding binding,
                              std::span<const MbExtractedPart> described,
                              std::span<const MbNamedArray> sources)
{
  const bool perNode = binding == MiDataBinding::PerNode;
  file.open(perNode ? "PointData" : "CellData");
  MxUniqueNames names;
  addCells(file, names, perNode);
  if (perNode) addPointProvenance(file, names);
  const std::size_t ownCount = described.empty() ? 0 : described[0].arrays.size();
  for (std::size_t a = 0; a < ownCount; ++a) {
    const MbNamedArray& first = described[0].arrays[a];
    if (first.binding != binding) continue;
    bool fits = true;
    for (std::size_t p = 0; p < m_parts.size(); ++p)
      fits = fits && a < described[p].arrays.size() &&
             mxFits(described[p].arrays[a],
                    perNode ? m_parts[p].nodeCount() : m_parts[p].cellCount(), notes);
    if (!fits) continue;
    const std::string name = names.take(first.name);
    file.add(joined(
        [&](const Part&, std::size_t p) { return mxOutputOf(described[p].arrays[a], name); }));
  }
  const bool hasAlong = !m_parts.empty() && all([](const Part& p) { return p.isAlongCells(); });
  for (const MbNamedArray& array : sources) {
    const bool perCell = array.binding == MiDataBinding::PerCell;
    const bool ontoNodes = !perCell || hasAlong;
    if (ontoNodes != perNode || m_parts.empty()) continue;
    const MeXProvenance& p = *m_parts[0].provenance;
    if (!mxFits(array, product(perCell ? p.sourceCells : p.sourceNodes), notes)) continue;
    if (perCell ? hasAlong || all([](const Part& part) { return part.knowsCells; })
                : all([](const Part& part) { return part.knowsNodes; }))
      addMapped(file, names, array, ontoNodes);
  }
  file.close();
}

void ExtractedOutput::addGeometry(MxVtkXmlWriter& file)
{
  file.open("Points");
  const bool isRelative = !all([](const Part& part) { return part.geometry->origin == MbVec3d{}; });
  file.add(joined([&](const Part& part, std::size_t) -> MxOutputArray {
    const MeXGeometryI& geometry = *part.geometry;
    const std::size_t count = 3 * part.nodeCount();
    if (isRelative)
      return {"Points", MiScalarType::Float64, 3, count,
              mxFillWith<double>([&](std::size_t n) { return geometry.getNode(n / 3)[n % 3]; })};
    return {"Points", MiScalarType::Float32, 3, count,
            mxFillWith<float>([&](std::size_t n) { return geometry.points()[n / 3][n % 3]; })};
  }));
  file.close();
}

template <class T>
void ExtractedOutput::addTopology(MxVtkXmlWriter& file, const char* element)
{
  file.open(element);
  file.add(joined([&](const Part& part, std::size_t p) -> MxOutputArray {
    const auto fill = [&part, firstNode = m_nodeStarts[p]](std::size_t first, std::size_t last,
                                                           std::byte* to) {
      auto* numbers = reinterpret_cast<T*>(to);
      // The last cell that begins there or before.
      std::size_t cell = 0, beyond = part.cellCount();
      while (beyond - cell > 1) {
        const std::size_t middle = cell + (beyond - cell) / 2;
        (part.nodesBefore(middle) <= first ? cell : beyond) = middle;
      }
      for (std::size_t at = first; at < last; ++cell) {
        const std::size_t begin = part.nodesBefore(cell), end = begin + part.cellSize(cell);
        for (; at < std::min(end, last); ++at)
          numbers[at - first] = static_cast<T>(
              firstNode + (part.topology
                               ? static_cast<std::size_t>(part.topology->getCell(cell)[at - begin])
                               : cell));
      }
    };
    return {"connectivity", kMiScalarTypeOf<T>, 1, part.listLength(), fill};
  }));
  file.add(joined([&](const Part& part, std::size_t p) -> MxOutputArray {
    return {"offsets", kMiScalarTypeOf<T>, 1, part.cellCount(),
            mxFillWith<T>([&part, before = m_listStarts[p]](std::size_t cell) {
              return before + part.nodesBefore(cell) + part.cellSize(cell);
            })};
  }));
  file.close();
}

void ExtractedOutput::write(std::span<const MbExtractedPart> described,
                            std::span<const MbNamedArray> sources)
{
  MxVtkXmlWriter file(m_path, "PolyData", m_options);
  file.open("PolyData");
  mxAddTime(file, m_options);
  constexpr const char* kElements[] = {"Verts", "Lines", "Polys"};
  std::string piece = "Piece NumberOfPoints=\"" + std::to_string(m_nodeStarts.back()) + "\"";
  for (int dimension = 0; dimension < 3; ++dimension)
    piece += std::string(" NumberOf") + kElements[dimension] + "=\"" +
             std::to_string(dimension == m_dimension ? m_cellCount : 0) + "\"";
  file.open(piece + " NumberOfStrips=\"0\"");
  addData(file, MiDataBinding::PerNode, described, sources);
  addData(file, MiDataBinding::PerCell, described, sources);
  addGeometry(file);
  constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
  if (std::max(m_nodeStarts.back(), m_listStarts.back()) <= kMost)
    addTopology<std::int32_t>(file, kElements[m_dimension]);
  else
    addTopology<std::int64_t>(file, kElements[m_dimension]);
  file.finish();
}

} // namespace

std::vector<std::string> mbSaveExtracted(std::span<const MbExtractedPart> parts,
                                         std::span<const MbNamedArray> sourceArrays,
                                         const std::string& path, const MbSaveOptions& options)
{
  ExtractedOutput output(path, options);
  for (const MbExtractedPart& part : parts)
    output.addPart(*part.mesh);
  // Lines of no value, say: a file with nothing in it.
  const MeXLineMeshUnstructured nothing;
  if (parts.empty()) {
    output.addPart(nothing);
    sourceArrays = {};
  }
  output.write(parts, sourceArrays);
  return output.notes;
}
