#include <velmo/extraction/algorithms/lines/MxStreamlines.h>

#include <velmo/base/MxMemoryLimit.h>
#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace {

// Steps get no shorter than this part of the longest one for the sake of their error.
constexpr double kLeastStep = 1e-3;
// A step that leads out of the mesh is halved down to this part of a cell; the rest is straight.
constexpr double kRimStep = 1e-4;
constexpr int kRimHalvings = 24;
// From step to step.
constexpr double kMostGrowth = 4, kMostShrinking = 0.2, kSafety = 0.9;
// Of the length that is left, when a line is cut at its greatest length.
constexpr double kLengthTolerance = 1e-9;

constexpr std::size_t kStepsPerPoll = 256;
// What a point takes, with the room in which arrays grow.
constexpr std::size_t kBytesPerPoint = 400;

class Tracer
{
public:
  Tracer(const MxCellLocator& locator, const MxCellsLeft& left, const MxFieldValues<MbVec3d>& field,
         const MxStreamlineLimits& limits, MxStreamline& line, std::atomic<std::size_t>& pointCount)
      : m_cursor(locator, left), m_field(field), m_limits(limits), m_line(line),
        m_pointCount(pointCount)
  {}

  MiStreamlineEnd trace(const MbVec3d& seed)
  {
    Point here{seed, {}};
    if (!evaluate(seed, here.velocity)) return MiStreamlineEnd::NotInMesh;
    record(here);
    const std::size_t stepLimit = this->stepLimit();
    Standstill standstill{here.position, 0};
    double next = 0; // time of the next step, 0 for the longest
    for (std::size_t steps = 0;; ++steps) {
      if (steps % kStepsPerPoll == 0) {
        MxPoll::ask();
        if (!mxFitsMemory(m_pointCount += kStepsPerPoll, kBytesPerPoint)) throw std::bad_alloc();
      }
      const double speed = length(here.velocity);
      if (!std::isfinite(speed)) return MiStreamlineEnd::NotFinite;
      if (!(speed > 0) || speed < m_limits.minSpeed) return MiStreamlineEnd::LowSpeed;
      const double timeLeft = leftOf(m_limits.maxLifeTime, m_time);
      const double lengthLeft = leftOf(m_limits.maxLength, m_length);
      if (timeLeft <= 0) return MiStreamlineEnd::LifeTime;
      if (lengthLeft <= 0) return MiStreamlineEnd::Length;
      if (steps >= stepLimit)
        return m_limits.maxStepNumber > 0 ? MiStreamlineEnd::StepNumber
                                          : MiStreamlineEnd::DefaultStepNumber;

      const double size = m_cursor.sizeAlong(here.velocity);
      if (standstill.reached(here.position, steps,
                             size * std::min(10 * kStreamlineStepError, m_limits.stepLengthFactor)))
        return MiStreamlineEnd::LowSpeed;
      const double longest = m_limits.stepLengthFactor * size / speed;
      if (!(longest > 0) || !std::isfinite(longest)) return MiStreamlineEnd::LowSpeed;
      double time = next > 0 ? std::min(next, longest) : longest;
      bool isLast = time >= timeLeft;
      if (isLast) time = timeLeft;
      Point there;
      double error = 0;
      bool leaves = false;
      for (;;) {
        if (!step(here, time, there, error)) {
          leaves = true;
          isLast = false;
          if (time * speed <= kRimStep * size) return finishAtRim(here, time);
          time *= 0.5;
          continue;
        }
        const double allowed = kStreamlineStepError * size;
        if (error <= allowed || time <= kLeastStep * longest) {
          // What the error allows for the next step.
          const double growth =
              error > 0 ? kSafety * std::sqrt(std::sqrt(allowed / error)) : kMostGrowth;
          next = time * std::clamp(growth, kMostShrinking, leaves ? 1.0 : kMostGrowth);
          break;
        }
        time *= std::clamp(kSafety * std::sqrt(std::sqrt(allowed / error)), kMostShrinking, 0.9);
        isLast = false;
      }
      const double way = length(there.position - here.position);
      if (way > lengthLeft) {
        shorten(here, time, way, lengthLeft, there);
        m_length = m_limits.maxLength;
        advance(there, time);
        return MiStreamlineEnd::Length;
      }
      m_length += way;
      advance(there, time);
      if (isLast) {
        m_line.times.values.back() = m_time = m_limits.maxLifeTime;
        return MiStreamlineEnd::LifeTime;
      }
      here = there;
    }
  }

private:
  struct Point
  {
    MbVec3d position, velocity;
  };

