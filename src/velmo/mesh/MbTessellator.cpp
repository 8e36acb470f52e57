#include <velmo/mesh/MbTessellator.h>

#include <velmo/mesh/MxShapeFunctions.h>

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

using S = MiCellShape;

bool isServed(S shape, std::size_t nodeCount)
{
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  return facts.dimension > 0 && facts.nodeCount > facts.cornerCount && facts.nodeCount == nodeCount;
}

/// Gathers points and sub-cells.
class Refinement
{
public:
  Refinement(S shape, S subShape, MiTessellation& result) : m_shape(shape), m_result(result)
  {
    result.clear();
    result.shape = subShape;
  }
  std::uint32_t add(const MxShapePlace& place)
  {
    appendShapeValues(m_shape, place, m_result.weights);
    return static_cast<std::uint32_t>(m_result.pointCount++);
  }
  void addCell(std::initializer_list<std::uint32_t> points)
  {
    m_result.points.insert(m_result.points.end(), points);
  }

private:
  S m_shape;
  MiTessellation& m_result;
};

// --- All edges alike ---------------------------------------------------------------------------

/// The points i, j, k of a lattice of n parts, in the coordinates of a shape; those outside the
/// shape have no number.
class Lattice
{
public:
  Lattice(Refinement& refinement, S linear, unsigned n) : m_width(n + 1)
  {
    const int dimension = cellShapeFacts(linear).dimension;
    const bool isSimplex = linear == S::Triangle || linear == S::Tetrahedron;
    m_numbers.resize(std::size_t{m_width} * m_width * m_width);
    for (unsigned k = 0; k <= (dimension > 2 ? n : 0); ++k)
      for (unsigned j = 0; j <= (dimension > 1 ? n : 0); ++j)
        for (unsigned i = 0; i <= n; ++i) {
          if ((isSimplex && i + j + k > n) || (linear == S::Wedge && i + j > n)) continue;
          m_numbers[place(i, j, k)] =
              refinement.add({{double(i), double(j), double(k)}, double(n)});
        }
  }
  std::uint32_t operator()(unsigned i, unsigned j = 0, unsigned k = 0) const
  {
    return m_numbers[place(i, j, k)];
  }

private:
  std::size_t place(unsigned i, unsigned j, unsigned k) const
  {
    return i + std::size_t{m_width} * (j + std::size_t{m_width} * k);
  }
  unsigned m_width;
  std::vector<std::uint32_t> m_numbers;
};

/// Calls body(i, j, isUpper) for the triangles of a triangle's lattice.
template <class Body>
void forEachTriangle(unsigned n, const Body& body)
{
  for (unsigned j = 0; j < n; ++j)
    for (unsigned i = 0; i + j < n; ++i) {
      body(i, j, false);
      if (i + j + 1 < n) body(i, j, true);
    }
}

/// A tetrahedron's lattice: upright tetrahedra, what is left between four of them (an octahedron,
/// cut in four around a diagonal), and upturned tetrahedra.
void addTetrahedra(Refinement& refinement, const Lattice& at, unsigned n)
{
  for (unsigned k = 0; k < n; ++k)
    for (unsigned j = 0; j + k < n; ++j)
      for (unsigned i = 0; i + j + k < n; ++i) {
        const std::uint32_t x = at(i + 1, j, k), y = at(i, j + 1, k), z = at(i, j, k + 1);
        refinement.addCell({at(i, j, k), x, y, z});
        if (i + j + k + 2 > n) continue;
        const std::uint32_t xy = at(i + 1, j + 1, k), xz = at(i + 1, j, k + 1),
                            yz = at(i, j + 1, k + 1);
        refinement.addCell({x, xy, y, yz});
        refinement.addCell({x, xz, xy, yz});
        refinement.addCell({x, z, xz, yz});
        refinement.addCell({x, y, z, yz});
        if (i + j + k + 3 > n) continue;
        refinement.addCell({xy, xz, yz, at(i + 1, j + 1, k + 1)});
      }
}

