#include <velmo/extraction/algorithms/locate/MxPolyhedron.h>

#include <velmo/extraction/algorithms/locate/MxCones.h>
#include <velmo/extraction/algorithms/skin/MxFaceMatch.h>
#include <velmo/mesh/MxShapeFunctions.h>

namespace {

// A line that passes an edge of a face by less than this part of the face is not counted on ...
constexpr double kEdgeTolerance = 1e-9;
// ... but another one is, along the next of these directions.
constexpr MbVec3d kDirections[] = {{0.8141, 0.2923, 0.5016},  {-0.3127, 0.9012, 0.2996},
                                   {0.1973, -0.4469, 0.8726}, {-0.6613, -0.5527, -0.5073},
                                   {0.4871, 0.6389, -0.5954}, {-0.9203, 0.1409, -0.3649}};

/// Six times the volume of a corner of a cone.
double cornerVolume(const MbVec3d& before, const MbVec3d& at, const MbVec3d& next)
{
  return dot(at, cross(next, before));
}

} // namespace

void MxPolyhedron::prepare(std::span<const MbVec3d> points)
{
  MbVec3d sum{};
  for (const MbVec3d& point : points)
    sum += point;
  m_centre = sum * (1 / static_cast<double>(points.size()));
  m_star = Star::Unknown;
  m_parts.clear();
  for (std::size_t at = 0; at < m_faces.size();) {
    const std::uint32_t size = m_faces[at++];
    Part part{{}, {}, static_cast<std::uint32_t>(at), size};
    const auto setCorner = [&](std::uint32_t corner, std::uint32_t node) {
      part.nodes[corner] = node;
      part.corners[corner] = points[node] - m_centre;
    };
    const std::uint32_t* nodes = m_faces.data() + at;
    at += size;
    if (size < 3) continue;
    if (!part.isFan()) {
      for (std::uint32_t n = 0; n < size; ++n)
        setCorner(n, nodes[n]);
      m_parts.push_back(part);
      continue;
    }
    for (std::uint32_t n = 0; n < size; ++n)
      part.corners[2] += points[nodes[n]] - m_centre;
    part.corners[2] = part.corners[2] * (1 / static_cast<double>(size));
    for (std::uint32_t n = 0; n < size; ++n) {
      setCorner(0, nodes[n]);
      setCorner(1, nodes[n + 1 < size ? n + 1 : 0]);
      m_parts.push_back(part);
    }
  }
}

/// Calls visit(place, beside).
template <class Visit>
void MxPolyhedron::visitCone(const Part& part, const MbVec3d& x, const Visit& visit)
{
  if (part.isPatch())
    visitPatchCone(part.corners, x,
                   [&](const MxConePlace& place) { visit(place, place.besidePatch()); });
  else
    visitTriangleCone(part.corners[0], part.corners[1], part.corners[2], x,
                      [&](const MxConePlace& place) { visit(place, place.besideTriangle()); });
}

namespace {

MxPlace placeIn(bool isPatch, const MxConePlace& at, std::uint32_t part)
{
  const double third = isPatch ? 1 - at.way : (1 - at.u - at.v) * at.way;
  return {{at.u * at.way, at.v * at.way, third}, part};
}

} // namespace

double MxPolyhedron::findPlace(const MbVec3d& point, MxPlace& place) const
{
  const MbVec3d x = point - m_centre;
  double least = kNowhere, way = 0;
  for (std::uint32_t p = 0; p < m_parts.size() && least > -kInsideTolerance; ++p)
    visitCone(m_parts[p], x, [&](const MxConePlace& at, double beside) {
      const double outside = std::max(beside, at.way - 1);
      if (!(outside < least)) return;
      least = outside;
      way = at.way;
      place = placeIn(m_parts[p].isPatch(), at, p);
    });
  if (!(least <= kInsideTolerance)) return least;
  if (m_star == Star::Unknown) m_star = isStar() ? Star::Yes : Star::No;
  if (m_star == Star::No) return findInHollow(x, place);
  // Inside the cell every point is on its side of the faces, wherever it is between the parts.
  return std::min(least, way - 1);
}