  /// Whether a line has stayed near one point for long: in a sink it goes on in smaller and smaller
  /// steps, or about the sink in steps as long as their error.
  struct Standstill
  {
    MbVec3d from;
    std::size_t since;

    bool reached(const MbVec3d& position, std::size_t steps, double reach)
    {
      if (length(position - from) > reach) *this = {position, steps};
      return steps - since >= kStandstillSteps;
    }
  };

  static bool isLimit(double limit) { return limit > 0 && std::isfinite(limit); }
  static double leftOf(double limit, double used)
  {
    return isLimit(limit) ? limit - used : std::numeric_limits<double>::infinity();
  }
  std::size_t stepLimit() const
  {
    if (m_limits.maxStepNumber > 0) return m_limits.maxStepNumber;
    return isLimit(m_limits.maxLifeTime) || isLimit(m_limits.maxLength)
               ? std::numeric_limits<std::size_t>::max()
               : kDefaultStreamlineSteps;
  }

  /// The vector at a point, in the direction that is followed. False outside the mesh.
  bool evaluate(const MbVec3d& point, MbVec3d& velocity)
  {
    if (!m_cursor.find(point)) return false;
    velocity = velocityHere();
    return true;
  }
  /// The vector where the cursor stands.
  MbVec3d velocityHere()
  {
    const std::span<const std::uint32_t> nodes = m_cursor.nodes();
    if (m_cell != m_cursor.cell()) {
      // The vectors at the nodes are read once per cell.
      m_cell = m_cursor.cell();
      if (m_field.isPerCell()) {
        m_vectors.assign(1, m_field[m_cell]);
      } else {
        m_vectors.resizeUninitialized(nodes.size());
        for (std::size_t n = 0; n < nodes.size(); ++n)
          m_vectors[n] = m_field[nodes[n]];
      }
    }
    MbVec3d velocity{};
    if (m_field.isPerCell()) {
      velocity = m_vectors[0];
    } else {
      const double* weights = m_cursor.weights().data();
      for (std::size_t n = 0; n < nodes.size(); ++n)
        velocity += m_vectors[n] * weights[n];
    }
    return m_limits.isBackward ? velocity * -1.0 : velocity;
  }

  /// One step; afterwards the cursor stands at its end. False when it leads out of the mesh.
  bool step(const Point& from, double time, Point& to, double& error)
  {
    const MbVec3d& k1 = from.velocity;
    MbVec3d k2, k3, k4;
    if (!evaluate(from.position + k1 * (0.5 * time), k2)) return false;
    if (!evaluate(from.position + k2 * (0.5 * time), k3)) return false;
    if (!evaluate(from.position + k3 * time, k4)) return false;
    to.position = from.position + (k1 + (k2 + k3) * 2.0 + k4) * (time / 6);
    if (!evaluate(to.position, to.velocity)) return false;
    error = length(k4 - to.velocity) * (time / 10);
    return true;
  }

  /// Shortens a step whose length is `way` to `wanted`.
  void shorten(const Point& from, double& time, double way, double wanted, Point& to)
  {
    double error = 0;
    for (int pass = 0; pass < 4 && std::abs(way - wanted) > kLengthTolerance * wanted; ++pass) {
      const double shorter = time * wanted / way;
      Point trial;
      if (!step(from, shorter, trial, error)) return;
      time = shorter;
      to = trial;
      way = length(to.position - from.position);
    }
  }

  /// Goes straight on to the last point that is in the mesh.
  MiStreamlineEnd finishAtRim(const Point& from, double time)
  {
    Point last = from, trial;
    double inside = 0, outside = 2 * time;
    for (int halving = 0; halving < kRimHalvings; ++halving) {
      const double middle = 0.5 * (inside + outside);
      trial.position = from.position + from.velocity * middle;
      if (evaluate(trial.position, trial.velocity)) {
        inside = middle;
        last = trial;
      } else {
        outside = middle;
      }
    }
    // Points count as in the mesh within a tolerance; the line ends on the rim itself.
    const bool isFurther = inside > 0 && last.position != from.position;
    if ((isFurther || m_line.points.size() > 1) && evaluate(last.position, last.velocity)) {
      m_cursor.pullIn(last.position);
      last.velocity = velocityHere();
      if (!isFurther) dropLast();
      advance(last, inside);
    }
    return MiStreamlineEnd::LeftMesh;
  }

