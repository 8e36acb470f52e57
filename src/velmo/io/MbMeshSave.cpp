#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MbMeshSave.h>
#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxSaveArrays.h>
#include <velmo/io/MxSaveCells.h>
#include <velmo/mesh/MbUnstructuredView.h>
#include <velmo/mesh/views/MxCellView.h>

#include <algorithm>
#include <charconv>

namespace {

/// The name and the bit of the array that marks hidden cells.
constexpr const char* kGhostName = "vtkGhostType";
constexpr std::uint8_t kHiddenCell = 32;

/// What is written: a mesh under one kind of data set, with its arrays.
class MeshOutput
{
public:
  MeshOutput(const std::string& path, std::span<const MbNamedArray> arrays,
             const MbSaveOptions& options)
      : m_path(path), m_arrays(arrays), m_options(options)
  {}

  /// @param element  "Cells" of a .vtu, "Polys" or "Lines" of a .vtp
  void writeCells(const MiTopologyI& topology, const MiGeometryI& geometry,
                  std::string_view element, std::size_t dataNodes,
                  const std::function<std::size_t(std::size_t)>& dataNode = nullptr);
  template <class View, class Geometry>
  void writeGrid(const View& view, const Geometry& geometry, const std::string& suffix);

  std::vector<std::string> notes;

private:
  [[noreturn]] void fail(const std::string& problem) const
  {
    throw MbMeshKindError(m_path, "", problem);
  }
  void addPointData(MxVtkXmlWriter& file, std::size_t items, std::size_t written,
                    const std::function<std::size_t(std::size_t)>& itemAt = nullptr);
  void addCellData(MxVtkXmlWriter& file, std::size_t cells,
                   const std::function<bool(std::size_t)>& isDead);
  template <class PointAt>
  static MxOutputArray pointArray(bool isSingle, std::size_t count, PointAt pointAt);

