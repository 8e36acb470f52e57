#include <velmoview/Scene.h>

#include <velmoview/ColorMap.h>
#include <velmoview/Legend.h>
#include <velmoview/ProgressBar.h>
#include <velmoview/representations/Representation.h>

#include <velmo/colormapping/MoUndefinedColor.h>
#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/nodes/MoTessellator.h>

#include <Inventor/actions/SoGetMatrixAction.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoMaterial.h>
#include <Inventor/nodes/SoPerspectiveCamera.h>
#include <Inventor/nodes/SoPolygonOffset.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShapeHints.h>
#include <Inventor/nodes/SoTranslation.h>
#include <Inventor/SbViewportRegion.h>

#include <algorithm>

namespace velmoview {

namespace {

const SbColor kPlainFace(0.62f, 0.69f, 0.76f);
const SbColor kLine(0.12f, 0.13f, 0.15f);
const SbColor kPoint(0.10f, 0.10f, 0.12f);
/// From the right, the front and above: three sides of a box show, and its top is the smallest.
constexpr MbVec3d kDefaultView{-0.55, 0.75, -0.5};

/// Where the middle of the mesh lies, when that is far from zero against its size; zero otherwise.
MbVec3d farMiddle(const Bounds& b)
{
  const MbVec3d middle{(b[0] + b[1]) / 2, (b[2] + b[3]) / 2, (b[4] + b[5]) / 2};
  const MbVec3d extent{b[1] - b[0], b[3] - b[2], b[5] - b[4]};
  const bool isFar = isFinite(middle) && isFinite(extent) && length(middle) > 10 * length(extent);
  return isFar ? middle : MbVec3d{};
}

SbVec3f toFloat(const MbVec3d& v)
{
  return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

} // namespace

/// Adds up the time spent in an extractor, and tells how far it is.
class ExtractionTimer : public MiExtractorCallback
{
public:
  /// The bar is borrowed and may be null.
  ExtractionTimer(std::string what, ProgressBar* bar) : m_what(std::move(what)), m_bar(bar) {}

  void beginExtract(const std::string&, std::size_t phaseCount) override
  {
    m_running = Stopwatch();
    m_phases = phaseCount;
    m_phase = 0;
    if (m_bar) m_bar->begin(m_what);
  }
  void endExtract() override
  {
    m_total += m_running.milliseconds();
    if (m_bar) m_bar->finish();
  }
  void beginPhase(const std::string&, std::size_t stepCount) override { m_steps = stepCount; }
  void endPhase() override
  {
    ++m_phase;
    tell(0);
  }
  bool endStep(std::size_t stepsDone) override
  {
    tell(m_steps > 0 ? static_cast<double>(stepsDone) / static_cast<double>(m_steps) : 0);
    return true;
  }

  double take() { return std::exchange(m_total, 0); }

private:
  void tell(double ofPhase) const
  {
    if (m_bar && m_phases > 0)
      m_bar->set((static_cast<double>(m_phase) + ofPhase) / static_cast<double>(m_phases));
  }

