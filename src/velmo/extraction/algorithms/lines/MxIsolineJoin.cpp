#include <velmo/extraction/algorithms/lines/MxIsolines.h>

#include <velmo/base/MxPoll.h>

#include <bit>
#include <cmath>
#include <unordered_set>

namespace {

constexpr std::uint32_t kNone = 0xffffffffu;

using Point = std::uint64_t;

Point toPoint(const std::uint32_t (&nodes)[2])
{
  return Point{nodes[0]} << 32 | nodes[1];
}
std::uint32_t lowNode(Point point)
{
  return static_cast<std::uint32_t>(point >> 32);
}
std::uint32_t highNode(Point point)
{
  return static_cast<std::uint32_t>(point);
}
bool isNode(Point point)
{
  return lowNode(point) == highNode(point);
}

constexpr std::size_t kSegmentsPerPoll = 16384;

/// Joins segments by their ends. End 2 s is where segment s begins, end 2 s + 1 where it ends.
class Joiner
{
public:
  explicit Joiner(std::span<const MxIsoSegment> segments)
      : m_segments(segments), m_places(2 * segments.size()), m_mates(2 * segments.size(), kNone),
        m_done(segments.size(), 0)
  {
    m_points.reserve(segments.size() + segments.size() / 8 + 16);
    m_waiting.reserve(m_points.capacity());
    std::size_t size = 64;
    while (size < 3 * segments.size())
      size *= 2;
    m_table.assign(size, kNone);
    m_shift = 64 - std::countr_zero(size);
    for (std::size_t s = 0; s < segments.size(); ++s) {
      if (s % kSegmentsPerPoll == 0) MxPoll::ask();
      insert(s);
    }
  }

  /// Calls startLine(), add(place, segment) for each point with the segment that follows it, and
  /// endLine(isClosed); the last point of a line comes with the segment before it.
  template <class Visitor>
  void walk(Visitor& visitor)
  {
    const std::size_t endCount = m_mates.size();
    // Lines that begin where a segment does run along their segments.
    for (std::size_t parity = 0; parity < 2; ++parity)
      for (std::size_t end = parity; end < endCount; end += 2)
        if (m_mates[end] == kNone && !m_done[end / 2])
          walkFrom(static_cast<std::uint32_t>(end), visitor);
    for (std::size_t end = 0; end < endCount; end += 2)
      if (!m_done[end / 2]) walkFrom(static_cast<std::uint32_t>(end), visitor);
  }
  const std::vector<Point>& points() const { return m_points; }

private:
  void insert(std::size_t s)
  {
    const Point from = toPoint(m_segments[s].from), to = toPoint(m_segments[s].to);
    // Cells on both sides of an edge that has the value give it twice.
    if (isNode(from) && isNode(to) &&
        !m_edges
             .insert(Point{std::min(lowNode(from), lowNode(to))} << 32 |
                     std::max(lowNode(from), lowNode(to)))
             .second)
    {
      m_done[s] = 1;
      return;
    }
    attach(2 * s, from);
    attach(2 * s + 1, to);
  }
  // Two ends at one point join; where more meet they join in pairs, so that no point is left with
  // two loose ends, and the open lines are as few as can be.
  void attach(std::size_t end, Point point)
  {
    const std::uint32_t place = placeOf(point);
    m_places[end] = place;
    std::uint32_t& waiting = m_waiting[place];
    if (waiting == kNone) {
      waiting = static_cast<std::uint32_t>(end);
      return;
    }
    m_mates[end] = waiting;
    m_mates[waiting] = static_cast<std::uint32_t>(end);
    waiting = kNone;
  }
  std::uint32_t placeOf(Point point)
  {
    const std::size_t mask = m_table.size() - 1;
    // Multiplication by a large odd number spreads the numbers, the top bits best (Knuth, The Art
    // of Computer Programming, 6.4).
    const Point folded = point ^ (point >> 29);
    for (std::size_t slot = folded * 0x9e3779b97f4a7c15u >> m_shift;; slot = (slot + 1) & mask) {
      const std::uint32_t place = m_table[slot];
      if (place == kNone) {
        const auto added = static_cast<std::uint32_t>(m_points.size());
        m_table[slot] = added;
        m_points.push_back(point);
        m_waiting.push_back(kNone);
        return added;
      }
      if (m_points[place] == point) return place;
    }
  }

