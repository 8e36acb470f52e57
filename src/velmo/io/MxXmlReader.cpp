#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MxFileFormats.h>
#include <velmo/io/MxNumberText.h>
#include <velmo/io/MxPolySections.h>
#include <velmo/io/MxXmlScan.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

constexpr std::string_view kHead = "<VTKFile";
/// Files that name files that name files: more of them name each other in a circle.
constexpr int kMostDepth = 6;

const MxXmlArray* find(const std::vector<MxXmlArray>& arrays, std::string_view name)
{
  const auto found = std::find_if(arrays.begin(), arrays.end(),
                                  [&](const MxXmlArray& array) { return array.name == name; });
  return found == arrays.end() ? nullptr : &*found;
}

/// Reads the pieces of a file that holds its arrays itself.
class PieceReader
{
public:
  PieceReader(const MxFileBytes& file, const MxXmlContent& content, bool parallel)
      : m_file(file), m_content(content), m_reader(content.reader), m_parallel(parallel)
  {}

  MxFileMesh readCellsAndNodes(const MxXmlPiece& piece) const
  {
    MxFileMesh mesh;
    mesh.nodeCount = piece.nodes;
    // In the order that files have.
    const std::size_t cells =
        std::accumulate(piece.cells.begin(), piece.cells.end(), std::size_t{0});
    readSets(piece.nodeSets, MiDataBinding::PerNode, piece.nodes, mesh);
    readSets(piece.cellSets, MiDataBinding::PerCell, cells, mesh);
    readPoints(piece, mesh);
    if (m_content.type == "PolyData") {
      std::array<MxFileCells, 4> sections;
      for (std::size_t s = 0; s < sections.size(); ++s)
        if (piece.cells[s] > 0) sections[s] = readCells(piece, s);
      mesh.cells = mxJoinSections(std::move(sections), m_parallel);
    } else if (piece.cells[0] > 0) {
      mesh.cells = readNodesOfCells(piece, 0);
      if (findUniform(piece, mesh.cells)) return mesh;
      readOffsetsOfCells(piece, 0, mesh.cells);
      mesh.cells.types =
          asBytes(m_reader.read(need(piece, 0, "types"), {.numbers = piece.cells[0]}));
      if (mxCountTypes(mesh.cells)[static_cast<std::size_t>(MiCellShape::Polyhedron)] > 0)
        readFaces(piece, mesh.cells);
    }
    return mesh;
  }

  MxStructuredPart readStructured(const MxXmlPiece& piece) const
  {
    MxStructuredPart part{*piece.extent, {}};
    MxFileMesh& mesh = part.mesh;
    mesh.nodes = piece.extent->nodes();
    mesh.nodeCount = mesh.nodes.x * mesh.nodes.y * mesh.nodes.z;
    mesh.origin = m_content.origin;
    mesh.spacing = m_content.spacing;
    mesh.layout = m_content.type == "ImageData"         ? MxFileLayout::Regular
                  : m_content.type == "RectilinearGrid" ? MxFileLayout::Rectilinear
                                                        : MxFileLayout::Curvilinear;
    // A single node is a cell of its own in these files.
    const std::size_t cells = std::max<std::size_t>(1, mesh.cellCount());
    readSets(piece.nodeSets, MiDataBinding::PerNode, mesh.nodeCount, mesh);
    readSets(piece.cellSets, MiDataBinding::PerCell, cells, mesh);
    if (mesh.layout == MxFileLayout::Rectilinear) {
      if (piece.points.size() != 3)
        m_file.failAtLine(piece.tag, "<Coordinates> needs three arrays, one for each axis");
      for (std::size_t axis = 0; axis < 3; ++axis)
        mesh.axes[axis] = m_reader.read(piece.points[axis], {.numbers = mesh.nodes[axis]});
    } else if (mesh.layout == MxFileLayout::Curvilinear) {
      readPoints(piece, mesh);
    }
    return part;
  }

private:
  static constexpr const char* kElements[] = {"Verts", "Lines", "Polys", "Strips"};

