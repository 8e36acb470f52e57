#include <velmo/extraction/extractors/MiStreamlineExtract.h>

#include <velmo/extraction/algorithms/lines/MxStreamlines.h>
#include <velmo/extraction/extractors/MxMultiLineExtractor.h>

#include <bit>
#include <optional>

namespace {

template <class Interface, MeshType K>
class StreamlineExtractor final : public MxMultiLineExtractor<Interface, K>
{
  using Base = MxMultiLineExtractor<Interface, K>;

public:
  using Base::Base;
  using typename Base::Filter, typename Base::Kind;

  void setMaxLifeTime(double time) override { m_limits.maxLifeTime = time; }
  void setMaxLength(double length) override { m_limits.maxLength = length; }
  void setMinSpeed(double speed) override { m_limits.minSpeed = speed; }
  void setMaxStepNumber(std::size_t count) override { m_limits.maxStepNumber = count; }
  void setIntegrationStepLengthFactor(double factor) override
  {
    m_limits.stepLengthFactor = factor;
  }
  void setDirection(MiStreamlineDirection direction) override
  {
    m_limits.isBackward = direction == MiStreamlineDirection::Backward;
  }

  bool extractStreamlines(std::span<const MbVec3d> seeds, const MiTypedDataSet<MbVec3d>& vectors,
                          const Filter* filter) override
  {
    this->state().forgetReadWarnings();
    const Key key(MxInputs::of(this->mesh(), filter), vectors, m_limits, seeds);
    if (m_key == key) return true;
    m_key.reset();
    m_lines.clear();
    this->showNothing();
    Lines lines(seeds.size());
    if (!trace(seeds, vectors, filter, lines)) return false;
    for (std::size_t l = 0; l < lines.size(); ++l)
      this->show(static_cast<double>(l),
                 std::make_shared<MxMappedLines>(MxMappedLines{{lines[l], &lines[l]->mesh}, {}}));
    m_lines = std::move(lines);
    m_key = key;
    return true;
  }

  MiStreamlineEnd getEnd(std::size_t index) const override { return line(index).end; }
  std::span<const MbVec3d> getPoints(std::size_t index) const override
  {
    return line(index).points;
  }
  const MeXDataSetI<double>& getTimes(std::size_t index) const override
  {
    return line(index).times;
  }
  const MeXDataSetI<double>& getSpeeds(std::size_t index) const override
  {
    return line(index).speeds;
  }
  const MeXDataSetI<MbVec3d>& getTangents(std::size_t index) const override
  {
    return line(index).tangents;
  }

private:
  using Lines = std::vector<std::shared_ptr<MxStreamline>>;

  /// All that an extraction depends on; numbers by their bits, so that not-a-number equals itself.
  struct Key
  {
    Key(const MxInputs& given, const MiTypedDataSet<MbVec3d>& set, const MxStreamlineLimits& limits,
        std::span<const MbVec3d> seeds)
        : inputs(given), vectors(&set), vectorStamp(set.getTimeStamp()),
          maxStepNumber(limits.maxStepNumber), isBackward(limits.isBackward)
    {
      numbers.reserve(4 + 3 * seeds.size());
      const auto add = [this](double number) {
        numbers.push_back(std::bit_cast<std::uint64_t>(number));
      };
      for (const double limit :
           {limits.maxLifeTime, limits.maxLength, limits.minSpeed, limits.stepLengthFactor})
        add(limit);
      for (const MbVec3d& seed : seeds)
        for (int axis = 0; axis < 3; ++axis)
          add(seed[axis]);
    }
    friend bool operator==(const Key&, const Key&) = default;

    MxInputs inputs;
    const void* vectors;
    std::uint64_t vectorStamp;
    std::size_t maxStepNumber;
    bool isBackward;
    std::vector<std::uint64_t> numbers;
  };

  const MxStreamline& line(std::size_t index) const
  {
    static const MxStreamline none;
    return index < m_lines.size() ? *m_lines[index] : none;
  }

  /// False when the set does not fit the mesh.
  bool trace(std::span<const MbVec3d> seeds, const MiTypedDataSet<MbVec3d>& vectors,
             const Filter* filter, Lines& lines)
  {
    const bool parallel = this->state().isParallel();
    MxExtractionMonitor monitor = this->state().monitor(2);
    monitor.beginPhase("Checking the mesh", 1);
    this->state().warnOf(checkMesh(this->mesh(), parallel, monitor));
    monitor.beginPhase("Following lines", seeds.size() + 1);
    m_locator = MxCellLocator::get<K>(this->mesh(), parallel);
    monitor.step();
    const MxFieldValues<MbVec3d> field(vectors, Kind::kIndexing, Kind::kNodeIndexing,
                                       m_locator->cellCounts(), m_locator->nodeCounts());
    if (!field.fits()) return false;
    MxCellsLeft left;
    if constexpr (Kind::kIndexing == MxIndexing::I)
      left = MxCellsLeft(filter);
    else
      left = MxCellsLeft(filter, m_locator->cellCounts());
    std::atomic<std::size_t> pointCount = 0;
    forEachTask(parallel, seeds.size(), [&](std::size_t l) {
      lines[l] = std::make_shared<MxStreamline>();
      traceStreamline(*m_locator, left, field, m_limits, seeds[l], *lines[l], pointCount);
      monitor.step();
    });
    return true;
  }

  MxStreamlineLimits m_limits;
  std::shared_ptr<const MxCellLocator> m_locator;
  std::optional<Key> m_key;
  Lines m_lines;
};

} // namespace

template <>
inline constexpr MxExtractorRow<StreamlineExtractor> kExtractorRow<MiStreamlineExtractUnstructured>{
    "MiStreamlineExtractUnstructured"};
template <>
inline constexpr MxExtractorRow<StreamlineExtractor>
    kExtractorRow<MiStreamlineExtractHexahedronIjk>{"MiStreamlineExtractHexahedronIjk"};
template <>
inline constexpr MxExtractorRow<StreamlineExtractor> kExtractorRow<MiStreamlineExtractIjk>{
    "MiStreamlineExtractIjk"};

template struct MiExtractorMaker<MiStreamlineExtractUnstructured, MiVolumeMeshUnstructured>;
template struct MiExtractorMaker<MiStreamlineExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>;
template struct MiExtractorMaker<MiStreamlineExtractIjk, MiVolumeMeshRegular>;
template struct MiExtractorMaker<MiStreamlineExtractIjk, MiVolumeMeshRectilinear>;
template struct MiExtractorMaker<MiStreamlineExtractIjk, MiVolumeMeshCurvilinear>;
