#include <velmo/io/MxElementTypes.h>

#include <velmo/extraction/interfaces/MxCellShapes.h>

namespace {

using S = MiCellShape;

/// The corners between which an element's middle nodes lie, and those around its face centres, in
/// the order of the file and by its corner numbers. Without corners a centre is the element's own.
struct Middles
{
  std::uint8_t edgeCount = 0;
  std::array<std::array<std::uint8_t, 2>, 12> edges{};
  std::uint8_t centreCount = 0;
  std::array<std::array<std::uint8_t, 4>, 7> centres{};
  std::uint8_t own = 255; ///< the centre that is the element's own
};

/// "01 12" are two edges, "0321 0154" two face centres, "c" is the element's own centre.
constexpr Middles parse(const char* edges, const char* centres)
{
  Middles middles;
  for (const char* p = edges; *p; p += p[2] ? 3 : 2)
    middles.edges[middles.edgeCount++] = {static_cast<std::uint8_t>(p[0] - '0'),
                                          static_cast<std::uint8_t>(p[1] - '0')};
  for (const char* p = centres; *p;) {
    if (*p == 'c') {
      middles.own = middles.centreCount++;
      ++p;
    } else {
      for (std::size_t i = 0; i < 4; ++i)
        middles.centres[middles.centreCount][i] = static_cast<std::uint8_t>(p[i] - '0');
      ++middles.centreCount;
      p += 4;
    }
    if (*p == ' ') ++p;
  }
  return middles;
}

constexpr unsigned bitsOf(const auto& nodes, std::size_t count)
{
  unsigned bits = 0;
  for (std::size_t i = 0; i < count; ++i)
    bits |= 1u << nodes[i];
  return bits;
}

/// The element's corner that is corner `c` of the cell.
constexpr std::uint8_t cornerOf(S shape, std::size_t c)
{
  constexpr std::uint8_t kWedge[] = {0, 2, 1, 3, 5, 4};
  return cellShapeFacts(shape).linear == S::Wedge ? kWedge[c] : static_cast<std::uint8_t>(c);
}

constexpr MxElementType make(S shape, const char* edges = "", const char* centres = "")
{
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  MxElementType type;
  type.shape = shape;
  type.dimension = facts.dimension;
  type.nodeCount = facts.nodeCount;
  for (std::size_t n = 0; n < facts.nodeCount; ++n)
    type.order[n] = static_cast<std::uint8_t>(n);
  for (std::size_t c = 0; c < facts.cornerCount; ++c)
    type.order[c] = cornerOf(shape, c);

  const Middles middles = parse(edges, centres);
  std::size_t at = facts.cornerCount;
  for (const MxShapeEdge& edge : shapeEdges(shape)) {
    const std::array<std::uint8_t, 2> ends{cornerOf(shape, edge.first),
                                           cornerOf(shape, edge.second)};
    for (std::uint8_t m = 0; m < middles.edgeCount; ++m)
      if (bitsOf(middles.edges[m], 2) == bitsOf(ends, 2))
        type.order[at++] = static_cast<std::uint8_t>(facts.cornerCount + m);
  }
  const auto base = static_cast<std::uint8_t>(facts.cornerCount + middles.edgeCount);
  if (middles.centreCount == 0) return type;
  for (const MxShapeFace& face : shapeFaces(shape)) {
    if (face.shape != S::BiquadraticQuad) continue;
    std::array<std::uint8_t, 4> corners{};
    for (std::size_t i = 0; i < 4; ++i)
      corners[i] = cornerOf(shape, face.nodes[i]);
    for (std::uint8_t m = 0; m < middles.centreCount; ++m)
      if (m != middles.own && bitsOf(middles.centres[m], 4) == bitsOf(corners, 4))
        type.order[at++] = static_cast<std::uint8_t>(base + m);
  }
  if (middles.own != 255) type.order[at++] = static_cast<std::uint8_t>(base + middles.own);
  return type;
}

// The middle nodes as the formats' manuals number them: Gmsh 4 (node ordering), the element
// libraries of the .inp formats, and the element types of Exodus II.
constexpr const char* kTriangleEdges = "01 12 20";
constexpr const char* kQuadEdges = "01 12 23 30";
constexpr const char* kPyramidEdges = "01 12 23 30 04 14 24 34";
constexpr const char* kTetrahedronEdges = "01 12 20 03 13 23";

constexpr MxElementType kShared[] = {
    make(S::Vertex),
    make(S::Line),
    make(S::Triangle),
    make(S::Quad),
    make(S::QuadraticTriangle, kTriangleEdges),
    make(S::QuadraticQuad, kQuadEdges),
    make(S::BiquadraticQuad, kQuadEdges),
    make(S::Tetrahedron),
    make(S::Pyramid),
    make(S::Wedge),
    make(S::Hexahedron),
};

constexpr MxElementType kGmsh[] = {
    make(S::QuadraticLine),
    make(S::QuadraticTetrahedron, "01 12 20 30 32 31"),
    make(S::QuadraticPyramid, "01 03 04 12 14 23 24 34"),
    make(S::QuadraticWedge, "01 02 03 12 14 25 34 35 45"),
    make(S::BiquadraticWedge, "01 02 03 12 14 25 34 35 45", "0143 0253 1254"),
    make(S::QuadraticHexahedron, "01 03 04 12 15 23 26 37 45 47 56 67"),
    make(S::TriquadraticHexahedron, "01 03 04 12 15 23 26 37 45 47 56 67",
         "0321 0154 0473 1265 2376 4567 c"),
};

constexpr const char* kInpWedge = "01 12 20 34 45 53 03 14 25";
constexpr const char* kInpHexahedron = "01 12 23 30 45 56 67 74 04 15 26 37";

/// Lines have their middle node between the ends.
constexpr MxElementType inpLine()
{
  MxElementType type = make(S::QuadraticLine);
  type.order[1] = 2;
  type.order[2] = 1;
  return type;
}

constexpr MxElementType kInp[] = {
    inpLine(),
    make(S::QuadraticTetrahedron, kTetrahedronEdges),
    make(S::QuadraticPyramid, kPyramidEdges),
    make(S::QuadraticWedge, kInpWedge),
    make(S::BiquadraticWedge, kInpWedge, "0143 1254 0253"),
    make(S::QuadraticHexahedron, kInpHexahedron),
    make(S::TriquadraticHexahedron, kInpHexahedron, "c 0123 4765 0154 1265 2376 3047"),
};

constexpr const char* kExodusWedge = "01 12 20 03 14 25 34 45 53";
constexpr const char* kExodusHexahedron = "01 12 23 30 04 15 26 37 45 56 67 74";

constexpr MxElementType kExodus[] = {
    make(S::QuadraticLine),
    make(S::QuadraticTetrahedron, kTetrahedronEdges),
    make(S::QuadraticPyramid, kPyramidEdges),
    make(S::QuadraticWedge, kExodusWedge),
    make(S::BiquadraticWedge, kExodusWedge, "0143 1254 0253"),
    make(S::QuadraticHexahedron, kExodusHexahedron),
    make(S::TriquadraticHexahedron, kExodusHexahedron, "c 0321 4567 0473 1265 0154 2376"),
};

template <std::size_t N>
const MxElementType* find(const MxElementType (&types)[N], int dimension, std::size_t nodes)
{
  for (const MxElementType& type : types)
    if (type.dimension == dimension && type.nodeCount == nodes) return &type;
  return nullptr;
}

} // namespace

const MxElementType* mxElementType(MxElementOrder order, int dimension, std::size_t nodes)
{
  if (const MxElementType* type = find(kShared, dimension, nodes)) return type;
  switch (order) {
  case MxElementOrder::Gmsh:
    return find(kGmsh, dimension, nodes);
  case MxElementOrder::Inp:
    return find(kInp, dimension, nodes);
  case MxElementOrder::Exodus:
    return find(kExodus, dimension, nodes);
  }
  return nullptr;
}
