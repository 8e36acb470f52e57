#ifdef VELMO_HAS_NETCDF

#include <velmo/io/MxExodusPoly.h>

#include <algorithm>

namespace {

/// Indices in 32 bits, and those that do not fit as -1, where all good ones do.
MxFileArray indicesOf(const std::vector<std::int64_t>& numbers, bool narrow)
{
  if (!narrow) return MxFileArray::of(std::span<const std::int64_t>(numbers));
  auto result = MxFileArray::of<std::int32_t>(numbers.size());
  mxCopyNarrowed(result.as<std::int32_t>(), numbers.data(), numbers.size(), false, true);
  return result;
}

} // namespace

/// Appends `count` lists: their lengths stand in one variable, all their numbers in another one.
void MxExodusPoly::append(const std::string& lengths, const std::string& numbers,
                          std::size_t length, std::size_t count, Lists& lists) const
{
  const MxFileArray sizes = m_file.read(lengths, {0}, {count}, MiScalarType::Int64);
  const MxFileArray all = m_file.read(numbers, {0}, {length}, MiScalarType::Int64);
  std::size_t used = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::int64_t size = sizes.as<std::int64_t>()[i];
    if (size < 0 || static_cast<std::uint64_t>(size) > length - used)
      m_file.fail(lengths + " has " + std::to_string(size) + " for item " + std::to_string(i) +
                  " where " + std::to_string(length - used) + " numbers of " + numbers +
                  " are left");
    used += static_cast<std::size_t>(size);
    lists.offsets.push_back(lists.numbers.size() + used);
  }
  const auto* const from = all.as<std::int64_t>();
  lists.numbers.insert(lists.numbers.end(), from, from + used);
}

/// Block after block.
void MxExodusPoly::readFaces()
{
  if (m_hasFaces) return;
  m_hasFaces = true;
  const std::size_t blocks = m_file.dimension("num_fa_blk");
  m_file.checkNamed(blocks, "num_fa_blk");
  for (std::size_t b = 1; b <= blocks; ++b) {
    const std::string number = std::to_string(b);
    const std::size_t count = m_file.dimension("num_fa_in_blk" + number);
    const std::size_t nodes = m_file.dimension("num_nod_per_fa" + number);
    if (count == 0) continue;
    if (m_file.hasVariable("fbepecnt" + number)) {
      append("fbepecnt" + number, "fbconn" + number, nodes, count, m_faces);
      continue;
    }
    const MxFileArray all =
        m_file.read("fbconn" + number, {0, 0}, {count, nodes}, MiScalarType::Int64);
    for (std::size_t face = 1; face <= count; ++face)
      m_faces.offsets.push_back(m_faces.numbers.size() + face * nodes);
    const auto numbers = all.span<const std::int64_t>();
    m_faces.numbers.insert(m_faces.numbers.end(), numbers.begin(), numbers.end());
  }
}

MxFileCells MxExodusPoly::cellsOf(const std::vector<std::uint8_t>& types,
                                  const std::vector<std::int64_t>& offsets,
                                  const std::vector<std::int64_t>& connectivity) const
{
  const bool narrow =
      m_file.dimension("num_nodes") < kNarrowLimit && connectivity.size() < kNarrowLimit;
  MxFileCells cells;
  cells.count = types.size();
  cells.types = MxFileArray::of(std::span<const std::uint8_t>(types));
  cells.offsets = indicesOf(offsets, narrow);
  cells.connectivity = indicesOf(connectivity, narrow);
  return cells;
}

MxFileCells MxExodusPoly::readPolygons(const std::string& number, std::size_t count) const
{
  Lists lists;
  append("ebepecnt" + number, "connect" + number, m_file.dimension("num_nod_per_el" + number),
         count, lists);
  std::vector<std::uint8_t> types(count);
  std::vector<std::int64_t> offsets(1, 0);
  for (std::size_t cell = 0; cell < count; ++cell) {
    const std::size_t size = lists[cell].size();
    types[cell] = static_cast<std::uint8_t>(size == 3   ? MiCellShape::Triangle
                                            : size == 4 ? MiCellShape::Quad
                                                        : MiCellShape::Polygon);
    offsets.push_back(static_cast<std::int64_t>(lists.offsets[cell + 1]));
  }
  for (std::int64_t& node : lists.numbers)
    node = node < 1 ? -1 : node - 1;
  return cellsOf(types, offsets, lists.numbers);
}

MxFileCells MxExodusPoly::readPolyhedra(const std::string& number, std::size_t count)
{
  Lists lists;
  append("ebepecnt" + number, "facconn" + number, m_file.dimension("num_fac_per_el" + number),
         count, lists);
  readFaces();
  std::vector<std::int64_t> stream, offsets(1, 0);
  for (std::size_t cell = 0; cell < count; ++cell) {
    stream.push_back(static_cast<std::int64_t>(lists[cell].size()));
    for (const std::int64_t face : lists[cell]) {
      if (face < 1 || static_cast<std::uint64_t>(face) > m_faces.count())
        m_file.fail("facconn" + number + " names the face " + std::to_string(face) + " of " +
                    std::to_string(m_faces.count()));
      const auto nodes = m_faces[static_cast<std::size_t>(face) - 1];
      stream.push_back(static_cast<std::int64_t>(nodes.size()));
      for (const std::int64_t node : nodes)
        stream.push_back(node < 1 ? -1 : node - 1);
    }
    // Cells share faces, but not without a bound.
    m_file.checkFits(stream.size(), 1, "facconn" + number);
    offsets.push_back(static_cast<std::int64_t>(stream.size()));
  }
  const std::vector<std::uint8_t> types(count, static_cast<std::uint8_t>(MiCellShape::Polyhedron));
  return cellsOf(types, offsets, stream);
}

#endif