  const MxXmlArray& need(const MxXmlPiece& piece, std::size_t section, const char* name) const
  {
    const MxXmlArray* array = find(piece.topology[section], name);
    if (!array)
      m_file.failAtLine(piece.tag,
                        std::string("<") +
                            (m_content.type == "PolyData" ? kElements[section] : "Cells") +
                            ">: the array '" + name + "' is missing");
    return *array;
  }

  void readPoints(const MxXmlPiece& piece, MxFileMesh& mesh) const
  {
    if (mesh.nodeCount == 0) return;
    if (piece.points.empty()) m_file.failAtLine(piece.tag, "<Points>: the points are missing");
    if (piece.points[0].components != 3)
      m_reader.fail(piece.points[0], "points need three components");
    mesh.points = m_reader.read(piece.points[0], {.numbers = mesh.nodeCount * 3});
  }

  MxFileCells readCells(const MxXmlPiece& piece, std::size_t section) const
  {
    MxFileCells cells = readNodesOfCells(piece, section);
    readOffsetsOfCells(piece, section, cells);
    return cells;
  }

  MxFileCells readNodesOfCells(const MxXmlPiece& piece, std::size_t section) const
  {
    MxFileCells cells;
    cells.count = piece.cells[section];
    need(piece, section, "offsets");
    cells.connectivity = m_reader.read(need(piece, section, "connectivity"),
                                       {.asIndices = true, .narrow = piece.nodes < kNarrowLimit});
    return cells;
  }

  /// Cells of one shape need neither types nor offsets, nor memory for them.
  bool findUniform(const MxXmlPiece& piece, MxFileCells& cells) const
  {
    const std::size_t each = cells.connectivity.size / cells.count;
    if (each == 0 || cells.connectivity.size % cells.count != 0) return false;
    const auto type = m_reader.firstOfEven(need(piece, 0, "types"), cells.count, 0);
    if (!type) return false;
    const auto step = static_cast<std::int64_t>(each);
    return m_reader.firstOfEven(need(piece, 0, "offsets"), cells.count, step) == step &&
           mxMakeUniform(cells, *type, each);
  }

  void readOffsetsOfCells(const MxXmlPiece& piece, std::size_t section, MxFileCells& cells) const
  {
    const MxXmlArray& offsets = need(piece, section, "offsets");
    cells.offsets = readOffsets(offsets, cells.count, cells.connectivity);
    checkOffsets(offsets, cells.offsets, cells.connectivity);
  }

  /// Offsets into `numbers`, in the same type where possible: extraction has its fast ways for
  /// arrays of one type.
  MxFileArray readOffsets(const MxXmlArray& array, std::size_t count,
                          const MxFileArray& numbers) const
  {
    return m_reader.read(
        array, {.numbers = count,
                .leading = 1,
                .asIndices = true,
                .narrow = numbers.type == MiScalarType::Int32 && numbers.size < kNarrowLimit});
  }

  /// Cells without faces have -1 or the offset of the one before.
  static void fillGaps(const MxFileArray& offsets)
  {
    visitIndices(offsets, [&](auto values) {
      for (std::size_t i = 1; i < values.size(); ++i)
        if (values[i] == -1) values[i] = values[i - 1];
    });
  }

  void readFaces(const MxXmlPiece& piece, MxFileCells& cells) const
  {
    if (find(piece.topology[0], "face_connectivity")) return readFaceLists(piece, cells);
    const MxXmlArray& faceOffsets = need(piece, 0, "faceoffsets");
    cells.faces = m_reader.read(need(piece, 0, "faces"),
                                {.asIndices = true, .narrow = piece.nodes < kNarrowLimit});
    cells.faceOffsets = readOffsets(faceOffsets, cells.count, cells.faces);
    fillGaps(cells.faceOffsets);
    checkOffsets(faceOffsets, cells.faceOffsets, cells.faces);
  }

