#include <velmoview/representations/Representation.h>

#include <velmoview/Arrays.h>
#include <velmoview/Probes.h>
#include <velmoview/Values.h>

#include <velmo/extraction/extractors/MiStreamlineExtract.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoVec3SetI.h>
#include <velmo/nodes/MoVec3SetIjk.h>
#include <velmo/representations/MoMeshStreamline.h>

#include <Inventor/nodes/SoDrawStyle.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace velmoview {

namespace {

constexpr float kLineWidth = 1.8f;
constexpr std::uint32_t kSeedCount = 60;
/// How far the step is dragged to measure a second extraction.
constexpr double kDrag = 0.98;

const char* reasonOf(MiStreamlineEnd end)
{
  switch (end) {
  case MiStreamlineEnd::NotInMesh:
    return "not in the mesh";
  case MiStreamlineEnd::LeftMesh:
    return "left the mesh";
  case MiStreamlineEnd::LowSpeed:
    return "low speed";
  case MiStreamlineEnd::LifeTime:
    return "time";
  case MiStreamlineEnd::Length:
    return "length";
  case MiStreamlineEnd::StepNumber:
    return "steps";
  case MiStreamlineEnd::DefaultStepNumber:
    return "default steps";
  case MiStreamlineEnd::NotFinite:
    break;
  }
  return "not finite";
}

/// Element `index` of the sequence of van der Corput in a base: evenly spread in [0, 1).
double spreadNumber(std::uint32_t index, std::uint32_t base)
{
  double value = 0, digit = 1;
  for (; index > 0; index /= base)
    value += (digit /= base) * (index % base);
  return value;
}

/// Points inside the mesh, spread evenly over its bounds.
std::vector<MbVec3d> spreadSeeds(const Model& model, std::size_t count, bool parallel)
{
  constexpr std::uint32_t kTriesPerSeed = 200;
  std::vector<MbVec3d> seeds;
  const std::unique_ptr<PointFinder> finder = makeFinder(model, parallel);
  const Bounds& b = model.bounds;
  if (!finder || !(b[0] <= b[1])) return seeds;
  const auto tries = static_cast<std::uint32_t>(count) * kTriesPerSeed;
  for (std::uint32_t n = 1; n <= tries && seeds.size() < count; ++n) {
    MbVec3d p;
    for (std::uint32_t a = 0; a < 3; ++a)
      p[a] = static_cast<float>(b[2 * a] +
                                spreadNumber(n, 2 * a + (a ? 1 : 2)) * (b[2 * a + 1] - b[2 * a]));
    if (finder->find(p)) seeds.push_back(p);
  }
  return seeds;
}

/// A line's place and length at a time: between two points of it the cubic that has their positions
/// and velocities.
struct Line
{
  std::span<const MbVec3d> points;
  std::span<const double> times, speeds;
  const std::vector<MbVec3d>& tangents;

  double lengthTo(std::size_t point) const
  {
    double sum = 0;
    for (std::size_t n = 1; n <= point; ++n)
      sum += length(points[n] - points[n - 1]);
    return sum;
  }
  /// @param time  in [0, times.back()]
  std::pair<MbVec3d, double> at(double time) const
  {
    const auto above = std::upper_bound(times.begin(), times.end(), time) - times.begin();
    const std::size_t n = std::clamp<std::ptrdiff_t>(
        above - 1, 0, static_cast<std::ptrdiff_t>(std::max<std::size_t>(times.size(), 2)) - 2);
    if (points.size() < 2) return {points[0], 0};
    const double step = times[n + 1] - times[n], u = step > 0 ? (time - times[n]) / step : 0;
    const MbVec3d from = tangents[n] * (speeds[n] * step),
                  to = tangents[n + 1] * (speeds[n + 1] * step);
    const MbVec3d place = points[n] * ((1 + 2 * u) * (1 - u) * (1 - u)) +
                          from * (u * (1 - u) * (1 - u)) + points[n + 1] * (u * u * (3 - 2 * u)) +
                          to * (u * u * (u - 1));
    return {place, lengthTo(n) + length(place - points[n])};
  }
};

nlohmann::ordered_json listOf(const MbVec3d& p)
{
  return {p.x, p.y, p.z};
}

class Streamlines final : public RepresentationOf<MoMeshStreamline>
{
public:
  explicit Streamlines(ArrayName array) : m_array(std::move(array)) {}

