#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MxFileFormats.h>
#include <velmo/io/MxFileStatistics.h>
#include <velmo/io/MxMeshMaker.h>
#include <velmo/mesh/MbArray.h>
#include <velmo/mesh/MbMeshSummary.h>

#include <algorithm>

namespace {

/// Gives arrays of one name and binding names of their own.
void renameDuplicates(MxFileMesh& mesh)
{
  for (std::size_t i = 1; i < mesh.sets.size(); ++i) {
    const auto taken = [&](const std::string& name) {
      return std::any_of(mesh.sets.begin(), mesh.sets.begin() + static_cast<std::ptrdiff_t>(i),
                         [&](const MxFileSet& set) {
                           return set.name == name && set.binding == mesh.sets[i].binding;
                         });
    };
    const std::string name = mesh.sets[i].name;
    for (int number = 2; taken(mesh.sets[i].name); ++number)
      mesh.sets[i].name = name + " (" + std::to_string(number) + ")";
    if (mesh.sets[i].name != name)
      mesh.notes.push_back("A second array '" + name + "' is called '" + mesh.sets[i].name + "'.");
  }
}

/// Brings the arrays per cell to the cells that stayed.
void followCells(MxFileMesh& mesh, const std::vector<std::size_t>& source, bool parallel)
{
  if (mesh.active) mesh.active = mxGather(mesh.active, 1, source, parallel);
  for (MxFileSet& set : mesh.sets)
    if (set.binding == MiDataBinding::PerCell && set.values)
      set.values = mxGather(set.values, set.components, source, parallel);
}

void dropMisfits(MxFileMesh& mesh)
{
  const std::size_t cells = mesh.cellCount();
  std::erase_if(mesh.sets, [&](const MxFileSet& set) {
    const std::size_t items = set.binding == MiDataBinding::PerNode ? mesh.nodeCount : cells;
    if (set.values.size == items * set.components) return false;
    mesh.notes.push_back("The array '" + set.name + "' fits no cell and is left out.");
    return true;
  });
}

std::string shown(const MbIndex3& cells)
{
  return std::to_string(cells.x) + " x " + std::to_string(cells.y) + " x " +
         std::to_string(cells.z);
}

} // namespace

MbMeshFileError::MbMeshFileError(std::string path, std::string place, std::string problem)
    : std::runtime_error(path + ": " + (place.empty() ? "" : place + ": ") + problem),
      m_path(std::move(path)), m_place(std::move(place)), m_problem(std::move(problem))
{}

struct MbMeshFile::Impl
{
  std::string path;
  bool parallel = true;
  MxFileMesh content;
  MxMeshPlan plan;
  std::unique_ptr<MiMesh> mesh;
  MbMeshSummary summary;
  std::vector<MbMeshFileArray> arrays;

  [[noreturn]] void fail(const std::string& problem) const
  {
    throw MbMeshFileError(path, "", problem);
  }

  [[noreturn]] void failKind(const std::string& problem) const
  {
    throw MbMeshKindError(path, "", problem);
  }

  void setActive(const std::string& name)
  {
    plan.active = content.active;
    if (name.empty()) return;
    for (const MxFileSet& set : content.sets) {
      if (set.binding != MiDataBinding::PerCell || set.name != name) continue;
      if (set.components != 1)
        fail("the array '" + name + "' of active cells has " + std::to_string(set.components) +
             " components, not one");
      plan.active = set.values;
      return;
    }
    fail("has no array '" + name + "' per cell to mark active cells");
  }

