#include <velmoview/Model.h>

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/io/MbMeshFile.h>
#include <velmo/mesh/MbMeshSummary.h>

#include <algorithm>
#include <cmath>

namespace velmoview {

namespace {

/// How the values of this binding are numbered on a mesh of this kind.
MxIndexing indexingOf(MeshType kind, MiDataBinding binding)
{
  MxIndexing indexing = MxIndexing::I;
  visitMeshKind(MxAllKinds{}, kind, [&]<MeshType Kind>() {
    using Row = MxMeshKind<Kind>;
    const bool perNode = binding == MiDataBinding::PerNode;
    if (perNode ? std::is_same_v<typename Row::template NodeSet<double>, MiScalardSetIjk>
                : std::is_same_v<typename Row::template CellSet<double>, MiScalardSetIjk>)
      indexing = MxIndexing::Ijk;
    else if (perNode ? std::is_same_v<typename Row::template NodeSet<double>, MiScalardSetIj>
                     : std::is_same_v<typename Row::template CellSet<double>, MiScalardSetIj>)
      indexing = MxIndexing::Ij;
  });
  return indexing;
}

void widen(ValueRange& range, double value)
{
  if (std::isnan(value))
    ++range.nanCount;
  else if (std::isinf(value))
    ++range.infiniteCount;
  else
    range.include(value);
}

std::vector<ValueRange> rangesOf(const std::vector<float>& values, std::size_t components)
{
  std::vector<ValueRange> ranges(components == 3 ? 4 : components);
  for (std::size_t first = 0; first < values.size(); first += components) {
    double squares = 0;
    for (std::size_t c = 0; c < components; ++c) {
      widen(ranges[c], values[first + c]);
      squares += static_cast<double>(values[first + c]) * values[first + c];
    }
    if (components == 3) widen(ranges[3], std::sqrt(squares));
  }
  return ranges;
}

void describeMesh(Model& model)
{
  const MbMeshSummary summary = mbSummarize(*model.mesh);
  model.kind = summary.type;
  const MbIndex3& n = summary.cellCounts;
  if (indexingOf(model.kind, MiDataBinding::PerCell) == MxIndexing::Ijk)
    model.dims = {n.x, n.y, n.z};
  if (indexingOf(model.kind, MiDataBinding::PerCell) == MxIndexing::Ij) model.dims = {n.x, n.y};
  model.nodes = summary.nodeCount;
  model.cells = summary.cellCount;
  model.deadCells = summary.deadCellCount;
  for (const auto& [shape, count] : summary.shapes)
    model.shapes.emplace_back(cellShapeFacts(shape).name, count);
  const MbBox& box = summary.bounds;
  model.bounds = {box.min.x, box.max.x, box.min.y, box.max.y, box.min.z, box.max.z};
}

} // namespace

const ModelArray* Model::find(const ArrayName& wanted) const
{
  const ModelArray* found = nullptr;
  for (const ModelArray& array : arrays) {
    if (array.name != wanted.name || (wanted.binding && *wanted.binding != array.binding)) continue;
    if (!found || array.binding == MiDataBinding::PerNode) found = &array;
    if (found->binding == MiDataBinding::PerNode) break;
  }
  return found;
}

template <class T>
std::shared_ptr<const MiDataSet> makeDataSet(const Model& model, const std::string& name,
                                             MiDataBinding binding,
                                             typename MbValues<T>::Array values)
{
  const std::size_t more = binding == MiDataBinding::PerNode ? 1 : 0;
  switch (indexingOf(model.kind, binding)) {
  case MxIndexing::Ijk:
    return std::make_shared<MbDataSetIjk<T>>(
        name, binding, MbIndex3{model.dims[0] + more, model.dims[1] + more, model.dims[2] + more},
        std::move(values));
  case MxIndexing::Ij:
    return std::make_shared<MbDataSetIj<T>>(name, binding, model.dims[0] + more,
                                            model.dims[1] + more, std::move(values));
  case MxIndexing::I:
    break;
  }
  return std::make_shared<MbDataSetI<T>>(name, binding, std::move(values));
}

template std::shared_ptr<const MiDataSet> makeDataSet<double>(const Model&, const std::string&,
                                                              MiDataBinding, MbNumbers);
template std::shared_ptr<const MiDataSet> makeDataSet<MbVec3d>(const Model&, const std::string&,
                                                               MiDataBinding, MbPoints);

Model readModel(const Options& options, const std::function<void(double)>& progress)
{
  MbMeshFileOptions how;
  how.parallel = !options.serial;
  if (options.ijk) how.ijk = MbIndex3{(*options.ijk)[0], (*options.ijk)[1], (*options.ijk)[2]};
  how.vertex = options.vertex;
  how.active = options.active;
  how.sharedNodes = options.sharedNodes;
  how.time = options.time;
  how.progress = progress;
  std::shared_ptr<MbMeshFile> file;
  try {
    file = std::make_shared<MbMeshFile>(MbMeshFile::read(options.file, how));
  } catch (const MbMeshKindError& error) {
    throw UsageError(std::string("--ijk: ") + error.what());
  }

  Model model;
  model.source = file->getPath();
  model.format = file->getFormat();
  model.title = file->getTitle();
  model.files.assign(file->getFiles().begin(), file->getFiles().end());
  model.mesh = file->getMesh();
  model.kind = file->getMeshType();
  model.dims = file->getCellDimensions();
  model.nodes = file->getNodeCount();
  model.cells = file->getCellCount();
  model.deadCells = file->getDeadCellCount();
  model.shapes = file->getShapeCounts();
  model.bounds = file->getBounds();
  model.time = file->getTime();
  model.notes = file->getNotes();
  model.remarks = file->getRemarks();
  for (const MbMeshFileArray& array : file->getArrays()) {
    ModelArray& copy = model.arrays.emplace_back();
    copy.name = array.name;
    copy.binding = array.binding;
    copy.components = array.components;
    copy.values = array.values;
    copy.isPartial = array.isPartial;
    copy.set = array.set.get();
    for (const MbValueRange& range : array.ranges)
      copy.ranges.push_back({range.min, range.max, range.nanCount, range.infiniteCount});
  }
  model.owner = file;
  return model;
}

Model modelOf(std::string source, DemoMesh demo)
{
  struct Owner
  {
    DemoMesh demo;
    std::vector<std::shared_ptr<const MiDataSet>> sets;
  };
  const auto owner = std::make_shared<Owner>(Owner{std::move(demo), {}});
  Model model;
  model.source = std::move(source);
  model.format = "built in";
  model.mesh = owner->demo.mesh.get();
  describeMesh(model);
  for (const DemoArray& array : owner->demo.arrays) {
    owner->sets.push_back(
        array.components == 3
            ? makeDataSet<MbVec3d>(model, array.name, array.binding, MbPoints(array.values))
            : makeDataSet<double>(model, array.name, array.binding, MbNumbers(array.values)));
    ModelArray& described = model.arrays.emplace_back();
    described.name = array.name;
    described.binding = array.binding;
    described.components = array.components;
    described.values = {array.values.data(), MiScalarType::Float32,
                        array.values.size() / array.components, array.components * sizeof(float)};
    described.ranges = rangesOf(array.values, array.components);
    described.set = owner->sets.back().get();
  }
  model.owner = owner;
  return model;
}

} // namespace velmoview