  static std::vector<std::shared_ptr<Representation>> read(const RepresentationRow& row,
                                                           const std::string& value)
  {
    return {std::make_shared<Streamlines>(readArrayName(row.option, row.takes, value))};
  }
  static void readSeeds(const OwnOption& option, const std::string& value, Representation& what)
  {
    auto& lines = static_cast<Streamlines&>(what);
    if (lines.m_seedCount)
      throw UsageError("--seeds and --seed-count are two ways to say where lines begin; give one");
    lines.m_seeds.clear();
    for (const std::string& part : splitText(value, ';')) {
      const std::vector<double> p = readNumbers(option.name, option.takes, part, 3, 3);
      for (const double number : p)
        if (!std::isfinite(static_cast<float>(number)))
          refuseValue(option.name, option.takes,
                      "'" + part + "' is beyond what single precision holds");
      lines.m_seeds.push_back({p[0], p[1], p[2]});
    }
  }
  static void readSeedCount(const OwnOption& option, const std::string& value, Representation& what)
  {
    auto& lines = static_cast<Streamlines&>(what);
    if (!lines.m_seeds.empty())
      throw UsageError("--seeds and --seed-count are two ways to say where lines begin; give one");
    lines.m_seedCount = readCounts(option.name, option.takes, value, ',', 1, 1, 1, 100000)[0];
  }
  static void readBackward(const OwnOption&, const std::string&, Representation& what)
  {
    static_cast<Streamlines&>(what).m_isBackward = true;
  }
  template <double Streamlines::*Member>
  static void readPositive(const OwnOption& option, const std::string& value, Representation& what)
  {
    const double number = readNumbers(option.name, option.takes, value, 1, 1)[0];
    if (!(number > 0)) refuseValue(option.name, option.takes, value + " is not above 0");
    static_cast<Streamlines&>(what).*Member = number;
  }
  static void readSteps(const OwnOption& option, const std::string& value, Representation& what)
  {
    static_cast<Streamlines&>(what).m_maxSteps =
        static_cast<int>(readCounts(option.name, option.takes, value, ',', 1, 1, 1, 2147483647)[0]);
  }
  static void readTimes(const OwnOption& option, const std::string& value, Representation& what)
  {
    auto& lines = static_cast<Streamlines&>(what);
    lines.m_times = readNumbers(option.name, option.takes, value, 1, 10000);
    for (const double time : lines.m_times)
      if (time < 0) refuseValue(option.name, option.takes, "a time is below 0");
  }