/// Every edge in n parts; false for shapes of which lattices cannot be made of one shape.
bool refineAlike(S shape, unsigned n, MiTessellation& result)
{
  const S linear = cellShapeFacts(shape).linear;
  if (linear == S::Pyramid) return false;
  Refinement refinement(shape, linear, result);
  const Lattice at(refinement, linear, n);
  switch (linear) {
  case S::Line:
    for (unsigned i = 0; i < n; ++i)
      refinement.addCell({at(i), at(i + 1)});
    break;
  case S::Triangle:
    forEachTriangle(n, [&](unsigned i, unsigned j, bool isUpper) {
      if (isUpper)
        refinement.addCell({at(i + 1, j), at(i + 1, j + 1), at(i, j + 1)});
      else
        refinement.addCell({at(i, j), at(i + 1, j), at(i, j + 1)});
    });
    break;
  case S::Quad:
    for (unsigned j = 0; j < n; ++j)
      for (unsigned i = 0; i < n; ++i)
        refinement.addCell({at(i, j), at(i + 1, j), at(i + 1, j + 1), at(i, j + 1)});
    break;
  case S::Tetrahedron:
    addTetrahedra(refinement, at, n);
    break;
  case S::Wedge:
    for (unsigned k = 0; k < n; ++k)
      forEachTriangle(n, [&](unsigned i, unsigned j, bool isUpper) {
        const unsigned first[2] = {isUpper ? i + 1 : i, j};
        const unsigned second[2] = {i + 1, isUpper ? j + 1 : j};
        refinement.addCell({at(first[0], first[1], k), at(second[0], second[1], k), at(i, j + 1, k),
                            at(first[0], first[1], k + 1), at(second[0], second[1], k + 1),
                            at(i, j + 1, k + 1)});
      });
    break;
  default:
    for (unsigned k = 0; k < n; ++k)
      for (unsigned j = 0; j < n; ++j)
        for (unsigned i = 0; i < n; ++i)
          refinement.addCell({at(i, j, k), at(i + 1, j, k), at(i + 1, j + 1, k), at(i, j + 1, k),
                              at(i, j, k + 1), at(i + 1, j, k + 1), at(i + 1, j + 1, k + 1),
                              at(i, j + 1, k + 1)});
  }
  return true;
}

// --- Edges that differ -------------------------------------------------------------------------

/// How an edge is split, in the direction in which somebody looks at it.
struct EdgeParts
{
  unsigned count = 1;
  bool startsLow = true; ///< the end that draws points halfway is the first one

  /// Where point i of `finest` parts goes: the nearest point that the edge has.
  unsigned snap(unsigned i, unsigned finest) const
  {
    const unsigned step = finest / count, below = i / step, rest = i % step;
    const bool isUp = 2 * rest > step || (2 * rest == step && !startsLow);
    return step * (below + (isUp ? 1 : 0));
  }
};

/// A face: its corners in the cell's coordinates, its edges from each corner to the next, and the
/// parts that its lattice has.
struct FaceParts
{
  std::array<MxShapePlace, 4> corners;
  std::array<EdgeParts, 4> edges;
  std::size_t size = 0;
  unsigned finest = 1;

  /// Point (i, j) of the face's lattice, drawn to the points that its edges have.
  MxShapePlace at(unsigned i, unsigned j) const
  {
    const unsigned n = finest;
    if (size == 4) {
      if (j == 0)
        i = edges[0].snap(i, n);
      else if (j == n)
        i = n - edges[2].snap(n - i, n);
      if (i == n)
        j = edges[1].snap(j, n);
      else if (i == 0)
        j = n - edges[3].snap(n - j, n);
    } else if (j == 0) {
      i = edges[0].snap(i, n);
    } else if (i == 0) {
      j = n - edges[2].snap(n - j, n);
    } else if (i + j == n) {
      j = edges[1].snap(j, n);
      i = n - j;
    }
    MxShapePlace place;
    place.scale = n;
    for (std::size_t axis = 0; axis < 3; ++axis)
      place.x[axis] = corners[0].x[axis] * n + i * (corners[1].x[axis] - corners[0].x[axis]) +
                      j * (corners[size - 1].x[axis] - corners[0].x[axis]);
    return place;
  }
  /// Calls body(corners, count) for the lattice's triangles or quads, corners as (i, j).
  template <class Body>
  void forEachCell(const Body& body) const
  {
    using Corner = std::array<unsigned, 2>;
    if (size == 4) {
      for (unsigned j = 0; j < finest; ++j)
        for (unsigned i = 0; i < finest; ++i) {
          const Corner quad[4] = {{i, j}, {i + 1, j}, {i + 1, j + 1}, {i, j + 1}};
          body(quad, 4);
        }
      return;
    }
    forEachTriangle(finest, [&](unsigned i, unsigned j, bool isUpper) {
      const Corner lower[3] = {{i, j}, {i + 1, j}, {i, j + 1}};
      const Corner upper[3] = {{i + 1, j}, {i + 1, j + 1}, {i, j + 1}};
      body(isUpper ? upper : lower, 3);
    });
  }
};

