#include <velmo/io/MxFileBytes.h>
#include <velmo/io/MxFileMesh.h>
#include <velmo/io/MxLegacyText.h>
#include <velmo/io/MxNumberText.h>
#include <velmo/io/MxPolySections.h>
#include <velmo/io/MxStructuredParts.h>

#include <algorithm>

namespace {

constexpr std::string_view kMagic = "# vtk DataFile Version";

/// Numbers of 32 bits where they stand in a binary file.
auto bigEndianNumbers(const char* at)
{
  constexpr bool kSwap = std::endian::native == std::endian::little;
  return [at](std::size_t i) {
    std::uint32_t word;
    std::memcpy(&word, at + i * sizeof word, sizeof word);
    return static_cast<std::int32_t>(kSwap ? __builtin_bswap32(word) : word);
  };
}

/// Reads one file from the first byte to the last.
class LegacyReader : private MxLegacyText
{
public:
  LegacyReader(const MxFileBytes& file, const MxReadRequest& request) : MxLegacyText(file, request)
  {
    m_mesh.format = "legacy vtk";
  }

  MxFileMesh run()
  {
    readHeader();
    for (std::string keyword = nextKeyword(); !keyword.empty(); keyword = nextKeyword())
      readSection(keyword);
    if (m_dataSet.empty()) m_file.failAtLine(m_end, "the file ends before DATASET");
    finishGeometry();
    mxCheckOnlyTime(m_file, m_request, m_mesh.time);
    return std::move(m_mesh);
  }

private:
  // ---- sections

  void readHeader()
  {
    const std::string_view first = restOfLine();
    if (first.substr(0, kMagic.size()) != kMagic) m_file.fail("line 1", "is no legacy .vtk file");
    m_mesh.title = std::string(restOfLine());
    const std::string form = nextKeyword();
    if (form != "ascii" && form != "binary") fail("neither ASCII nor BINARY stands here");
    m_binary = form == "binary";
    restOfLine();
  }

  void readSection(const std::string& keyword)
  {
    if (keyword == "dataset") return readDataSetType();
    if (keyword == "point_data") return readDataHeader(MiDataBinding::PerNode);
    if (keyword == "cell_data") return readDataHeader(MiDataBinding::PerCell);
    if (keyword == "field") return readField();
    if (keyword == "metadata") return skipMetadata();
    if (m_inData) return readAttribute(keyword);
    if (m_dataSet.empty()) fail("expected DATASET here");
    readGeometry(keyword);
  }

  void readDataSetType()
  {
    if (!m_dataSet.empty()) fail("a second DATASET");
    m_dataSet = mxLowered(wordFor("the type of the data set"));
    if (m_dataSet == "structured_points")
      m_mesh.layout = MxFileLayout::Regular;
    else if (m_dataSet == "rectilinear_grid")
      m_mesh.layout = MxFileLayout::Rectilinear;
    else if (m_dataSet == "structured_grid")
      m_mesh.layout = MxFileLayout::Curvilinear;
    else if (m_dataSet != "unstructured_grid" && m_dataSet != "polydata")
      fail("the data set " + mxQuoted(m_dataSet) + " is no mesh that can be read");
    m_mesh.spacing = {1, 1, 1};
  }