  nlohmann::ordered_json arguments() const override
  {
    nlohmann::ordered_json json{{"array", m_array.text()}};
    if (m_seeds.empty()) json["seed_count"] = m_seedCount ? m_seedCount : kSeedCount;
    if (m_isBackward) json["backward"] = true;
    if (m_maxTime > 0) json["max_time"] = m_maxTime;
    if (m_maxLength > 0) json["max_length"] = m_maxLength;
    if (m_minSpeed > 0) json["min_speed"] = m_minSpeed;
    if (m_maxSteps > 0) json["max_steps"] = m_maxSteps;
    if (m_stepFactor > 0) json["step_factor"] = m_stepFactor;
    return json;
  }
  void check(const Subject& subject) const override
  {
    const ModelArray& array = findArray(subject.model, "--streamlines", m_array);
    if (array.components != 3)
      throw UsageError("--streamlines follows vectors: '" + array.name + "' has one number" +
                       (array.binding == MiDataBinding::PerNode ? " a node" : " a cell"));
  }
  std::vector<const MiMesh*> extracted(const MoMeshRepresentation& node) const override
  {
    std::vector<const MiMesh*> meshes;
    withExtractor(node, [&](const auto& extractor) {
      for (const auto& entry : extractor.getLines())
        meshes.push_back(entry.lines.get());
    });
    return meshes;
  }
  std::vector<MbExtractedPart> savedParts(const MoMeshRepresentation& node) const override
  {
    std::vector<MbExtractedPart> parts;
    withExtractor(node, [&](const auto& extractor) {
      for (std::size_t l = 0; l < extractor.getLines().size(); ++l) {
        const auto& lines = extractor.getLines()[l];
        const std::vector<double> seeds(lines.topology.getCellCount(), static_cast<double>(l));
        parts.push_back(
            {&lines,
             {ownArray("IntegrationTime", MiDataBinding::PerNode, extractor.getTimes(l).values),
              ownArray("Speed", MiDataBinding::PerNode, extractor.getSpeeds(l).values),
              ownArray("Seed", MiDataBinding::PerCell, seeds)}});
      }
    });
    return parts;
  }
  std::string whyEmpty(const MoMeshRepresentation& node, const Reach& reach) const override
  {
    std::size_t inside = 0;
    std::string reasons;
    withExtractor(node, [&](const auto& extractor) {
      for (std::size_t l = 0; l < extractor.getLines().size(); ++l) {
        const MiStreamlineEnd end = extractor.getEnd(l);
        if (end == MiStreamlineEnd::NotInMesh) continue;
        ++inside;
        const std::string reason = reasonOf(end);
        if (reasons.find(reason) == std::string::npos)
          reasons += (reasons.empty() ? "" : ", ") + reason;
      }
    });
    if (inside > 0) return "every line ends where it begins: " + reasons;
    std::string text = "no seed lies in the cells to draw, which are at";
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const ValueRange range = reach.ofNodes([axis](const MbVec3d& x) { return x[axis]; });
      text += (axis ? ", " : " ") + std::string(1, "xyz"[axis]) + " from " + shownShort(range.min) +
              " to " + shownShort(range.max);
    }
    return text;
  }
  void addToReport(const MoMeshRepresentation& node, nlohmann::ordered_json& report) const override
  {
    auto& lines = report["lines"] = nlohmann::ordered_json::array();
    const auto& seeds = static_cast<const MoMeshStreamline&>(node).startingPoints;
    withExtractor(node, [&](const auto& extractor) {
      for (std::size_t l = 0; l < extractor.getLines().size(); ++l) {
        const SbVec3f& seed = seeds[static_cast<int>(l)];
        const Line line{extractor.getPoints(l), extractor.getTimes(l).values,
                        extractor.getSpeeds(l).values, extractor.getTangents(l).values};
        nlohmann::ordered_json json{{"seed", {seed[0], seed[1], seed[2]}}};
        if (!line.points.empty()) {
          json["time"] = line.times.back();
          json["length"] = line.lengthTo(line.points.size() - 1);
          json["end"] = listOf(line.points.back());
        }
        json["reason"] = reasonOf(extractor.getEnd(l));
        if (!m_times.empty()) json["at"] = nlohmann::ordered_json::array();
        for (const double time : m_times) {
          if (line.points.empty() || time > line.times.back()) continue;
          const auto [place, way] = line.at(time);
          json["at"].push_back({{"time", time}, {"position", listOf(place)}, {"length", way}});
        }
        lines.push_back(std::move(json));
      }
    });
  }

protected:
  void prepare(MoMeshStreamline& node, Stage& stage) const override
  {
    const Subject& subject = stage.subject();
    SoGroup& group = stage.group();
    const ModelArray& array = findArray(subject.model, "--streamlines", m_array);
    if (const auto* flat = dynamic_cast<const MiVec3dSetI*>(array.set)) {
      auto* set = new MoVec3SetI;
      set->setVec3Set(flat);
      group.addChild(set);
    } else if (const auto* grid = dynamic_cast<const MiVec3dSetIjk*>(array.set)) {
      auto* set = new MoVec3SetIjk;
      set->setVec3Set(grid);
      group.addChild(set);
    }
    auto* width = new SoDrawStyle;
    width->lineWidth = kLineWidth;
    group.addChild(width);
    auto* style = new MoDrawStyle;
    style->displayFaces = FALSE;
    style->displayEdges = TRUE;
    style->displayPoints = subject.options.points;
    group.addChild(style);
    auto* material = new MoMaterial;
    material->lineColoring = stage.isColored() ? MoMaterial::CONTOURING : MoMaterial::COLOR;
    material->lineColor = SbColor(0.16f, 0.36f, 0.62f);
    material->pointColoring = MoMaterial::COLOR;
    material->pointColor = SbColor(0.10f, 0.10f, 0.12f);
    group.addChild(material);

    std::vector<MbVec3d> seeds = m_seeds;
    if (seeds.empty())
      seeds = spreadSeeds(subject.model, m_seedCount ? m_seedCount : kSeedCount,
                          !subject.options.serial);
    node.startingPoints.setNum(static_cast<int>(seeds.size()));
    SbVec3f* points = node.startingPoints.startEditing();
    for (std::size_t n = 0; n < seeds.size(); ++n)
      points[n].setValue(static_cast<float>(seeds[n].x), static_cast<float>(seeds[n].y),
                         static_cast<float>(seeds[n].z));
    node.startingPoints.finishEditing();
    node.maxLifeTime = m_maxTime;
    node.maxLength = m_maxLength;
    node.minSpeed = m_minSpeed;
    node.maxStepNumber = m_maxSteps;
    node.direction = m_isBackward ? MoMeshStreamline::BACKWARD : MoMeshStreamline::FORWARD;
  }
  void setFields(MoMeshStreamline& node, const Subject&, Setting setting) const override
  {
    const double factor = m_stepFactor > 0 ? m_stepFactor : static_cast<double>(0.3f);
    node.integrationStepLengthFactor = setting == Setting::Moved ? kDrag * factor : factor;
  }

private:
  template <class Visit>
  static void withExtractor(const MoMeshRepresentation& node, const Visit& visit)
  {
    const auto& streamline = static_cast<const MoMeshStreamline&>(node);
    if (const auto* flat = streamline.getUnstructuredExtractor())
      visit(*flat);
    else if (const auto* hexahedra = streamline.getHexahedronIjkExtractor())
      visit(*hexahedra);
    else if (const auto* grid = streamline.getIjkExtractor())
      visit(*grid);
  }