  void advance(const Point& point, double time)
  {
    m_time += time;
    record(point);
  }

  /// Writes down a point, where the cursor stands.
  void record(const Point& point)
  {
    if (m_cursor.cell() == MxCellCursor::kNoCell) return;
    MeXProvenance& provenance = m_line.mesh.provenance;
    const double speed = length(point.velocity);
    m_line.points.push_back(point.position);
    m_line.times.values.push_back(m_time);
    m_line.speeds.values.push_back(speed);
    m_line.tangents.values.push_back(speed > 0 ? point.velocity * (1 / speed) : MbVec3d{});
    const std::span<const std::uint32_t> nodes = m_cursor.nodes();
    const double* weights = m_cursor.weights().data();
    const std::size_t begin = provenance.nodes.size();
    if (begin + nodes.size() > std::numeric_limits<std::uint32_t>::max())
      throw std::length_error("a streamline has more points than can be numbered");
    provenance.nodes.resize(begin + nodes.size());
    provenance.weights.resize(begin + nodes.size());
    for (std::size_t n = 0; n < nodes.size(); ++n) {
      provenance.nodes[begin + n] = nodes[n];
      provenance.weights[begin + n] = weights[n];
    }
    provenance.offsets.push_back(static_cast<std::uint32_t>(provenance.nodes.size()));
    provenance.nodeCells.push_back(static_cast<std::uint32_t>(m_cursor.cell()));
  }

  /// Takes the last point back.
  void dropLast()
  {
    MeXProvenance& provenance = m_line.mesh.provenance;
    m_line.points.pop_back();
    m_line.times.values.pop_back();
    m_line.speeds.values.pop_back();
    m_line.tangents.values.pop_back();
    const std::size_t left = m_line.points.size();
    provenance.nodeCells.resize(left);
    provenance.offsets.resize(left + 1);
    provenance.nodes.resize(provenance.offsets[left]);
    provenance.weights.resize(provenance.offsets[left]);
  }

  MxCellCursor m_cursor;
  const MxFieldValues<MbVec3d>& m_field;
  const MxStreamlineLimits& m_limits;
  MxStreamline& m_line;
  std::atomic<std::size_t>& m_pointCount;
  std::size_t m_cell = MxCellCursor::kNoCell; // whose vectors are in m_vectors
  MxArray<MbVec3d> m_vectors;
  double m_time = 0, m_length = 0;
};

} // namespace

void traceStreamline(const MxCellLocator& locator, const MxCellsLeft& left,
                     const MxFieldValues<MbVec3d>& field, const MxStreamlineLimits& limits,
                     const MbVec3d& seed, MxStreamline& line, std::atomic<std::size_t>& pointCount)
{
  MeXProvenance& provenance = line.mesh.provenance;
  provenance = {};
  provenance.form = MeXProvenance::NodeForm::Cell;
  provenance.sourceCells = locator.cellCounts();
  provenance.sourceNodes = locator.nodeCounts();
  provenance.offsets.push_back(0);
  line.points.clear();
  line.times.values.clear();
  line.speeds.values.clear();
  line.tangents.values.clear();
  line.end = Tracer(locator, left, field, limits, line, pointCount).trace(seed);

  const std::size_t count = line.points.size();
  if (count > 1) {
    MxArray<int>& indices = line.mesh.topology.setMixed(1, count + 1);
    for (std::size_t n = 0; n < count; ++n)
      indices[n] = static_cast<int>(n);
    indices[count] = -1;
    line.mesh.topology.begins()[0] = 0;
    line.mesh.topology.begins()[1] = static_cast<std::uint32_t>(count + 1);
    provenance.cells.push_back(provenance.nodeCells[0]);
  } else {
    line.mesh.topology.setUniform(0, 2);
  }
  line.mesh.topology.touch();
  placePoints(
      count, [&](std::size_t n) { return line.points[n]; }, false, line.mesh.geometry);
  line.times.touch();
  line.speeds.touch();
  line.tangents.touch();
}