bool isBefore(const MbVec3d& a, const MbVec3d& b)
{
  if (a.x != b.x) return a.x < b.x;
  if (a.y != b.y) return a.y < b.y;
  return a.z < b.z;
}

/// How far a parabola with this middle is from its chord.
double chordError(const MbVec3d& a, const MbVec3d& b, const MbVec3d& middle)
{
  return length(middle - (a + b) * 0.5);
}

/// How faces and edges are split, by their nodes alone.
class Splitter
{
public:
  /// @param even  the parts of all edges, where they do not depend on an error
  Splitter(std::optional<unsigned> even, double maxError, unsigned most)
      : m_even(even), m_maxError(maxError), m_most(most)
  {}

  unsigned partsFor(double error) const
  {
    if (m_even) return *m_even;
    unsigned count = 1;
    // The error falls with the square; false for what is no number.
    while (count < m_most && !(error <= m_maxError * count * count))
      count *= 2;
    return count;
  }
  EdgeParts edge(const MbVec3d& a, const MbVec3d& b, const MbVec3d& middle) const
  {
    return {partsFor(chordError(a, b, middle)), isBefore(a, b)};
  }
  /// @param nodes  of a face as shapeFaces lists them
  FaceParts face(S linear, const MxShapeFace& face, std::span<const MbVec3d> nodes) const
  {
    FaceParts parts;
    parts.size = face.size == 6 ? 3 : 4;
    const auto node = [&](std::size_t n) { return nodes[face.nodes[n]]; };
    MbVec3d mean;
    for (std::size_t c = 0; c < parts.size; ++c) {
      parts.corners[c] = shapeCorner(linear, face.nodes[c]);
      parts.edges[c] = edge(node(c), node(c + 1 < parts.size ? c + 1 : 0), node(parts.size + c));
      parts.finest = std::max(parts.finest, parts.edges[c].count);
      mean += node(c) * (1 / static_cast<double>(parts.size));
    }
    if (face.size == 9) parts.finest = std::max(parts.finest, partsFor(length(node(8) - mean)));
    return parts;
  }

private:
  std::optional<unsigned> m_even;
  double m_maxError;
  unsigned m_most;
};

/// A face by itself, drawn together at its edges.
void refineFace(S shape, const FaceParts& face, MiTessellation& result)
{
  Refinement refinement(shape, face.size == 3 ? S::Triangle : S::Quad, result);
  const unsigned width = face.finest + 1;
  std::vector<std::uint32_t> numbers(std::size_t{width} * width);
  for (unsigned j = 0; j < width; ++j)
    for (unsigned i = 0; i < width - (face.size == 3 ? j : 0); ++i)
      numbers[i + std::size_t{width} * j] = refinement.add(face.at(i, j));
  face.forEachCell([&](const std::array<unsigned, 2>* corners, std::size_t count) {
    const auto number = [&](std::size_t c) {
      return numbers[corners[c][0] + std::size_t{width} * corners[c][1]];
    };
    if (count == 3)
      refinement.addCell({number(0), number(1), number(2)});
    else
      refinement.addCell({number(0), number(1), number(2), number(3)});
  });
}