  std::string m_what;
  ProgressBar* m_bar;
  Stopwatch m_running;
  double m_total = 0;
  std::size_t m_phases = 0, m_phase = 0, m_steps = 0;
};

std::vector<RepresentationRequest> requestsFor(const Model& model, const Options& options)
{
  if (!options.representations.empty()) return options.representations;
  for (const RepresentationRow* row : representationTable()) {
    if (row->isDefault && row->serves(model.kind)) return {{row, row->read(*row, "").front()}};
  }
  return {};
}

std::vector<const MiMesh*> Drawn::meshes() const
{
  return request.what->extracted(*node);
}

bool Drawn::isEmpty() const
{
  // A line that ends where it begins has a node.
  if (request.row->extracted == Extracted::Lines) return measure(meshes()).cells == 0;
  for (const MiMesh* mesh : meshes()) {
    const MeXGeometryI* geometry = geometryOf(*mesh);
    if (geometry && geometry->getNodeCount() > 0) return false;
  }
  return true;
}

Scene::Scene(const Model& model, const Options& options, ProgressBar* bar)
    : m_model(model), m_options(options), m_bar(bar), m_coloring(chooseColoring(model, options)),
      m_root(new SoSeparator)
{
  const auto& v = options.view;
  const bool isDefault = v[0] == 0 && v[1] == 0 && v[2] == 0;
  m_axes = viewAxes(isDefault ? kDefaultView : MbVec3d{v[0], v[1], v[2]});

  m_camera = new SoPerspectiveCamera;
  m_root->addChild(m_camera);
  addLights(*m_root, m_axes);
  auto* shift = new SoTranslation;
  shift->translation = toFloat(farMiddle(model.bounds) * -1);
  m_root->addChild(shift);
  // As the field holds it, in single precision, so that both cancel.
  const SbVec3f& moved = shift->translation.getValue();
  m_shift = {-moved[0], -moved[1], -moved[2]};
  addAppearance(*m_root);
  addRepresentations(*m_root);
  if (!options.legend) return;
  if (!m_coloring.set)
    throw UsageError("--legend shows colours, and " + model.source + " has no array to colour by");
  const LegendLayout layout = layOutLegend(m_coloring, options);
  m_margins = layout.margins;
  m_root->addChild(makeLegend(m_coloring, options, layout));
}

Scene::~Scene()
{
  for (Drawn& drawn : m_drawn)
    drawn.node->setExtractorCallback(static_cast<MiExtractorCallback*>(nullptr));
}

/// A key light over the viewer's left shoulder, a weaker one from the right to open the shadows.
void Scene::addLights(SoGroup& root, const ViewAxes& axes)
{
  const auto addLight = [&](double right, double up, float intensity) {
    auto* light = new SoDirectionalLight;
    light->direction = toFloat((axes.right * right + axes.up * up + axes.back) * -1);
    light->intensity = intensity;
    root.addChild(light);
  };
  addLight(-0.35, 0.55, 0.74f);
  addLight(0.6, -0.05, 0.42f);
}

void Scene::addAppearance(SoGroup& root)
{
  // Both sides are lit: corner-point grids come in both orientations.
  auto* hints = new SoShapeHints;
  hints->vertexOrdering = SoShapeHints::COUNTERCLOCKWISE;
  hints->shapeType = SoShapeHints::UNKNOWN_SHAPE_TYPE;
  hints->creaseAngle = 0.5f;
  root.addChild(hints);
  auto* base = new SoMaterial;
  base->ambientColor = SbColor(0.35f, 0.35f, 0.35f);
  root.addChild(base);
  if (!m_options.faces) {
    // Lit by the normals of the faces that are not shown, half of the lines and points would be
    // dark.
    auto* unlit = new SoLightModel;
    unlit->model = SoLightModel::BASE_COLOR;
    root.addChild(unlit);
  }
  // Faces step back by what they recede over a line's width; with the half of it that the library
  // takes, edges that run away from the viewer are half hidden.
  auto* offset = new SoPolygonOffset;
  offset->factor = 1;
  offset->units = 15;
  offset->setOverride(TRUE);
  root.addChild(offset);
  auto* widths = new SoDrawStyle;
  widths->lineWidth = 1;
  widths->pointSize = 4;
  root.addChild(widths);

  auto* mesh = new MoMesh;
  mesh->setMesh(m_model.mesh);
  root.addChild(mesh);
  if (m_options.tessellate > 0) {
    m_tessellator.setPartCount(static_cast<unsigned>(m_options.tessellate));
    auto* refine = new MoTessellator;
    refine->setTessellator(&m_tessellator);
    root.addChild(refine);
  }

  const bool byValue = m_coloring.set != nullptr;
  if (byValue) {
    auto* binding = new MoDataBinding;
    binding->dataBinding = m_coloring.binding == MiDataBinding::PerNode ? MoDataBinding::PER_NODE
                                                                        : MoDataBinding::PER_CELL;
    root.addChild(binding);
    auto* set = new MoScalarSet;
    set->setScalarSet(m_coloring.set);
    root.addChild(set);
    root.addChild(makeColorMap(m_coloring, m_options));
    auto* undefined = new MoUndefinedColor;
    const auto& nan = m_options.nanColor;
    undefined->color = SbColor(nan[0], nan[1], nan[2]);
    root.addChild(undefined);
  }

  // Edges and points are dark over faces, and take the colours when there are no faces.
  auto* material = new MoMaterial;
  material->faceColoring = byValue ? MoMaterial::CONTOURING : MoMaterial::COLOR;
  material->lineColoring = byValue && !m_options.faces ? MoMaterial::CONTOURING : MoMaterial::COLOR;
  material->pointColoring =
      byValue && !m_options.faces && !m_options.edges ? MoMaterial::CONTOURING : MoMaterial::COLOR;
  material->faceColor = kPlainFace;
  material->lineColor = kLine;
  material->pointColor = kPoint;
  material->transparency = static_cast<float>(1 - m_options.opacity);
  material->enhancedColoring = m_options.enhanced;
  root.addChild(material);

  auto* style = new MoDrawStyle;
  style->displayFaces = m_options.faces;
  style->displayEdges = m_options.edges;
  style->displayPoints = m_options.points;
  style->fadingThreshold = static_cast<float>(m_options.fading);
  root.addChild(style);
}

void Scene::addCellFilter(SoGroup& group, CellChoice choice)
{
  std::vector<std::uint8_t> keep = chooseCells(m_model, m_options, choice);
  if (keep.empty()) return;
  const auto& dims = m_model.dims;
  std::unique_ptr<MiCellFilter>& filter = m_filters.emplace_back();
  if (dims.size() == 3)
    filter =
        std::make_unique<MbMaskFilterIjk>(std::move(keep), MbIndex3{dims[0], dims[1], dims[2]});
  else if (dims.size() == 2)
    filter = std::make_unique<MbMaskFilterIj>(std::move(keep), MbIndex3{dims[0], dims[1], 1});
  else
    filter = std::make_unique<MbMaskFilterI>(std::move(keep));
  auto* node = new MoCellFilter;
  node->setCellFilter(filter.get());
  group.addChild(node);
}

void Scene::addRepresentations(SoGroup& root)
{
  const Subject subject{m_model, m_options};
  for (const RepresentationRequest& request : requestsFor(m_model, m_options)) {
    auto* group = new SoSeparator;
    root.addChild(group);
    addCellFilter(*group,
                  request.row->takesCellRange ? CellChoice::ByValue : CellChoice::ByValueAndIndex);
    Stage stage(subject, *group, m_coloring.set ? 1 : 0);
    Drawn& drawn = m_drawn.emplace_back();
    drawn.request = request;
    drawn.group = group;
    drawn.node = request.what->makeNode(stage);
    drawn.node->parallel = !m_options.serial;
    request.what->configure(*drawn.node, subject, Setting::Asked);
    drawn.timer = std::make_unique<ExtractionTimer>(
        "extracting " + std::string(request.row->option + 2), m_bar);
    drawn.node->setExtractorCallback(drawn.timer.get());
  }
}

/// Brings one representation up to date; the time of the whole, in milliseconds.
double Scene::traverse(Drawn& drawn)
{
  // An action that does next to nothing of its own: the time is the representation's.
  SoGetMatrixAction action(SbViewportRegion(static_cast<short>(m_options.size[0]),
                                            static_cast<short>(m_options.size[1])));
  SoPath* path = new SoPath(m_root);
  path->ref();
  path->append(drawn.group);
  path->append(drawn.node);
  const Stopwatch stopwatch;
  action.apply(path);
  const double total = stopwatch.milliseconds();
  path->unref();
  return total;
}

void Scene::extract(bool again)
{
  for (Drawn& drawn : m_drawn) {
    const double total = traverse(drawn);
    drawn.extractMs = drawn.timer->take();
    drawn.buildMs = std::max(0.0, total - drawn.extractMs);
    if (!again || drawn.isEmpty()) continue;
    // A changed argument, then what was asked for once more, on structures that the mesh keeps.
    const Subject subject{m_model, m_options};
    drawn.request.what->configure(*drawn.node, subject, Setting::Moved);
    traverse(drawn);
    drawn.timer->take();
    drawn.request.what->configure(*drawn.node, subject, Setting::Asked);
    traverse(drawn);
    drawn.reextractMs = drawn.timer->take();
    drawn.measuredAgain = true;
  }
}

void Scene::aim()
{
  std::vector<MbVec3d> points;
  for (const Drawn& drawn : m_drawn) {
    for (const MiMesh* mesh : drawn.meshes()) {
      const MeXGeometryI* geometry = geometryOf(*mesh);
      for (std::size_t n = 0; geometry && n < geometry->getNodeCount(); ++n)
        points.push_back(geometry->getNode(n) - m_shift);
    }
  }
  fitCamera(*m_camera, points, m_axes, static_cast<double>(m_options.size[0]) / m_options.size[1],
            m_margins);
}

} // namespace velmoview
