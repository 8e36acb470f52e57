#include <velmo/toolkit/shapes/MxFaceEdges.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <vector>

namespace {

constexpr std::size_t kVertexBlock = 8192;

struct Edge
{
  std::uint32_t other; // the vertex with the higher number
  std::uint32_t face;
  std::uint32_t place; // in the face
};

// The last face comes first: drawn after the others, it would win over them.
bool before(const Edge& a, const Edge& b)
{
  if (a.other != b.other) return a.other < b.other;
  return a.face != b.face ? a.face > b.face : a.place > b.place;
}

// Calls visit(lower vertex, Edge) for the edges of faces [first, last).
template <class Visit>
void forEachEdge(const MxFaceTable& faces, std::size_t first, std::size_t last, const Visit& visit)
{
  for (std::size_t f = first; f < last; ++f) {
    const auto face = faces.face(f);
    for (std::size_t k = 0; k < face.size(); ++k) {
      const auto [low, high] = std::minmax(face[k], face[k + 1 < face.size() ? k + 1 : 0]);
      if (low != high)
        visit(static_cast<std::size_t>(low),
              Edge{static_cast<std::uint32_t>(high), static_cast<std::uint32_t>(f),
                   static_cast<std::uint32_t>(k)});
    }
  }
}

std::uint32_t elementOf(const MxFaceTable& faces, std::size_t f, std::size_t k, MxFaceLayout layout)
{
  return layout == MxFaceLayout::Corners ? faces.cornerOf(f, k)
                                         : static_cast<std::uint32_t>(faces.face(f)[k]);
}

} // namespace

MxArray<std::uint32_t> mxUniqueEdges(const MxFaceTable& faces, std::size_t vertexCount,
                                     MxFaceLayout layout)
{
  // Threads fill the list of a vertex in any order; sorting it makes the result one and the same.
  MxArray<std::uint32_t> first(vertexCount + 1, 0);
  faces.forEachFaceBlock([&](std::size_t begin, std::size_t end) {
    forEachEdge(faces, begin, end, [&](std::size_t v, const Edge&) {
      std::atomic_ref(first[v]).fetch_add(1, std::memory_order_relaxed);
    });
  });
  MxArray<Edge> edges(exclusivePrefixSum(first.span()));
  MxArray<std::uint32_t> next(vertexCount);
  std::copy(first.begin(), first.begin() + vertexCount, next.begin());
  faces.forEachFaceBlock([&](std::size_t begin, std::size_t end) {
    forEachEdge(faces, begin, end, [&](std::size_t v, const Edge& edge) {
      edges[std::atomic_ref(next[v]).fetch_add(1, std::memory_order_relaxed)] = edge;
    });
  });

  std::vector<std::size_t> counts(blockCount(vertexCount, kVertexBlock));
  forEachBlock(true, vertexCount, kVertexBlock,
               [&](std::size_t block, std::size_t begin, std::size_t end) {
                 for (std::size_t v = begin; v < end; ++v) {
                   Edge* const from = edges.data() + first[v];
                   Edge* const to = edges.data() + first[v + 1];
                   std::sort(from, to, before);
                   Edge* const kept = std::unique(
                       from, to, [](const Edge& a, const Edge& b) { return a.other == b.other; });
                   next[v] = static_cast<std::uint32_t>(kept - edges.data());
                   counts[block] += static_cast<std::size_t>(kept - from);
                 }
               });
  MxArray<std::uint32_t> elements(2 * exclusivePrefixSum(std::span(counts)));
  forEachBlock(true, vertexCount, kVertexBlock,
               [&](std::size_t block, std::size_t begin, std::size_t end) {
                 std::uint32_t* out = elements.data() + 2 * counts[block];
                 for (std::size_t v = begin; v < end; ++v)
                   for (std::uint32_t i = first[v]; i < next[v]; ++i) {
                     const Edge& edge = edges[i];
                     const std::size_t size = faces.face(edge.face).size();
                     const std::size_t after = edge.place + 1 < size ? edge.place + 1 : 0;
                     *out++ = elementOf(faces, edge.face, edge.place, layout);
                     *out++ = elementOf(faces, edge.face, after, layout);
                   }
               });
  return elements;
}

MxArray<std::uint32_t> mxOpenEdges(const MxFaceTable& faces, std::size_t vertexCount,
                                   MxFaceLayout layout)
{
  // Each vertex keeps the exclusive or of a hash of its edges: those of two faces cancel, and only
  // the edges of vertices where something is left are looked at one by one.
  MxArray<std::uint64_t> left(vertexCount, 0);
  const auto hash = [](const Edge& edge) {
    std::uint64_t h = (edge.other + 1) * std::uint64_t{0x9e3779b97f4a7c15};
    h = (h ^ (h >> 30)) * 0xbf58476d1ce4e5b9;
    h = (h ^ (h >> 27)) * 0x94d049bb133111eb;
    return h ^ (h >> 31);
  };
  faces.forEachFaceBlock([&](std::size_t begin, std::size_t end) {
    forEachEdge(faces, begin, end, [&](std::size_t v, const Edge& edge) {
      std::atomic_ref(left[v]).fetch_xor(hash(edge), std::memory_order_relaxed);
    });
  });
  struct Found
  {
    std::size_t vertex;
    Edge edge;
    bool sameAs(const Found& f) const { return vertex == f.vertex && edge.other == f.edge.other; }
  };
  std::vector<std::vector<Found>> parts(blockCount(faces.faceCount(), MxFaceTable::kBlock));
  forEachBlock(true, faces.faceCount(), MxFaceTable::kBlock,
               [&](std::size_t block, std::size_t begin, std::size_t end) {
                 forEachEdge(faces, begin, end, [&](std::size_t v, const Edge& edge) {
                   if (left[v] != 0) parts[block].push_back({v, edge});
                 });
               });
  std::vector<Found> found;
  for (const auto& part : parts)
    found.insert(found.end(), part.begin(), part.end());
  std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
    return a.vertex != b.vertex ? a.vertex < b.vertex : before(a.edge, b.edge);
  });
  std::vector<std::uint32_t> elements;
  for (std::size_t i = 0; i < found.size(); ++i) {
    if ((i > 0 && found[i].sameAs(found[i - 1])) ||
        (i + 1 < found.size() && found[i].sameAs(found[i + 1])))
      continue;
    const Edge& edge = found[i].edge;
    const std::size_t after = edge.place + 1 < faces.face(edge.face).size() ? edge.place + 1 : 0;
    elements.push_back(elementOf(faces, edge.face, edge.place, layout));
    elements.push_back(elementOf(faces, edge.face, after, layout));
  }
  MxArray<std::uint32_t> result(elements.size());
  std::copy(elements.begin(), elements.end(), result.begin());
  return result;
}

MxArray<std::uint32_t> mxUsedVertices(const MxFaceTable& faces, std::size_t vertexCount,
                                      MxFaceLayout layout)
{
  constexpr auto kNone = std::numeric_limits<std::uint32_t>::max();
  MxArray<std::uint32_t> elements(vertexCount, kNone);
  for (std::size_t f = 0; f < faces.faceCount(); ++f) {
    const auto face = faces.face(f);
    for (std::size_t k = 0; k < face.size(); ++k)
      elements[face[k]] = elementOf(faces, f, k, layout);
  }
  elements.resize(static_cast<std::size_t>(std::remove(elements.begin(), elements.end(), kNone) -
                                           elements.begin()));
  return elements;
}