  /// The newer way: the nodes of each face, and the faces of each cell.
  void readFaceLists(const MxXmlPiece& piece, MxFileCells& cells) const
  {
    const auto indices = [&](const char* name) {
      return m_reader.read(need(piece, 0, name), {.asIndices = true});
    };
    const auto offsetsInto = [&](const char* name, std::size_t items, MxFileArray& numbers) {
      const MxXmlArray& array = need(piece, 0, name);
      MxFileArray offsets = m_reader.read(array, {.asIndices = true});
      // Some writers put the zero of the first item in front.
      const bool full =
          offsets.size > 0 && (items == 0 ? visitIndices(offsets, [](auto v) { return v[0] == 0; })
                                          : offsets.size == items + 1);
      if (!full) offsets = m_reader.read(array, {.leading = 1, .asIndices = true});
      if (items > 0 && offsets.size != items + 1)
        m_reader.fail(array, "has " + std::to_string(offsets.size - 1) + " offsets, " +
                                 std::to_string(items) + " are needed");
      fillGaps(offsets);
      checkOffsets(array, offsets, numbers);
      return offsets;
    };
    MxFileArray nodes = indices("face_connectivity"), faces = indices("polyhedron_to_faces");
    const MxFileArray faceOffsets = offsetsInto("face_offsets", 0, nodes);
    const MxFileArray cellOffsets = offsetsInto("polyhedron_offsets", cells.count, faces);

    std::vector<std::int64_t> stream, streamOffsets(1, 0);
    const auto at = [](const MxFileArray& array, std::size_t i) {
      return visitIndices(array, [i](auto v) { return static_cast<std::int64_t>(v[i]); });
    };
    for (std::size_t cell = 0; cell < cells.count; ++cell) {
      const auto first = static_cast<std::size_t>(at(cellOffsets, cell));
      const auto last = static_cast<std::size_t>(at(cellOffsets, cell + 1));
      if (last > first) stream.push_back(static_cast<std::int64_t>(last - first));
      for (std::size_t f = first; f < last; ++f) {
        const auto face = static_cast<std::uint64_t>(at(faces, f));
        if (face + 1 >= faceOffsets.size || face >= faceOffsets.size)
          m_reader.fail(need(piece, 0, "polyhedron_to_faces"),
                        "cell " + std::to_string(cell) + " names a face that does not exist");
        const auto begin = static_cast<std::size_t>(at(faceOffsets, face));
        const auto end = static_cast<std::size_t>(at(faceOffsets, face + 1));
        stream.push_back(static_cast<std::int64_t>(end - begin));
        for (std::size_t i = begin; i < end; ++i)
          stream.push_back(at(nodes, i));
      }
      streamOffsets.push_back(static_cast<std::int64_t>(stream.size()));
      // Cells that share faces may repeat them, but not without a bound.
      if (stream.size() > m_file.size() * 8 + 1024)
        m_reader.fail(need(piece, 0, "polyhedron_to_faces"), "the faces are repeated too often");
    }
    cells.faces = MxFileArray::of(std::span<const std::int64_t>(stream));
    cells.faceOffsets = MxFileArray::of(std::span<const std::int64_t>(streamOffsets));
  }

  /// Refuses bad offsets, and cuts off what `numbers` has beyond the last one.
  void checkOffsets(const MxXmlArray& array, const MxFileArray& offsets, MxFileArray& numbers) const
  {
    const std::size_t limit = numbers.size;
    const std::size_t bad = mxFirstBadOffset(offsets, limit);
    if (bad < offsets.size)
      m_reader.fail(array, "the offset of item " +
                               std::to_string(bad - std::min<std::size_t>(bad, 1)) +
                               " runs backwards or beyond the " + std::to_string(limit) +
                               " numbers that it points into");
    numbers.size =
        visitIndices(offsets, [](auto values) { return static_cast<std::size_t>(values.back()); });
  }