  void readGeometry(const std::string& keyword)
  {
    const bool polydata = m_dataSet == "polydata";
    const bool cells = m_dataSet == "unstructured_grid";
    const MxFileLayout layout = m_mesh.layout;
    if (keyword == "dimensions" && layout != MxFileLayout::Cells) {
      for (std::size_t axis = 0; axis < 3; ++axis)
        m_mesh.nodes[axis] = count("DIMENSIONS");
      checkDimensions();
    } else if (keyword == "extent" && layout != MxFileLayout::Cells) {
      for (std::size_t axis = 0; axis < 3; ++axis) {
        const double first = number("EXTENT"), last = number("EXTENT");
        if (!(last >= first && last - first < 1e15)) fail("EXTENT runs backwards");
        m_first[axis] = first;
        m_mesh.nodes[axis] = static_cast<std::size_t>(last - first) + 1;
      }
      checkDimensions();
    } else if (keyword == "origin" && layout == MxFileLayout::Regular) {
      m_mesh.origin = numbers3("ORIGIN");
    } else if ((keyword == "spacing" || keyword == "aspect_ratio") &&
               layout == MxFileLayout::Regular) {
      m_mesh.spacing = numbers3("SPACING");
    } else if (keyword == "points" && layout != MxFileLayout::Regular &&
               layout != MxFileLayout::Rectilinear)
    {
      m_pointCount = count("POINTS");
      m_mesh.points = list(wordFor("the type of POINTS"), m_pointCount, 3, "POINTS");
      m_hasPoints = true;
    } else if (keyword.size() == 13 && keyword.substr(1) == "_coordinates" && keyword[0] >= 'x' &&
               keyword[0] <= 'z' && layout == MxFileLayout::Rectilinear)
    {
      const std::string what(m_word, keyword.size());
      const std::size_t axis = static_cast<std::size_t>(keyword[0] - 'x');
      const std::size_t n = count(what.c_str());
      m_mesh.axes[axis] = list(wordFor("the type of the coordinates"), n, 1, what);
    } else if (keyword == "cells" && cells) {
      m_cells = readCellList("CELLS");
    } else if (keyword == "cell_types" && cells) {
      readTypes();
    } else if (polydata && (keyword == "vertices" || keyword == "lines" || keyword == "polygons" ||
                            keyword == "triangle_strips"))
    {
      const std::size_t part = keyword == "vertices"   ? 0
                               : keyword == "lines"    ? 1
                               : keyword == "polygons" ? 2
                                                       : 3;
      m_parts[part] = readPolyCells(keyword);
    } else {
      fail(mxQuoted(keyword) + " is not expected here");
    }
  }

  void checkDimensions()
  {
    std::size_t nodes = 1;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const std::size_t n = m_mesh.nodes[axis];
      if (n == 0) fail("the mesh has no nodes along an axis");
      if (n > kMostGridNodes / nodes) fail("the dimensions are too large");
      nodes *= n;
    }
    m_mesh.nodeCount = nodes;
  }

  void readTypes()
  {
    m_typeCount = count("CELL_TYPES");
    checkFits(m_typeCount, 1, "CELL_TYPES");
    m_hasTypes = true;
    if (!m_binary) {
      const MxFileArray types = list(MiScalarType::Int32, m_typeCount, "CELL_TYPES");
      return takeTypes([at = types.as<std::int32_t>()](std::size_t i) { return at[i]; });
    }
    mxReport(m_request, m_file, m_at);
    takeTypes(bigEndianNumbers(bytes(m_typeCount, sizeof(std::int32_t), "CELL_TYPES")));
  }