  void setIjk(const MbIndex3& cells, bool vertex)
  {
    const MxFileCells& own = content.cells;
    if (content.vertex && !vertex)
      failKind("has cells with eight vertices of their own, not shared nodes");
    if (content.layout != MxFileLayout::Cells)
      failKind("is structured already; only an unstructured mesh of hexahedra can be read as IJK");
    if (own.count > 0 && (own.uniform != MiCellShape::Hexahedron || own.offsets))
      failKind("has cells that are no hexahedra of eight nodes and cannot be read as IJK");
    // Counts are compared by division, as their product may overflow.
    const bool fits = cells.x > 0 && cells.y > 0 && cells.z > 0 && own.count % cells.x == 0 &&
                      own.count / cells.x % cells.y == 0 &&
                      own.count / cells.x / cells.y == cells.z;
    if (!fits) fail("has " + std::to_string(own.count) + " cells, which are not " + shown(cells));
    plan.kind = vertex ? VOLUME_MESH_VERTEX_HEXAHEDRON_IJK : VOLUME_MESH_HEXAHEDRON_IJK;
    plan.cells = cells;
  }

  /// Moves values per node to the logical corners of a vertex mesh.
  void followCorners()
  {
    const bool any = std::any_of(content.sets.begin(), content.sets.end(), [](const auto& set) {
      return set.binding == MiDataBinding::PerNode && set.values;
    });
    if (!any || content.vertex) return;
    bool several = false;
    const std::vector<std::size_t> source =
        mxLogicalCornerNodes(content, plan.cells, plan.active, parallel, several);
    for (MxFileSet& set : content.sets)
      if (set.binding == MiDataBinding::PerNode)
        set.values = mxGather(set.values, set.components, source, parallel);
    if (several)
      content.notes.push_back("Nodes of a fault share one value per logical corner, the one of the "
                              "first live cell.");
  }

  void make()
  {
    try {
      mesh = mxMakeMesh(content, plan, parallel);
      summary = mbSummarize(*mesh, parallel);
      arrays.clear();
      for (const MxFileSet& set : content.sets) {
        MbMeshFileArray array;
        array.name = set.name;
        array.binding = set.binding;
        array.components = set.components;
        array.type = set.values.type;
        array.isPartial = set.isPartial;
        array.values = set.values.view(set.components);
        array.ranges = mxRangesOf(array.values, set.components, parallel);
        array.set = mxMakeDataSet(set, plan);
        arrays.push_back(std::move(array));
      }
    } catch (const std::invalid_argument& problem) {
      fail(problem.what());
    }
  }
};

MbMeshFile MbMeshFile::read(const std::string& path, const MbMeshFileOptions& options)
{
  auto impl = std::make_unique<Impl>();
  impl->path = path;
  impl->parallel = options.parallel;
  MxFileMesh& content = impl->content;
  double told = 0;
  const auto tell = [&](double done) {
    if (options.progress && done > told) options.progress(told = done);
  };
  MxReadRequest request;
  request.parallel = options.parallel;
  request.sharedNodes = options.sharedNodes;
  request.time = options.time;
  if (options.progress) request.progress = tell;
  content = mxReadMeshFile(path, request);
  MxCellFacts facts;
  if (content.layout == MxFileLayout::Cells)
    facts = mxNormalizeCells(content.cells, path, content.notes, options.parallel);
  if (facts.changed) followCells(content, facts.source, options.parallel);
  dropMisfits(content);
  renameDuplicates(content);
  impl->plan = mxPlanMesh(content, facts.kind);
  if (content.ijk && !options.ijk) impl->setIjk(*content.ijk, content.vertex);
  if (options.ijk) impl->setIjk(*options.ijk, options.vertex);
  impl->setActive(options.active);
  if (options.ijk && options.vertex) impl->followCorners();
  impl->make();
  tell(1);
  return MbMeshFile(std::move(impl));
}

MbMeshFile MbMeshFile::asHexahedronIjk(MbMeshFile file, const MbIndex3& cells, bool vertex,
                                       const std::string& active)
{
  Impl& impl = *file.m_impl;
  if (impl.plan.kind != VOLUME_MESH_UNSTRUCTURED && impl.content.layout == MxFileLayout::Cells)
    impl.failKind("is no unstructured volume mesh and cannot be read as IJK");
  impl.setIjk(cells, vertex);
  impl.setActive(active);
  if (vertex) impl.followCorners();
  impl.make();
  return file;
}