  ArrayName m_array;
  std::vector<MbVec3d> m_seeds;
  std::uint32_t m_seedCount = 0;
  bool m_isBackward = false;
  double m_maxTime = 0, m_maxLength = 0, m_minSpeed = 0, m_stepFactor = 0;
  int m_maxSteps = 0;
  std::vector<double> m_times;

public:
  // Readers of options name private members.
  static constexpr OwnOption kOptions[] = {
      {"--seeds", "X,Y,Z;X,Y,Z;...", "where the lines begin", readSeeds},
      {"--seed-count", "a whole number from 1 to 100000", "so many points spread over the mesh; 60",
       readSeedCount},
      {"--backward", "", "follow the vectors backwards", readBackward},
      {"--max-time", "a number above 0", "the longest time of a line",
       readPositive<&Streamlines::m_maxTime>},
      {"--max-length", "a number above 0", "the greatest length of a line",
       readPositive<&Streamlines::m_maxLength>},
      {"--min-speed", "a number above 0", "a line stops where it is slower",
       readPositive<&Streamlines::m_minSpeed>},
      {"--max-steps", "a whole number from 1 on",
       "the most steps of a line; 10000 where no limit is given", readSteps},
      {"--step-factor", "a number above 0", "the longest step, in cells; 0.3",
       readPositive<&Streamlines::m_stepFactor>},
      {"--sample-times", "T1,T2,...", "report where each line is at these times", readTimes}};
};

} // namespace

extern const RepresentationRow kStreamlinesRow;
constinit const RepresentationRow kStreamlinesRow{
    .option = "--streamlines",
    .takes = "an ARRAY of vectors",
    .help = "the paths of particles in a vector field",
    .extracted = Extracted::Lines,
    .kinds = kVolumeKinds & ~kindBit(VOLUME_MESH_VERTEX_HEXAHEDRON_IJK),
    .read = Streamlines::read,
    .options = Streamlines::kOptions};

} // namespace velmoview