  template <class Visitor>
  void walkFrom(std::uint32_t start, Visitor& visitor)
  {
    visitor.startLine();
    std::uint32_t end = start;
    while (true) {
      if (++m_walked % kSegmentsPerPoll == 0) MxPoll::ask();
      const std::uint32_t segment = end / 2;
      m_done[segment] = 1;
      visitor.add(m_places[end], m_segments[segment].cell);
      const std::uint32_t next = m_mates[end ^ 1];
      if (next == kNone || next == start) {
        visitor.add(m_places[end ^ 1], m_segments[segment].cell);
        visitor.endLine();
        return;
      }
      end = next;
    }
  }

  std::span<const MxIsoSegment> m_segments;
  MxArray<std::uint32_t> m_places; ///< of each end, in m_points
  MxArray<std::uint32_t> m_mates;  ///< the end that each one is joined to
  MxArray<std::uint8_t> m_done;
  std::vector<Point> m_points;
  std::vector<std::uint32_t> m_waiting; ///< an end that nobody has joined yet, for each point
  MxArray<std::uint32_t> m_table;       ///< places by hash
  int m_shift = 0;
  std::unordered_set<Point> m_edges;
  std::size_t m_walked = 0;
};

/// Numbers the points along the lines.
class LineWriter
{
public:
  explicit LineWriter(std::size_t pointCount, std::size_t segmentCount)
      : m_numbers(pointCount, kNone)
  {
    m_indices.reserve(segmentCount + segmentCount / 8 + 16);
    m_order.reserve(pointCount);
    m_nodeCells.reserve(pointCount);
  }
  void startLine() { m_begins.push_back(static_cast<std::uint32_t>(m_indices.size())); }
  void add(std::uint32_t place, std::uint32_t cell)
  {
    if (m_indices.size() == m_begins.back()) m_cells.push_back(cell);
    std::uint32_t& number = m_numbers[place];
    if (number == kNone) {
      number = static_cast<std::uint32_t>(m_order.size());
      m_order.push_back(place);
      m_nodeCells.push_back(cell);
    }
    m_indices.push_back(static_cast<int>(number));
  }
  void endLine() { m_indices.push_back(-1); }

  /// The place of each number.
  const std::vector<std::uint32_t>& order() const { return m_order; }
  void write(MeXLineMeshUnstructured& lines) const
  {
    MxArray<int>& indices = lines.topology.setMixed(m_begins.size(), m_indices.size());
    std::copy(m_indices.begin(), m_indices.end(), indices.data());
    MxArray<std::uint32_t>& begins = lines.topology.begins();
    std::copy(m_begins.begin(), m_begins.end(), begins.data());
    begins[m_begins.size()] = static_cast<std::uint32_t>(m_indices.size());
    copy(m_cells, lines.provenance.cells);
    copy(m_nodeCells, lines.provenance.nodeCells);
  }

private:
  static void copy(const std::vector<std::uint32_t>& from, MxArray<std::uint32_t>& to)
  {
    to.resizeUninitialized(from.size());
    std::copy(from.begin(), from.end(), to.data());
  }

  MxArray<std::uint32_t> m_numbers;
  std::vector<int> m_indices;
  std::vector<std::uint32_t> m_begins, m_cells, m_order, m_nodeCells;
};

/// The weight of the second of two nodes where the value between them is `level`.
double weightOf(double first, double second, double level)
{
  double weight = (level - first) / (second - first);
  // Differences can be too large where halves are not.
  if (!std::isfinite(second - first) || !std::isfinite(level - first))
    weight = (level / 2 - first / 2) / (second / 2 - first / 2);
  return std::clamp(weight, 0.0, 1.0);
}

} // namespace

void joinSegments(std::span<const MxIsoSegment> segments, double level, const MxNodeValues& values,
                  MeXLineMeshUnstructured& lines)
{
  if (segments.size() >= kNone / 2)
    throw std::length_error("An isoline has more than 2147483646 segments.");
  Joiner joiner(segments);
  LineWriter writer(joiner.points().size(), segments.size());
  joiner.walk(writer);
  writer.write(lines);

  MeXProvenance& provenance = lines.provenance;
  provenance.form = MeXProvenance::NodeForm::Edge;
  provenance.offsets.clear();
  provenance.nodes.resizeUninitialized(2 * writer.order().size());
  provenance.weights.resizeUninitialized(writer.order().size());
  for (std::size_t n = 0; n < writer.order().size(); ++n) {
    if (n % kSegmentsPerPoll == 0) MxPoll::ask();
    const Point point = joiner.points()[writer.order()[n]];
    provenance.nodes[2 * n] = lowNode(point);
    provenance.nodes[2 * n + 1] = highNode(point);
    provenance.weights[n] =
        isNode(point) ? 0 : weightOf(values[lowNode(point)], values[highNode(point)], level);
  }
}