/// A cell as shells around its middle: the lattices of its faces, smaller and smaller, with a
/// hexahedron between each triangle or quad and its next smaller one.
void refineInShells(S shape, std::span<const FaceParts> faces, MiTessellation& result)
{
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  Refinement refinement(shape, S::Hexahedron, result);
  MxShapePlace middle;
  for (std::size_t c = 0; c < facts.cornerCount; ++c)
    for (std::size_t axis = 0; axis < 3; ++axis)
      middle.x[axis] += shapeCorner(facts.linear, c).x[axis] / facts.cornerCount;
  unsigned shells = 1;
  for (const FaceParts& face : faces)
    shells = std::max(shells, face.finest);

  const std::uint32_t centre = refinement.add(middle);
  for (const FaceParts& face : faces) {
    const unsigned width = face.finest + 1;
    // The outermost shell first; its places are on the face, as the neighbour has them.
    std::vector<std::uint32_t> outer(std::size_t{width} * width), inner(outer.size(), centre);
    const auto fill = [&](std::vector<std::uint32_t>& numbers, unsigned shell) {
      for (unsigned j = 0; j < width; ++j)
        for (unsigned i = 0; i < width - (face.size == 3 ? j : 0); ++i) {
          MxShapePlace place = face.at(i, j);
          if (shell < shells) {
            const double out = static_cast<double>(shell) / shells;
            for (std::size_t axis = 0; axis < 3; ++axis)
              place.x[axis] = middle.x[axis] + out * (place.x[axis] / place.scale - middle.x[axis]);
            place.scale = 1;
          }
          numbers[i + std::size_t{width} * j] = refinement.add(place);
        }
    };
    fill(outer, shells);
    for (unsigned shell = shells; shell > 0; --shell) {
      if (shell > 1)
        fill(inner, shell - 1);
      else
        std::fill(inner.begin(), inner.end(), centre);
      face.forEachCell([&](const std::array<unsigned, 2>* corners, std::size_t count) {
        const auto number = [&](const std::vector<std::uint32_t>& numbers, std::size_t c) {
          const auto& corner = corners[std::min(c, count - 1)];
          return numbers[corner[0] + std::size_t{width} * corner[1]];
        };
        // Faces face outward, so the inner one comes first.
        refinement.addCell({number(inner, 0), number(inner, 1), number(inner, 2), number(inner, 3),
                            number(outer, 0), number(outer, 1), number(outer, 2),
                            number(outer, 3)});
      });
      outer.swap(inner);
    }
  }
}

/// The only face of a shape of two dimensions.
MxShapeFace ownFace(S shape)
{
  MxShapeFace face;
  face.shape = shape;
  face.size = cellShapeFacts(shape).nodeCount;
  for (std::uint8_t n = 0; n < face.size; ++n)
    face.nodes[n] = n;
  return face;
}

void refine(S shape, std::span<const MbVec3d> nodes, const Splitter& splitter,
            MiTessellation& result)
{
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  if (facts.dimension == 1) {
    refineAlike(shape, splitter.edge(nodes[0], nodes[1], nodes[2]).count, result);
    return;
  }
  std::vector<FaceParts> faces;
  if (facts.dimension == 2)
    faces.push_back(splitter.face(facts.linear, ownFace(shape), nodes));
  else
    for (const MxShapeFace& face : findWholeFaces(shape))
      faces.push_back(splitter.face(facts.linear, face, nodes));
  const unsigned count = faces[0].finest;
  bool isAlike = true;
  for (const FaceParts& face : faces) {
    isAlike = isAlike && face.finest == count;
    for (std::size_t e = 0; e < face.size; ++e)
      isAlike = isAlike && face.edges[e].count == count;
  }
  if (isAlike && refineAlike(shape, count, result)) return;
  if (facts.dimension == 2)
    refineFace(shape, faces[0], result);
  else
    refineInShells(shape, faces, result);
}

} // namespace

void MbUniformTessellator::setPartCount(unsigned partCount)
{
  m_partCount = std::clamp(partCount, 1u, kMaxPartCount);
  m_timeStamp = MxTimeStamp::take();
}

bool MbUniformTessellator::tessellate(MiCellShape shape, std::span<const MbVec3d> nodes,
                                      MiTessellation& result) const
{
  if (!isServed(shape, nodes.size())) return false;
  refine(shape, nodes, Splitter(m_partCount, 0, m_partCount), result);
  return true;
}

void MbChordTessellator::setMaxError(double maxError, unsigned maxPartCount)
{
  m_maxError = maxError;
  m_maxPartCount = std::clamp(maxPartCount, 1u, kMaxPartCount);
  m_timeStamp = MxTimeStamp::take();
}

bool MbChordTessellator::tessellate(MiCellShape shape, std::span<const MbVec3d> nodes,
                                    MiTessellation& result) const
{
  if (!isServed(shape, nodes.size())) return false;
  refine(shape, nodes, Splitter({}, m_maxError, m_maxPartCount), result);
  return true;
}