MbMeshFile::MbMeshFile(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) {}
MbMeshFile::MbMeshFile(MbMeshFile&&) noexcept = default;
MbMeshFile& MbMeshFile::operator=(MbMeshFile&&) noexcept = default;
MbMeshFile::~MbMeshFile() = default;

const MiMesh* MbMeshFile::getMesh() const
{
  return m_impl->mesh.get();
}

MeshType MbMeshFile::getMeshType() const
{
  return m_impl->plan.kind;
}

const std::string& MbMeshFile::getPath() const
{
  return m_impl->path;
}

std::span<const std::string> MbMeshFile::getFiles() const
{
  return m_impl->content.files;
}

const std::string& MbMeshFile::getFormat() const
{
  return m_impl->content.format;
}

const std::string& MbMeshFile::getTitle() const
{
  return m_impl->content.title;
}

std::optional<double> MbMeshFile::getTime() const
{
  return m_impl->content.time;
}

std::size_t MbMeshFile::getNodeCount() const
{
  return m_impl->content.nodeCount;
}

std::size_t MbMeshFile::getCellCount() const
{
  return m_impl->content.cellCount();
}

std::size_t MbMeshFile::getDeadCellCount() const
{
  return m_impl->summary.deadCellCount;
}

std::vector<std::size_t> MbMeshFile::getCellDimensions() const
{
  const MbIndex3& cells = m_impl->plan.cells;
  switch (m_impl->plan.kind) {
  case VOLUME_MESH_UNSTRUCTURED:
  case SURFACE_MESH_UNSTRUCTURED:
  case LINE_MESH_UNSTRUCTURED:
  case UNDEFINED_MESH:
    return {};
  case LINE_MESH_REGULAR:
  case LINE_MESH_CURVILINEAR:
    return {cells.x};
  case SURFACE_MESH_REGULAR:
  case SURFACE_MESH_RECTILINEAR:
  case SURFACE_MESH_CURVILINEAR:
    return {cells.x, cells.y};
  default:
    return {cells.x, cells.y, cells.z};
  }
}

std::vector<std::pair<std::string, std::size_t>> MbMeshFile::getShapeCounts() const
{
  std::vector<std::pair<std::string, std::size_t>> result;
  std::size_t unknown = 0;
  for (const auto& [shape, count] : m_impl->summary.shapes) {
    const MiCellShapeFacts facts = cellShapeFacts(shape);
    if (facts.dimension < 0)
      unknown += count;
    else
      result.emplace_back(facts.name, count);
  }
  if (unknown > 0) result.emplace_back("unknown", unknown);
  return result;
}

std::array<double, 6> MbMeshFile::getBounds() const
{
  const auto& [low, high] = m_impl->summary.bounds;
  return {low.x, high.x, low.y, high.y, low.z, high.z};
}

std::span<const MbMeshFileArray> MbMeshFile::getArrays() const
{
  return m_impl->arrays;
}

const MbMeshFileArray* MbMeshFile::findArray(const std::string& name) const
{
  const auto find = [&](std::string_view wanted, MiDataBinding binding) {
    const auto& arrays = m_impl->arrays;
    const auto found = std::find_if(arrays.begin(), arrays.end(), [&](const auto& array) {
      return array.binding == binding && array.name == wanted;
    });
    return found == arrays.end() ? nullptr : &*found;
  };
  // The whole name first: it may hold an '@' of its own.
  for (const MiDataBinding binding : {MiDataBinding::PerNode, MiDataBinding::PerCell})
    if (const MbMeshFileArray* array = find(name, binding)) return array;
  constexpr std::string_view kNode = "@node", kCell = "@cell";
  const std::string_view text = name;
  if (text.ends_with(kNode))
    return find(text.substr(0, text.size() - kNode.size()), MiDataBinding::PerNode);
  if (text.ends_with(kCell))
    return find(text.substr(0, text.size() - kCell.size()), MiDataBinding::PerCell);
  return nullptr;
}

const std::vector<std::string>& MbMeshFile::getNotes() const
{
  return m_impl->content.notes;
}

const std::vector<std::string>& MbMeshFile::getRemarks() const
{
  return m_impl->content.remarks;
}