  const std::string& m_path;
  std::span<const MbNamedArray> m_arrays;
  const MbSaveOptions& m_options;
};

bool isGhostArray(const MbNamedArray& array)
{
  return array.binding == MiDataBinding::PerCell && array.name == kGhostName &&
         array.components == 1 && isInteger(array.values.type);
}

/// @param written  items in the file, where `itemAt` tells which of the array's each one is
void MeshOutput::addPointData(MxVtkXmlWriter& file, std::size_t items, std::size_t written,
                              const std::function<std::size_t(std::size_t)>& itemAt)
{
  file.open("PointData");
  MxUniqueNames names;
  for (const MbNamedArray& array : m_arrays) {
    if (array.binding != MiDataBinding::PerNode || !mxFits(array, items, notes)) continue;
    MxOutputArray output = mxOutputOf(array, names.take(array.name), itemAt);
    output.count = written * array.components;
    file.add(std::move(output));
  }
  file.close();
}

/// @param isDead  null when no cell is dead
void MeshOutput::addCellData(MxVtkXmlWriter& file, std::size_t cells,
                             const std::function<bool(std::size_t)>& isDead)
{
  file.open("CellData");
  MxUniqueNames names;
  MiArrayView ghosts;
  if (isDead) names.take(kGhostName);
  for (const MbNamedArray& array : m_arrays) {
    if (array.binding != MiDataBinding::PerCell || !mxFits(array, cells, notes)) continue;
    if (isDead && isGhostArray(array))
      ghosts = array.values;
    else
      file.add(mxOutputOf(array, names.take(array.name)));
  }
  if (isDead)
    file.add(
        {kGhostName, MiScalarType::UInt8, 1, cells, mxFillWith<std::uint8_t>([=](std::size_t cell) {
           return (ghosts ? mbIndex(ghosts, cell) : 0) | (isDead(cell) ? kHiddenCell : 0);
         })});
  file.close();
}

template <class PointAt>
MxOutputArray MeshOutput::pointArray(bool isSingle, std::size_t count, PointAt pointAt)
{
  const auto numberAt = [pointAt](std::size_t n) { return pointAt(n / 3)[n % 3]; };
  if (isSingle) return {"Points", MiScalarType::Float32, 3, 3 * count, mxFillWith<float>(numberAt)};
  return {"Points", MiScalarType::Float64, 3, 3 * count, mxFillWith<double>(numberAt)};
}

void MeshOutput::writeCells(const MiTopologyI& topology, const MiGeometryI& geometry,
                            std::string_view element, std::size_t dataNodes,
                            const std::function<std::size_t(std::size_t)>& dataNode)
{
  const MxNodePositions<MiGeometryI> positions(geometry);
  const std::size_t nodes = positions.size();
  const bool isPoly = element != "Cells";
  const MxCellOutput cells(topology, nodes, m_options.parallel, isPoly);
  if (cells.brokenCount() > 0)
    notes.push_back(
        std::to_string(cells.brokenCount()) +
        " cells with missing nodes, or a number of nodes that is not their shape's, are "
        "written as empty cells.");

  if (cells.outlinedCount() > 0)
    notes.push_back(std::to_string(cells.outlinedCount()) +
                    " quadratic cells are written as polylines or polygons through their nodes; "
                    ".vtu keeps them.");

  const std::string type = isPoly ? "PolyData" : "UnstructuredGrid";
  MxVtkXmlWriter file(m_path, type, m_options);
  file.open(type);
  mxAddTime(file, m_options);
  std::string piece = "Piece NumberOfPoints=\"" + std::to_string(nodes) + "\"";
  for (const std::string_view section : {"Cells", "Verts", "Lines", "Strips", "Polys"})
    if (isPoly == (section != "Cells"))
      piece += " NumberOf" + std::string(section) + "=\"" +
               std::to_string(section == element ? cells.cellCount() : 0) + "\"";
  file.open(piece);
  addPointData(file, dataNodes, nodes, dataNode);
  addCellData(file, cells.cellCount(),
              cells.hasDead() ? [&](std::size_t cell) { return cells.isDead(cell); }
                              : std::function<bool(std::size_t)>());
  file.open("Points");
  const MiArrayView view = geometry.getView();
  file.add(pointArray(view && view.type == MiScalarType::Float32, nodes,
                      [&](std::size_t node) { return positions.at(node); }));
  file.close();
  file.open(std::string(element));
  std::vector<MxOutputArray> arrays = cells.arrays();
  if (isPoly) arrays.erase(arrays.begin() + 2, arrays.end()); // connectivity and offsets remain
  for (MxOutputArray& array : arrays)
    file.add(std::move(array));
  file.finish();
}

// The directions of I, J and K, as long as the grid's steps where these are equal; none for grids
// of any points.
std::vector<MbVec3d> directionsOf(const MiGeometryRegularIjk& geometry)
{
  const MbVec3d s = geometry.getSpacing();
  return {{s.x, 0, 0}, {0, s.y, 0}, {0, 0, s.z}};
}
std::vector<MbVec3d> directionsOf(const MiGeometryRectilinearIjk&)
{
  return {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
}
std::vector<MbVec3d> directionsOf(const MiGeometryRegularIj& geometry)
{
  return {geometry.getStepI(), geometry.getStepJ()};
}
std::vector<MbVec3d> directionsOf(const MiGeometryRectilinearIj& geometry)
{
  return {geometry.getDirection(0), geometry.getDirection(1)};
}
std::vector<MbVec3d> directionsOf(const MiGeometryRegularRow& geometry)
{
  return {geometry.getStep()};
}
std::vector<MbVec3d> directionsOf(const MiGeometry&)
{
  return {};
}

/// The axes of the space along which the directions run; none unless each has one of its own and
/// they rise.
std::vector<std::size_t> axesOf(const std::vector<MbVec3d>& directions)
{
  std::vector<std::size_t> axes;
  for (const MbVec3d& d : directions) {
    const std::size_t least = axes.empty() ? 0 : axes.back() + 1;
    std::size_t axis = 3;
    for (std::size_t a = 0; a < 3; ++a)
      if (d[a] != 0) axis = axis == 3 ? a : 4;
    if (axis == 3) axis = least; // no length: any will do
    if (axis < least || axis > 2) return {};
    axes.push_back(axis);
  }
  return axes;
}

std::string threeNumbers(const MbVec3d& v)
{
  std::string text;
  for (std::size_t a = 0; a < 3; ++a) {
    char digits[40];
    text += (a ? " " : "") +
            std::string(digits, std::to_chars(digits, digits + sizeof digits, v[a]).ptr);
  }
  return text;
}

template <class View, class Geometry>
void MeshOutput::writeGrid(const View& view, const Geometry& geometry, const std::string& suffix)
{
  const std::vector<MbVec3d> directions = directionsOf(geometry);
  const MbIndex3 cells = view.cellCounts(), nodes = view.nodeCounts();
  constexpr bool kIsVolume = View::kType <= VOLUME_MESH_CURVILINEAR;
  constexpr bool kIsLine = View::kType >= LINE_MESH_UNSTRUCTURED;
  const MbIndex3 expected{cells.x + 1, kIsLine ? 1 : cells.y + 1, kIsVolume ? cells.z + 1 : 1};
  if (view.cellCount() == 0 || nodes != expected)
    fail("a grid without cells, or with other nodes than those of its cells, is only written as "
         ".vtu");
  std::vector<std::size_t> axes{0, 1, 2};
  if (suffix != ".vts") {
    constexpr bool kIsRegular = requires
    {
      geometry.getSpacing();
    }
    || requires
    {
      geometry.getStepI();
    }
    || requires
    {
      geometry.getStep();
    };
    if (directions.empty() || (suffix == ".vti" && !kIsRegular))
      fail(std::string("a ") + meshTypeName(View::kType) +
           " has no uniform steps or straight axes, " + "which a " + suffix +
           " file needs; .vts and .vtu take it");
    axes = axesOf(directions);
    if (axes.empty())
      fail("the grid's axes are not those of the space in their order, as a " + suffix +
           " file needs them; .vts and .vtu take it");
  }
  MbIndex3 counts{1, 1, 1};
  for (std::size_t a = 0; a < axes.size(); ++a)
    counts[axes[a]] = nodes[a];
  std::string extent;
  for (std::size_t a = 0; a < 3; ++a)
    extent += (a ? " 0 " : "0 ") + std::to_string(counts[a] - 1);
  extent = "\"" + extent + "\"";

  const std::string type = suffix == ".vts"   ? "StructuredGrid"
                           : suffix == ".vtr" ? "RectilinearGrid"
                                              : "ImageData";
  MxVtkXmlWriter file(m_path, type, m_options);
  std::string tag = type + " WholeExtent=" + extent;
  if (suffix == ".vti") {
    MbVec3d spacing{1, 1, 1};
    for (std::size_t a = 0; a < axes.size(); ++a)
      spacing[axes[a]] = directions[a][axes[a]];
    tag += " Origin=\"" + threeNumbers(view.position(0)) + "\" Spacing=\"" + threeNumbers(spacing) +
           "\"";
  }
  file.open(tag);
  mxAddTime(file, m_options);
  file.open("Piece Extent=" + extent);
  addPointData(file, view.nodeCount(), view.nodeCount());
  addCellData(file, view.cellCount(),
              view.hasDead() ? [&](std::size_t cell) { return view.isDead(cell); }
                             : std::function<bool(std::size_t)>());
  if (suffix == ".vts") {
    file.open("Points");
    const MiArrayView points = geometry.getView();
    file.add(pointArray(points && points.type == MiScalarType::Float32, view.nodeCount(),
                        [&](std::size_t node) { return view.position(node); }));
    file.close();
  } else if (suffix == ".vtr") {
    file.open("Coordinates");
    for (std::size_t axis = 0; axis < 3; ++axis) {
      std::size_t step = 1;
      for (std::size_t a = 0; a < axes.size() && axes[a] != axis; ++a)
        step *= nodes[a];
      file.add({std::string(1, "xyz"[axis]), MiScalarType::Float64, 1, counts[axis],
                mxFillWith<double>(
                    [&, axis, step](std::size_t n) { return view.position(n * step)[axis]; })});
    }
    file.close();
  }
  file.finish();
}

/// Calls visit(topology, geometry) for the mesh as an unstructured one.
template <class Visit>
bool visitUnstructured(const MiMesh& mesh, const Visit& visit)
{
  const auto run = [&](const auto& view) {
    if (view) visit(view->getTopology(), view->getGeometry());
    return view != nullptr;
  };
  return run(mbUnstructuredVolume(mesh)) || run(mbUnstructuredSurface(mesh)) ||
         run(mbUnstructuredLine(mesh));
}
} // namespace

std::vector<std::string> mbSaveMesh(const MiMesh& mesh, std::span<const MbNamedArray> arrays,
                                    const std::string& path, const MbSaveOptions& options)
{
  MeshOutput output(path, arrays, options);
  const std::string suffix = path.substr(std::min(path.size(), path.find_last_of('.')));
  const auto fail = [&](const std::string& problem) { throw MbMeshKindError(path, "", problem); };
  if (suffix == ".vtu" || suffix == ".vtp") {
    const MeshType kind = classifyMesh(&mesh);
    const bool isPoly = suffix == ".vtp";
    if (isPoly && kind <= VOLUME_MESH_CURVILINEAR)
      fail("only surfaces and lines are written as .vtp; .vtu takes every mesh");
    const char* const element = !isPoly                          ? "Cells"
                                : kind >= LINE_MESH_UNSTRUCTURED ? "Lines"
                                                                 : "Polys";
    const bool isMesh = visitUnstructured(mesh, [&](const auto& topology, const auto& geometry) {
      using Vertex = MiVolumeMeshVertexHexahedronIjk;
      if (const auto* own = dynamic_cast<const Vertex*>(&mesh)) {
        const MxCellView<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK> view(*own);
        const MbIndex3 corners = view.nodeCounts();
        output.writeCells(topology, geometry, element, corners.x * corners.y * corners.z,
                          [&](std::size_t node) { return view.dataNode(node); });
      } else {
        output.writeCells(topology, geometry, element, geometry.getNodeCount());
      }
    });
    if (!isMesh) fail("is to hold a mesh of no known kind");
    return output.notes;
  }
  if (suffix != ".vti" && suffix != ".vtr" && suffix != ".vts")
    fail("meshes are written as .vtu, .vtp, .vti, .vtr or .vts");
  bool isGrid = false;
  visitMeshKind(MxAllKinds{}, classifyMesh(&mesh), [&]<MeshType Kind>() {
    const auto& own = dynamic_cast<const typename MxMeshKind<Kind>::Interface&>(mesh);
    using Geometry = std::remove_cvref_t<decltype(own.getGeometry())>;
    constexpr bool kIsLattice =
        Kind == LINE_MESH_CURVILINEAR ||
        (!std::is_same_v<Geometry, MiGeometryI> && !std::is_same_v<Geometry, MiGeometryVertexIjk>);
    if constexpr (kIsLattice) output.writeGrid(MxCellView<Kind>(own), own.getGeometry(), suffix);
    isGrid = kIsLattice;
  });
  if (!isGrid) fail("only grids of nodes are written as " + suffix + "; .vtu takes every mesh");
  return output.notes;
}