  static MxFileArray asBytes(const MxFileArray& types)
  {
    if (types.type == MiScalarType::UInt8) return types;
    auto bytes = MxFileArray::of<std::uint8_t>(types.size);
    visitNumbers(types, [&](auto values) {
      std::transform(values.begin(), values.end(), bytes.as<std::uint8_t>(), [](auto value) {
        return static_cast<std::uint8_t>(value >= 0 && value < 255 ? value : 255);
      });
    });
    return bytes;
  }

  void readSets(const std::vector<MxXmlArray>& arrays, MiDataBinding binding, std::size_t items,
                MxFileMesh& mesh) const
  {
    for (const MxXmlArray& array : arrays) {
      if (!array.type || array.components == 0) {
        mesh.notes.push_back("The array '" + array.name + "' of type " + mxQuoted(array.typeName) +
                             " is left out.");
        continue;
      }
      if (items > 0 && array.components > (std::size_t{1} << 48) / items)
        m_reader.fail(array, "too many components");
      mesh.sets.push_back({array.name, binding, array.components,
                           m_reader.read(array, {.numbers = items * array.components})});
    }
  }

  const MxFileBytes& m_file;
  const MxXmlContent& m_content;
  const MxXmlArrayReader& m_reader;
  const bool m_parallel;
};

std::optional<double> timeOf(const MxXmlContent& content)
{
  for (const MxXmlArray& field : content.fields) {
    if ((field.name != "TimeValue" && field.name != "TIME") || !field.type) continue;
    const MxFileArray values = content.reader.read(field, {});
    if (values.size > 0)
      return visitNumbers(values, [](auto v) { return static_cast<double>(v[0]); });
  }
  return {};
}

/// The path of a file that another one names, seen from that one's folder.
std::string beside(const MxFileBytes& file, const std::string& name)
{
  const std::size_t slash = file.getPath().rfind('/');
  if (name.starts_with('/') || slash == std::string::npos) return name;
  return file.getPath().substr(0, slash + 1) + name;
}

/// What a part of a file is asked for.
MxReadRequest partOf(const MxReadRequest& request, const MxFileBytes& file, const char* tag,
                     std::size_t part, std::size_t parts)
{
  if (request.depth >= kMostDepth)
    file.failAtLine(tag, "files name files too deeply, perhaps in a circle");
  MxReadRequest own = request;
  ++own.depth;
  if (request.progress)
    own.progress = [&request, part, parts](double done) {
      request.progress((static_cast<double>(part) + done) / static_cast<double>(parts));
    };
  return own;
}

/// Takes the pieces of the data set that the file holds, directly or in other files.
class DataSetReader
{
public:
  DataSetReader(const MxFileBytes& file, const MxReadRequest& request)
      : m_file(file), m_request(request)
  {}

  MxFileMesh run(const MxXmlContent& content)
  {
    const bool structured = content.type != "UnstructuredGrid" && content.type != "PolyData";
    collect(content, m_file, m_request);
    MxFileMesh mesh;
    if (!structured) {
      mesh = joined();
    } else if (!m_structured.empty()) {
      mesh = mxJoinStructured(std::move(m_structured),
                              content.parallel ? content.wholeExtent : std::nullopt,
                              m_file.getPath(), m_request.parallel);
      if (content.direction != kUpright) rotate(mesh, content);
    }
    mesh.time = m_time;
    if (m_times.empty())
      mxCheckOnlyTime(m_file, m_request, m_time);
    else if (m_request.time)
      mxCheckTime(m_file, *m_request.time, *std::min_element(m_times.begin(), m_times.end()),
                  *std::max_element(m_times.begin(), m_times.end()));
    return mesh;
  }

private:
  /// The unstructured pieces as one mesh, in which nodes of one global id are one.
  MxFileMesh joined()
  {
    // Writers leave out the arrays of pieces in which there is nothing.
    std::stable_partition(m_meshes.begin(), m_meshes.end(), [](const MxFileMesh& mesh) {
      return mesh.nodeCount > 0 || mesh.cells.count > 0;
    });
    while (m_meshes.size() > 1 && m_meshes.back().nodeCount == 0 &&
           m_meshes.back().cells.count == 0)
      m_meshes.pop_back();
    if (m_meshes.size() == 1) return std::move(m_meshes[0]);
    MxFileMesh mesh = mxJoinParts(std::move(m_meshes), m_file.getPath());
    for (const std::string& name :
         {m_globalIds, std::string("vtkGlobalIds"), std::string("GlobalNodeId"),
          std::string("GlobalNodeIds"), std::string("GlobalPointIds")})
    {
      const bool has = std::any_of(mesh.sets.begin(), mesh.sets.end(), [&](const MxFileSet& set) {
        return set.binding == MiDataBinding::PerNode && set.name == name;
      });
      if (!has) continue;
      mxWeldNodes(mesh, name, m_file.getPath(), m_request.parallel);
      break;
    }
    return mesh;
  }