double MxPolyhedron::findInHollow(const MbVec3d& x, MxPlace& place) const
{
  // The first face that the line from the mean point meets behind x counts, or one that x is on.
  double last = 0, rim = kNowhere;
  MxPlace behind, onRim;
  for (std::uint32_t p = 0; p < m_parts.size();) {
    const Part& face = m_parts[p];
    const std::uint32_t end = p + (face.isFan() ? face.size : 1);
    // Where a face is folded over itself it ends with the second of its sheets.
    int sheets = 0;
    bool isOnEdge = false;
    double away = 0;
    MxPlace on;
    for (; p < end; ++p)
      visitCone(m_parts[p], x, [&](const MxConePlace& at, double beside) {
        if (!(beside <= kInsideTolerance)) return;
        if (std::abs(at.way - 1) <= kInsideTolerance) {
          isOnEdge = isOnEdge || beside >= -kInsideTolerance;
          sheets += beside < -kInsideTolerance;
          away = at.way - 1;
          on = placeIn(face.isPatch(), at, p);
        } else if (at.way < 1 && at.way > last) {
          last = at.way;
          behind = placeIn(face.isPatch(), at, p);
        }
      });
    if (rim == kNowhere && (isOnEdge || sheets % 2 == 1)) {
      rim = away;
      onRim = on;
    }
  }
  if (rim != kNowhere) {
    place = onRim;
    return rim;
  }
  if (last == 0 || !holds(x)) return kNowhere;
  place = behind;
  return last - 1;
}

bool MxPolyhedron::holds(const MbVec3d& x) const
{
  std::size_t crossings = 0;
  for (const MbVec3d& direction : kDirections) {
    crossings = 0;
    bool isClear = true;
    for (std::size_t p = 0; p < m_parts.size() && isClear; ++p) {
      Part seen = m_parts[p];
      for (MbVec3d& corner : seen.corners)
        corner = corner - x;
      visitCone(seen, direction, [&](const MxConePlace& at, double beside) {
        beside /= at.way;
        crossings += beside < 0;
        isClear = isClear && std::abs(beside) > kEdgeTolerance;
      });
    }
    if (isClear) break;
  }
  return crossings % 2 == 1;
}

bool MxPolyhedron::isStar() const
{
  // Each cone is on one side of its face, and where two faces meet their cones are on two sides of
  // the plane through the edge: taken in the sense of their cones, each runs along it another way.
  double largest = 0;
  for (const Part& part : m_parts)
    largest = std::max(largest, dot(part.corners[0], part.corners[0]));
  const double rounding = 1e-15 * largest * std::sqrt(largest);
  std::uint64_t open = 0;
  for (std::size_t p = 0; p < m_parts.size();) {
    const Part& face = m_parts[p];
    bool up = false, down = false;
    const auto look = [&](double volume) {
      up = up || volume > rounding;
      down = down || volume < -rounding;
    };
    const std::size_t end = p + (face.isFan() ? face.size : 1);
    for (; p < end; ++p) {
      const MbVec3d* c = m_parts[p].corners;
      if (!face.isPatch()) {
        look(cornerVolume(c[0], c[1], c[2]));
        continue;
      }
      // The volume changes over a patch as a bilinear function does: its corners tell of all.
      for (std::size_t n = 0; n < 4; ++n)
        look(cornerVolume(c[(n + 3) % 4], c[n], c[(n + 1) % 4]));
    }
    if (up && down) return false;
    for (std::uint32_t n = 0; n < face.size; ++n) {
      const std::uint64_t a = m_faces[face.begin + n],
                          b = m_faces[face.begin + (n + 1 < face.size ? n + 1 : 0)];
      const std::uint64_t edge = mixBits(std::min(a, b) << 32 | std::max(a, b));
      open += (a < b) == down ? edge : -edge;
    }
  }
  return open == 0;
}

void MxPolyhedron::weights(const MxPlace& place, std::size_t count, double* w) const
{
  const bool hasPart = place.part < m_parts.size();
  double corners[5] = {place.r[0], place.r[1], place.r[2], 0,
                       1 - place.r[0] - place.r[1] - place.r[2]};
  if (hasPart && m_parts[place.part].isPatch())
    shapeWeights<MiCellShape::Pyramid>(place.r, corners);
  for (std::size_t n = 0; n < count; ++n)
    w[n] = corners[4] / static_cast<double>(count);
  if (!hasPart) return;
  const Part& part = m_parts[place.part];
  for (std::size_t n = 0; n < (part.isFan() ? 2 : part.size); ++n)
    w[part.nodes[n]] += corners[n];
  if (!part.isFan()) return;
  for (std::size_t n = 0; n < part.size; ++n)
    w[m_faces[part.begin + n]] += corners[2] / static_cast<double>(part.size);
}

void MxPolyhedron::pullIn(MxPlace& place) const
{
  if (place.part >= m_parts.size()) return;
  ::pullIn(m_parts[place.part].isPatch() ? MiCellShape::Pyramid : MiCellShape::Tetrahedron,
           place.r);
}
