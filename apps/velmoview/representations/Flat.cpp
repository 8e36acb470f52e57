#include <velmoview/representations/Representation.h>

#include <velmoview/Arrays.h>
#include <velmoview/Measure.h>
#include <velmoview/Values.h>

#include <velmo/extraction/extractors/MiIsolineExtract.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/representations/MoMeshIsoline.h>
#include <velmo/representations/MoMeshLine.h>
#include <velmo/representations/MoMeshSurface.h>

#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoLightModel.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace velmoview {

namespace {

constexpr float kLineWidth = 1.6f;
/// How far the values are dragged to measure a second extraction, of the range of the array.
constexpr double kDrag = 0.002;

bool drawsFaces(const Options& options)
{
  for (const RepresentationRequest& request : options.representations)
    if (request.row->extracted == Extracted::Surface) return options.faces;
  return false;
}

/// Lines are the edges of their draw style. Over faces they are dark, alone they take the colours.
void addLineStyle(Stage& stage)
{
  const Options& options = stage.subject().options;
  auto* width = new SoDrawStyle;
  width->lineWidth = kLineWidth;
  stage.group().addChild(width);
  auto* unlit = new SoLightModel;
  unlit->model = SoLightModel::BASE_COLOR;
  stage.group().addChild(unlit);
  auto* style = new MoDrawStyle;
  style->displayFaces = FALSE;
  style->displayEdges = TRUE;
  style->displayPoints = options.points;
  stage.group().addChild(style);
  auto* material = new MoMaterial;
  material->lineColoring =
      stage.isColored() && !drawsFaces(options) ? MoMaterial::CONTOURING : MoMaterial::COLOR;
  material->lineColor = SbColor(0.12f, 0.13f, 0.15f);
  material->pointColoring = MoMaterial::COLOR;
  material->pointColor = SbColor(0.10f, 0.10f, 0.12f);
  material->transparency = static_cast<float>(1 - options.opacity);
  stage.group().addChild(material);
}

/// A mesh drawn as it is, which has no arguments.
template <class Node>
class AsItIs final : public RepresentationOf<Node>
{
public:
  static std::vector<std::shared_ptr<Representation>> read(const RepresentationRow&,
                                                           const std::string&)
  {
    return {std::make_shared<AsItIs>()};
  }

protected:
  void prepare(Node&, Stage& stage) const override
  {
    if constexpr (std::is_same_v<Node, MoMeshLine>) addLineStyle(stage);
  }
  void setFields(Node&, const Subject&, Setting) const override {}
};

class Isolines final : public RepresentationOf<MoMeshIsoline>
{
public:
  Isolines(ArrayName array, std::vector<double> values)
      : m_array(std::move(array)), m_values(std::move(values))
  {}

  static std::vector<std::shared_ptr<Representation>> read(const RepresentationRow& row,
                                                           const std::string& value)
  {
    const std::size_t equals = value.rfind('=');
    if (equals == std::string::npos) refuseValue(row.option, row.takes, "there is no '='");
    std::vector<double> values =
        readNumbers(row.option, row.takes, value.substr(equals + 1), 1, 10000);
    for (const double number : values)
      if (!std::isfinite(static_cast<float>(number)))
        refuseValue(row.option, row.takes, "'" + value + "' is beyond what single precision holds");
    return {std::make_shared<Isolines>(
        readArrayName(row.option, row.takes, value.substr(0, equals)), std::move(values))};
  }
  static void readPeriod(const OwnOption& option, const std::string& value,
                         Representation& representation)
  {
    auto& lines = static_cast<Isolines&>(representation);
    const auto numbers = readCounts(option.name, option.takes, value, ',', 1, 2, 0, 65535);
    lines.m_period = static_cast<unsigned short>(numbers[0]);
    if (numbers.size() > 1) lines.m_first = static_cast<unsigned short>(numbers[1]);
  }