  void collect(const MxXmlContent& content, const MxFileBytes& file, const MxReadRequest& request)
  {
    if (m_times.empty() && !content.times.empty()) {
      m_times = content.times;
      m_time = content.times[content.step];
    }
    if (!m_time) m_time = timeOf(content);
    if (m_globalIds.empty()) m_globalIds = content.globalIds;
    const PieceReader reader(file, content, request.parallel);
    const bool structured = content.type != "UnstructuredGrid" && content.type != "PolyData";
    for (std::size_t p = 0; p < content.pieces.size(); ++p) {
      const MxXmlPiece& piece = content.pieces[p];
      if (content.parallel) {
        if (!structured || !piece.extent || !piece.extent->isEmpty())
          open(content, piece, file, partOf(request, file, piece.tag, p, content.pieces.size()));
      } else if (!structured) {
        m_meshes.push_back(reader.readCellsAndNodes(piece));
      } else {
        const std::optional<MxExtent>& extent = piece.extent ? piece.extent : content.wholeExtent;
        if (!extent) file.failAtLine(piece.tag, "a Piece names no Extent");
        if (extent->isEmpty()) continue;
        MxXmlPiece placed = piece;
        placed.extent = extent;
        m_structured.push_back(reader.readStructured(placed));
      }
    }
  }

  void open(const MxXmlContent& content, const MxXmlPiece& piece, const MxFileBytes& file,
            const MxReadRequest& request)
  {
    const std::string path = beside(file, piece.source);
    const std::string problem = "the piece " + mxQuoted(piece.source) + " ";
    std::shared_ptr<const MxFileBytes> own;
    try {
      own = std::make_shared<const MxFileBytes>(path, file);
    } catch (const MbMeshFileError& error) {
      file.failAtLine(piece.tag, problem + error.getProblem());
    }
    if (!mxIsVtkXml(*own)) file.failAtLine(piece.tag, problem + "is no XML file of a data set");
    const MxXmlContent inner = mxScanXml(*own, request);
    if (inner.type != content.type)
      file.failAtLine(piece.tag, problem + "holds a " + mxQuoted(inner.type));
    const std::size_t before = m_structured.size();
    collect(inner, *own, request);
    // A piece that the file places elsewhere is not the one that was written for it.
    if (!piece.extent || m_structured.size() == before || inner.pieces.size() != 1) return;
    if (m_structured.back().extent != *piece.extent)
      file.failAtLine(piece.tag, problem + "has another extent than this file tells");
  }