  /// One number for all cells where that tells all, otherwise a byte for each.
  template <class Number>
  void takeTypes(const Number& number)
  {
    if (m_typeCount == 0) return;
    m_type = number(0);
    if (mxAll(m_parallel, m_typeCount, [&](std::size_t i) { return number(i) == m_type; })) return;
    m_types = MxFileArray::of<std::uint8_t>(m_typeCount);
    auto* const to = m_types.as<std::uint8_t>();
    forEachBlock(m_parallel, m_typeCount, kFileBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   for (std::size_t i = first; i < last; ++i)
                     to[i] = typeByte(number(i));
                 });
  }
  static std::uint8_t typeByte(std::int32_t type)
  {
    return static_cast<std::uint8_t>(type < 0 || type > 255 ? 255 : type);
  }

  /// Cells of a section of a PolyData.
  MxFileCells readPolyCells(const std::string& what)
  {
    MxFileCells cells = readCellList(what);
    if (cells.count > 0 && !cells.offsets)
      cells.offsets = mxEvenOffsets(cells.count, cells.connectivity.size / cells.count, m_parallel);
    return cells;
  }

  /// "CELLS count size" with node counts among the nodes, or with OFFSETS and CONNECTIVITY.
  MxFileCells readCellList(const std::string& what)
  {
    const char* const place = m_word;
    const std::size_t n = count(what.c_str()), size = count(what.c_str());
    checkFits(size, 1, what);
    const char* ahead = m_at;
    if (mxLowered(mxNextWord(ahead, m_end)) == "offsets") return readOffsetCells(what, n, size);

    if (n > size) fail(what + " has more cells than numbers");
    if (!m_binary) {
      const MxFileArray numbers = list(MiScalarType::Int32, size, what);
      const auto* at = numbers.as<std::int32_t>();
      return unpackCells([at](std::size_t i) { return at[i]; }, n, size, place, what);
    }
    mxReport(m_request, m_file, m_at);
    const char* at = bytes(size, sizeof(std::int32_t), what);
    return unpackCells(bigEndianNumbers(at), n, size, place, what);
  }

  /// Takes the node counts out of a list of cells whose numbers number(i) tells. Cells of one size
  /// get no offsets.
  template <class Number>
  MxFileCells unpackCells(const Number& number, std::size_t n, std::size_t size, const char* place,
                          const std::string& what) const
  {
    MxFileCells cells;
    cells.count = n;
    cells.connectivity = MxFileArray::of<std::int32_t>(size - n);
    auto* nodes = cells.connectivity.as<std::int32_t>();
    // Cells of one size lie where they should, which several threads can see while they read.
    const std::size_t step = n > 0 && size % n == 0 ? size / n : 0;
    const auto each = static_cast<std::int32_t>(step) - 1;
    std::atomic<bool> even = step > 1 && step < kNarrowLimit;
    forEachBlock(m_parallel, n, kFileBlock, [&](std::size_t, std::size_t first, std::size_t last) {
      if (!even.load(std::memory_order_relaxed)) return;
      bool own = true;
      auto* to = nodes + first * (step - 1);
      for (std::size_t cell = first; cell < last; ++cell) {
        own &= number(cell * step) == each;
        for (std::size_t i = 1; i < step; ++i)
          *to++ = number(cell * step + i);
      }
      if (!own) even.store(false, std::memory_order_relaxed);
    });
    if (even) return cells;
    cells.offsets = size > kNarrowLimit ? MxFileArray::of<std::int64_t>(n + 1)
                                        : MxFileArray::of<std::int32_t>(n + 1);
    visitIndices(cells.offsets, [&](auto offsets) {
      findCells(number, size, offsets, place, what);
      forEachBlock(m_parallel, n, kFileBlock,
                   [&](std::size_t, std::size_t first, std::size_t last) {
                     for (std::size_t cell = first; cell < last; ++cell) {
                       const auto end = static_cast<std::size_t>(offsets[cell + 1]);
                       for (auto i = static_cast<std::size_t>(offsets[cell]); i < end; ++i)
                         nodes[i] = number(i + cell + 1);
                     }
                   });
    });
    return cells;
  }

  /// Finds where each cell begins, which only one thread can.
  template <class Number, class Offset>
  void findCells(const Number& number, std::size_t size, std::span<Offset> offsets,
                 const char* place, const std::string& what) const
  {
    const std::size_t n = offsets.size() - 1;
    std::size_t at = 0;
    for (std::size_t cell = 0; cell < n; ++cell) {
      offsets[cell] = static_cast<Offset>(at - cell);
      const std::int32_t k = at < size ? number(at) : -1;
      if (k < 0 || static_cast<std::size_t>(k) > size - at - 1)
        m_file.failAtLine(place, "cell " + std::to_string(cell) + " of " + what +
                                     " does not fit the " + std::to_string(size) +
                                     " numbers announced");
      at += static_cast<std::size_t>(k) + 1;
    }
    if (at != size)
      m_file.failAtLine(place, what + " uses " + std::to_string(at) + " of the " +
                                   std::to_string(size) + " numbers announced");
    offsets[n] = static_cast<Offset>(at - n);
  }

  MxFileCells readOffsetCells(const std::string& what, std::size_t offsetCount, std::size_t size)
  {
    word();
    MxFileCells cells;
    const bool narrow = size < kNarrowLimit && m_hasPoints && m_pointCount < kNarrowLimit;
    cells.offsets =
        indices(wordFor("the type of OFFSETS"), offsetCount, "OFFSETS of " + what, narrow);
    if (nextKeyword() != "connectivity") fail("expected CONNECTIVITY here");
    cells.connectivity =
        indices(wordFor("the type of CONNECTIVITY"), size, "CONNECTIVITY of " + what, narrow);
    // No offset at all stands for no cell.
    cells.count = offsetCount == 0 ? 0 : offsetCount - 1;
    const std::size_t bad = mxFirstBadOffset(cells.offsets, cells.connectivity.size);
    if (bad < offsetCount)
      fail("offset " + std::to_string(bad) + " of " + what +
           " runs backwards or beyond the connectivity");
    return cells;
  }

  void readDataHeader(MiDataBinding binding)
  {
    if (m_dataSet.empty()) fail("expected DATASET here");
    const bool perNode = binding == MiDataBinding::PerNode;
    const char* what = perNode ? "POINT_DATA" : "CELL_DATA";
    finishGeometry();
    m_binding = binding;
    m_items = count(what);
    m_inData = true;
    const std::size_t expected = perNode ? m_mesh.nodeCount : m_fileCellCount;
    if (m_items != expected)
      fail(std::string(what) + " " + std::to_string(m_items) + " does not fit the mesh of " +
           std::to_string(expected) + (perNode ? " nodes" : " cells"));
  }

  // ---- arrays

  void add(std::string_view name, std::size_t components, MxFileArray values)
  {
    m_mesh.sets.push_back({mxDecodedName(name), m_binding, components, std::move(values)});
  }

  void readAttribute(const std::string& keyword)
  {
    if (keyword == "lookup_table") return skipLookupTable();
    const char* const place = m_word;
    const std::string name(wordFor("the name of an array"));
    const std::string what = keyword + " " + name;
    if (keyword == "scalars") {
      const std::string type(wordFor("the type of an array"));
      // The count is optional and stands on the same line.
      const char* line = m_at;
      while (line < m_end && *line != '\n')
        ++line;
      const char* p = m_at;
      std::size_t components = 1;
      const std::string_view optional = mxNextWord(p, line);
      if (!optional.empty() && mxLowered(optional) != "lookup_table") {
        components = count("the number of components");
        if (components < 1 || components > 4) fail("SCALARS have 1 to 4 components");
      }
      p = m_at;
      if (mxLowered(mxNextWord(p, m_end)) == "lookup_table") {
        m_at = p;
        wordFor("the name of a lookup table");
      }
      add(name, components, list(type, m_items, components, what));
    } else if (keyword == "color_scalars") {
      const std::size_t components = count("the number of components");
      if (components < 1) fail("COLOR_SCALARS have no components");
      add(name, components, list(m_binary ? "unsigned_char" : "float", m_items, components, what));
    } else if (keyword == "vectors" || keyword == "normals") {
      add(name, 3, list(wordFor("the type of an array"), m_items, 3, what));
    } else if (keyword == "global_ids" || keyword == "pedigree_ids" || keyword == "edge_flags") {
      add(name, 1, list(wordFor("the type of an array"), m_items, 1, what));
    } else if (keyword == "tensors" || keyword == "tensors6") {
      const std::size_t components = keyword == "tensors" ? 9 : 6;
      add(name, components, list(wordFor("the type of an array"), m_items, components, what));
    } else if (keyword == "texture_coordinates") {
      const std::size_t components = count("the number of components");
      if (components < 1 || components > 3) fail("TEXTURE_COORDINATES have 1 to 3 components");
      add(name, components, list(wordFor("the type of an array"), m_items, components, what));
    } else {
      m_file.failAtLine(place, mxQuoted(keyword) + " is no kind of array that is known");
    }
  }

  void readField()
  {
    wordFor("the name of a field");
    const std::size_t arrays = count("the number of arrays");
    for (std::size_t i = 0; i < arrays; ++i) {
      std::string name(wordFor("the name of an array"));
      if (name == "NULL_ARRAY") continue;
      if (mxLowered(name) == "metadata") { // belongs to the array before
        skipMetadata();
        name = std::string(wordFor("the name of an array"));
      }
      const std::string what = "array " + name;
      const std::size_t components = count("the number of components");
      const std::size_t items = count("the number of tuples");
      const std::string type(wordFor("the type of an array"));
      checkFits(items, components, what);
      if (mxLowered(type) == "string") {
        skipStrings(items * components, what);
        m_mesh.notes.push_back("The array '" + mxDecodedName(name) +
                               "' holds texts and is left out.");
        continue;
      }
      MxFileArray values = list(type, items, components, what);
      if (!m_inData) {
        takeFieldValue(mxDecodedName(name), values);
      } else if (items != m_items) {
        fail(what + " has " + std::to_string(items) + " items where " + std::to_string(m_items) +
             " should be");
      } else if (components == 0) {
        m_mesh.notes.push_back("The array '" + mxDecodedName(name) + "' is empty and left out.");
      } else {
        add(name, components, std::move(values));
      }
    }
  }

  void takeFieldValue(const std::string& name, const MxFileArray& values)
  {
    const std::string key = mxLowered(name);
    if ((key == "time" || key == "timevalue") && values.size > 0)
      m_mesh.time = visitNumbers(values, [](auto v) { return static_cast<double>(v[0]); });
    else
      m_mesh.notes.push_back("The field array '" + name +
                             "' belongs to no node or cell and is left out.");
  }

  /// Up to the next empty line.
  void skipMetadata()
  {
    restOfLine();
    while (m_at < m_end && !restOfLine().empty()) {
    }
  }

  void skipLookupTable()
  {
    wordFor("the name of a lookup table");
    const std::size_t colours = count("the size of a lookup table");
    list(m_binary ? "unsigned_char" : "float", colours, 4, "LOOKUP_TABLE");
  }

  // ---- what the parts make together

  void finishGeometry()
  {
    if (m_finished) return;
    m_finished = true;
    if (m_mesh.layout == MxFileLayout::Cells) {
      m_mesh.nodeCount = m_pointCount;
      if (!m_hasPoints) m_file.failAtLine(m_at, "POINTS is missing");
      if (m_dataSet == "polydata")
        m_mesh.cells = mxJoinSections(std::move(m_parts), m_parallel);
      else
        joinTypes();
      m_fileCellCount = m_mesh.cells.count;
      return;
    }
    if (m_mesh.nodes.x == 0) m_file.failAtLine(m_at, "DIMENSIONS is missing");
    if (m_mesh.layout == MxFileLayout::Curvilinear && m_pointCount != m_mesh.nodeCount)
      m_file.failAtLine(m_at, "DIMENSIONS ask for " + std::to_string(m_mesh.nodeCount) +
                                  " points, POINTS has " + std::to_string(m_pointCount));
    for (std::size_t axis = 0; axis < 3; ++axis) {
      if (m_mesh.layout == MxFileLayout::Rectilinear &&
          m_mesh.axes[axis].size != m_mesh.nodes[axis])
        m_file.failAtLine(m_at, "DIMENSIONS ask for " + std::to_string(m_mesh.nodes[axis]) +
                                    " coordinates along axis " + std::to_string(axis) +
                                    ", the file has " + std::to_string(m_mesh.axes[axis].size));
      m_mesh.origin[axis] += m_first[axis] * m_mesh.spacing[axis];
    }
    // A single node is a cell of its own in these files.
    m_fileCellCount = std::max<std::size_t>(1, m_mesh.cellCount());
  }

  void joinTypes()
  {
    if (!m_hasTypes) {
      if (m_cells.count > 0) m_file.failAtLine(m_at, "CELL_TYPES is missing");
      return;
    }
    if (m_typeCount != m_cells.count)
      m_file.failAtLine(m_at, "CELL_TYPES has " + std::to_string(m_typeCount) + " types for " +
                                  std::to_string(m_cells.count) + " cells");
    MxFileCells& cells = m_mesh.cells = std::move(m_cells);
    if (cells.count == 0) return;
    if (!cells.offsets) {
      const std::size_t each = cells.connectivity.size / cells.count;
      if (!m_types && mxMakeUniform(cells, m_type, each)) return;
      cells.offsets = mxEvenOffsets(cells.count, each, m_parallel);
    }
    cells.types = std::move(m_types);
    if (cells.types) return;
    cells.types = MxFileArray::of<std::uint8_t>(cells.count);
    std::memset(cells.types.data.get(), typeByte(m_type), cells.count);
  }

  MxFileMesh m_mesh;
  std::string m_dataSet;
  bool m_hasPoints = false, m_hasTypes = false, m_finished = false;
  std::size_t m_pointCount = 0, m_fileCellCount = 0;
  MbVec3d m_first;
  MxFileCells m_cells;
  std::size_t m_typeCount = 0;
  std::int32_t m_type = 0; ///< of all cells, unless m_types has the type of each
  MxFileArray m_types;
  std::array<MxFileCells, 4> m_parts;

  bool m_inData = false;
  MiDataBinding m_binding = MiDataBinding::PerNode;
  std::size_t m_items = 0;
};

} // namespace

bool mxIsLegacyVtk(const MxFileBytes& file)
{
  return file.text().starts_with(kMagic);
}

MxFileMesh mxReadLegacyVtk(const MxFileBytes& file, const MxReadRequest& request)
{
  return LegacyReader(file, request).run();
}