  nlohmann::ordered_json arguments() const override
  {
    return {{"array", m_array.text()}, {"values", m_values}};
  }
  void check(const Subject& subject) const override
  {
    const ModelArray& array = findArray(subject.model, "--isolines", m_array);
    if (array.binding == MiDataBinding::PerCell)
      throw UsageError("--isolines needs an array per node: '" + array.name +
                       "' has one value a cell");
  }
  std::string whyEmpty(const MoMeshRepresentation&, const Reach& reach) const override
  {
    const ValueRange range = reach.ofArray(findArray(reach.model(), "--isolines", m_array));
    const auto [low, high] = std::minmax_element(m_values.begin(), m_values.end());
    const bool isBelow = range.isEmpty() || *high < range.min;
    return compared("'" + m_array.text() + "'", range, "", isBelow ? *high : *low);
  }
  std::vector<const MiMesh*> extracted(const MoMeshRepresentation& node) const override
  {
    std::vector<const MiMesh*> meshes;
    for (const auto& entry : linesOf(node))
      meshes.push_back(entry.lines.get());
    return meshes;
  }
  std::vector<MbExtractedPart> savedParts(const MoMeshRepresentation& node) const override
  {
    std::vector<MbExtractedPart> parts;
    for (const auto& [value, lines] : linesOf(node))
      parts.push_back({lines.get(),
                       {ownArray("Isovalue", MiDataBinding::PerCell,
                                 std::vector<double>(lines->topology.getCellCount(), value))}});
    return parts;
  }
  void addToReport(const MoMeshRepresentation& node, nlohmann::ordered_json& report) const override
  {
    report["parts"] = nlohmann::ordered_json::array();
    // The values as they were asked for; the fields have them in single precision.
    auto asked = m_values.begin();
    for (const auto& [value, lines] : linesOf(node)) {
      std::size_t closed = 0;
      for (std::size_t c = 0; c < lines->topology.getCellCount(); ++c)
        closed += lines->topology.getCell(c).front() == lines->topology.getCell(c).back();
      const MiMesh* mesh = lines.get();
      report["parts"].push_back({{"value", *asked++},
                                 {"length", measure({&mesh, 1}).length},
                                 {"polylines", lines->topology.getCellCount()},
                                 {"closed", closed}});
    }
  }

protected:
  void prepare(MoMeshIsoline& node, Stage& stage) const override
  {
    node.isoScalarSetId =
        stage.addScalarSet(findArray(stage.subject().model, "--isolines", m_array));
    node.majorPeriod = m_period;
    node.firstMajor = m_first;
    addLineStyle(stage);
  }
  void setFields(MoMeshIsoline& node, const Subject& subject, Setting setting) const override
  {
    double drag = 0;
    if (setting == Setting::Moved) {
      const ModelArray& array = findArray(subject.model, "--isolines", m_array);
      if (!array.ranges.empty() && !array.ranges.back().isEmpty())
        drag = kDrag * (array.ranges.back().max - array.ranges.back().min);
    }
    std::vector<float> values;
    for (const double value : m_values)
      values.push_back(static_cast<float>(value + drag));
    node.isovalues.setNum(0);
    node.isovalues.setValues(0, static_cast<int>(values.size()), values.data());
  }

private:
  static MeXLineMeshes linesOf(const MoMeshRepresentation& node)
  {
    const auto& isoline = static_cast<const MoMeshIsoline&>(node);
    if (const auto* extractor = isoline.getUnstructuredExtractor()) return extractor->getLines();
    if (const auto* extractor = isoline.getIjExtractor()) return extractor->getLines();
    return {};
  }

  ArrayName m_array;
  std::vector<double> m_values;
  unsigned short m_period = 3, m_first = 0;
};

constexpr OwnOption kIsolineOptions[] = {{"--major", "PERIOD[,FIRST]",
                                          "every PERIOD-th line is solid, from line FIRST on; 3,0",
                                          Isolines::readPeriod}};

} // namespace

extern const RepresentationRow kSurfaceRow, kLineRow, kIsolinesRow;
constinit const RepresentationRow kSurfaceRow{.option = "--surface",
                                              .help =
                                                  "a surface mesh as it is (the default for one)",
                                              .extracted = Extracted::Surface,
                                              .kinds = kSurfaceKinds,
                                              .isDefault = true,
                                              .read = AsItIs<MoMeshSurface>::read};
constinit const RepresentationRow kLineRow{.option = "--line",
                                           .help = "a line mesh as it is (the default for one)",
                                           .extracted = Extracted::Lines,
                                           .kinds = kLineKinds,
                                           .isDefault = true,
                                           .read = AsItIs<MoMeshLine>::read};
constinit const RepresentationRow kIsolinesRow{
    .option = "--isolines",
    .takes = "ARRAY=VALUE[,VALUE...]",
    .help = "lines on a surface mesh where an array has a value",
    .extracted = Extracted::Lines,
    .kinds = kSurfaceKinds,
    .read = Isolines::read,
    .options = kIsolineOptions};

} // namespace velmoview