  /// Images whose axes are turned become curvilinear.
  void rotate(MxFileMesh& mesh, const MxXmlContent& content) const
  {
    MxFileMesh plain = mesh;
    plain.origin = {};
    for (std::size_t axis = 0; axis < 3; ++axis)
      plain.origin[axis] = mesh.origin[axis] - content.origin[axis];
    mesh.points = mxStructuredPoints(plain, m_request.parallel);
    mesh.layout = MxFileLayout::Curvilinear;
    double* points = mesh.points.as<double>();
    forEachBlock(m_request.parallel, mesh.nodeCount, kFileBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   for (double* p = points + 3 * first; p < points + 3 * last; p += 3) {
                     const double from[] = {p[0], p[1], p[2]};
                     for (std::size_t row = 0; row < 3; ++row) {
                       const double* d = content.direction.data() + 3 * row;
                       p[row] =
                           content.origin[row] + d[0] * from[0] + d[1] * from[1] + d[2] * from[2];
                     }
                   }
                 });
  }

  const MxFileBytes& m_file;
  const MxReadRequest& m_request;
  std::vector<MxFileMesh> m_meshes;
  std::vector<MxStructuredPart> m_structured;
  std::optional<double> m_time;
  std::vector<double> m_times; ///< of all steps that the file holds
  std::string m_globalIds;
};

/// The mesh of one time of a series.
MxFileMesh readSeries(const MxXmlContent& content, const MxFileBytes& file,
                      const MxReadRequest& request)
{
  const auto earlier = [](const MxXmlStep& a, const MxXmlStep& b) { return a.time < b.time; };
  const auto [first, last] =
      std::minmax_element(content.steps.begin(), content.steps.end(), earlier);
  double time = first->time;
  if (request.time) {
    mxCheckTime(file, *request.time, first->time, last->time);
    for (const MxXmlStep& step : content.steps)
      if (std::abs(step.time - *request.time) < std::abs(time - *request.time)) time = step.time;
  }
  std::vector<const MxXmlStep*> steps;
  for (const MxXmlStep& step : content.steps) {
    if (step.time == time)
      steps.push_back(&step);
    else
      file.addToFamily(beside(file, step.source));
  }

  std::vector<MxFileMesh> meshes;
  for (std::size_t s = 0; s < steps.size(); ++s) {
    MxReadRequest own = partOf(request, file, steps[s]->tag, s, steps.size());
    own.time.reset();
    own.namedBy = &file;
    const std::string path = beside(file, steps[s]->source);
    try {
      meshes.push_back(mxReadMeshFile(path, own));
    } catch (const MbMeshFileError& error) {
      // The file's own faults keep its name; that it is not there is this file's fault.
      if (error.getPath() != path || !error.getPlace().empty()) throw;
      file.failAtLine(steps[s]->tag,
                      "the file " + mxQuoted(steps[s]->source) + " " + error.getProblem());
    }
  }
  if (meshes.size() > 1)
    for (MxFileMesh& mesh : meshes)
      mesh = mxAsUnstructured(std::move(mesh), request.parallel);
  MxFileMesh mesh =
      meshes.size() == 1 ? std::move(meshes[0]) : mxJoinParts(std::move(meshes), file.getPath());
  mesh.time = time;
  return mesh;
}

const char* suffixOf(const std::string& type)
{
  return type == "PolyData"          ? "vtp"
         : type == "ImageData"       ? "vti"
         : type == "RectilinearGrid" ? "vtr"
         : type == "StructuredGrid"  ? "vts"
         : type == "Collection"      ? "pvd"
                                     : "vtu";
}

} // namespace

bool mxIsVtkXml(const MxFileBytes& file)
{
  std::string_view head = file.head();
  while (!head.empty() && (isBlank(head.front()) || static_cast<unsigned char>(head.front()) > 127))
    head.remove_prefix(1); // a byte order mark as well
  return head.starts_with('<') && head.find(kHead) != std::string_view::npos;
}

MxFileMesh mxReadVtkXml(const MxFileBytes& file, const MxReadRequest& request)
{
  const MxXmlContent content = mxScanXml(file, request);
  MxFileMesh mesh = content.type == "Collection" ? readSeries(content, file, request)
                                                 : DataSetReader(file, request).run(content);
  mesh.format = (content.parallel ? "p" : "") + std::string(suffixOf(content.type));
  return mesh;
}
