#include <velmo/base/MxMemoryLimit.h>
#include <velmo/io/MxCornerPoint.h>
#include <velmo/io/MxFileFormats.h>
#include <velmo/io/MxGrdeclDeck.h>
#include <velmo/io/MxNumberText.h>
#include <velmo/mesh/MbCounts.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace {

/// Keywords that place a grid on a map or tell how it was made.
constexpr std::string_view kPlacing[] = {"MAPUNITS", "MAPAXES",  "GRIDUNIT", "GDORIENT",
                                         "COORDSYS", "GRIDFILE", "PINCH",    "NEWTRAN",
                                         "FILEHEAD", "FILEUNIT", "PATHS",    "GRDECL"};

constexpr std::string_view kActive = "ACTNUM";
/// Names in the note of what is left out, and cell arrays.
constexpr std::size_t kMostNames = 20, kMostArrays = 1000;

class GrdeclReader
{
public:
  GrdeclReader(const MxFileBytes& file, const MxReadRequest& request)
      : m_file(file), m_parallel(request.parallel), m_sharedNodes(request.sharedNodes), m_deck(file)
  {
    m_mesh.format = "grdecl";
    for (const MxDeckSection& section : m_deck.getSections())
      m_sections[section.name] = &section;
  }

  MxFileMesh run()
  {
    const MbIndex3 cells = readCounts();
    m_cells = cells.x * cells.y * cells.z;
    m_mesh.ijk = cells;
    m_mesh.pillars = required("COORD", 6 * (cells.x + 1) * (cells.y + 1));
    m_mesh.depths = required("ZCORN", 8 * m_cells);
    readValues();
    for (const MxFileSet& set : m_mesh.sets)
      if (set.name == kActive) m_mesh.active = set.values;
    // What only marks cells comes last: the first array is the one to look at.
    std::stable_partition(m_mesh.sets.begin(), m_mesh.sets.end(),
                          [](const MxFileSet& set) { return set.name != kActive; });
    tellLeftOut();
    if (m_sharedNodes) {
      mxWeldCorners(m_mesh, m_parallel);
    } else {
      m_mesh.vertex = true;
      m_mesh.cells.count = m_cells;
      m_mesh.cells.uniform = MiCellShape::Hexahedron;
      m_mesh.nodeCount = mbProduct(cells + MbIndex3{1, 1, 1});
    }
    return std::move(m_mesh);
  }

private:
  const MxDeckSection* find(std::string_view name) const
  {
    const auto found = m_sections.find(name);
    return found == m_sections.end() ? nullptr : found->second;
  }

  MbIndex3 countsOf(const MxDeckSection& section) const
  {
    MbIndex3 counts;
    const char* p = section.text.data();
    const char* const end = p + section.text.size();
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const std::string_view word = mxNextDeckWord(p, end);
      std::int64_t count = 0;
      if (word.empty()) section.fail("has fewer than three counts");
      if (!mxParseNumber(word, count)) section.fail("has " + mxQuoted(word) + " for a count");
      if (count <= 0) section.fail("announces " + std::string(word) + " cells along an axis");
      counts[axis] = static_cast<std::size_t>(count);
    }
    if (section.name == "SPECGRID") {
      const std::string_view reservoirs = mxNextDeckWord(p, end), type = mxNextDeckWord(p, end);
      if (!reservoirs.empty() && reservoirs != "1" && reservoirs != "1*")
        section.fail("announces " + std::string(reservoirs) + " reservoirs; one can be read");
      if (type == "T") section.fail("announces cylindrical coordinates, which cannot be read");
    }
    return counts;
  }

  MbIndex3 readCounts() const
  {
    const MxDeckSection *grid = find("SPECGRID"), *dimens = find("DIMENS");
    if (!grid && !dimens)
      m_file.fail(
          "", "has neither SPECGRID nor DIMENS, and with that no grid; a file of values is read "
              "through one that INCLUDEs the grid and the values");
    const MbIndex3 counts = countsOf(grid ? *grid : *dimens);
    if (grid && dimens && countsOf(*dimens) != counts)
      dimens->fail("and SPECGRID announce different counts of cells");
    try {
      mbProduct(counts + MbIndex3{1, 1, 1});
    } catch (const std::invalid_argument&) {
      (grid ? grid : dimens)->fail("announces more cells than can be");
    }
    return counts;
  }

  /// Repeated values may ask for more numbers than there is memory for.
  static void checkMemory(const MxDeckSection& section, std::size_t count)
  {
    if (!mxFitsMemory(count, sizeof(double)))
      section.fail("has " + std::to_string(count) +
                   " numbers by its repeat counts, which is more than memory can hold");
  }

  MxFileArray required(const char* name, std::size_t count) const
  {
    const MxDeckSection* section = find(name);
    if (!section) m_file.fail("", std::string("has no ") + name);
    const MxDeckNumbers numbers = mxCountDeckNumbers(*section, m_parallel);
    checkCount(*section, numbers, count);
    MxTextFault fault;
    MxFileArray array = mxReadDeckNumbers(*section, numbers, MiScalarType::Float64, std::nan(""),
                                          m_parallel, fault);
    if (fault.where) section->file->failAtLine(fault.where, fault.problem);
    return array;
  }

  static void checkCount(const MxDeckSection& section, const MxDeckNumbers& numbers,
                         std::size_t count)
  {
    if (numbers.count != count)
      section.fail("has " + std::to_string(numbers.count) + " numbers where " +
                   std::to_string(count) + " should be");
    checkMemory(section, count);
  }

  void readValues()
  {
    std::string placing;
    for (const MxDeckSection& section : m_deck.getSections()) {
      const std::string_view name = section.name;
      if (name == "SPECGRID" || name == "DIMENS" || name == "COORD" || name == "ZCORN") continue;
      if (std::find(std::begin(kPlacing), std::end(kPlacing), name) != std::end(kPlacing)) {
        placing += (placing.empty() ? "" : ", ") + std::string(name);
        continue;
      }
      if (!startsWithNumber(section.text)) {
        leaveOut(name);
        continue;
      }
      if (m_mesh.sets.size() == kMostArrays && name != kActive) {
        leaveOut(name);
        continue;
      }
      if (&section != find(name)) {
        m_mesh.notes.push_back(std::string(name) + " stands twice; the last one counts.");
        continue;
      }
      readValues(section);
    }
    if (!placing.empty())
      m_mesh.remarks.push_back("Not carried out: " + placing +
                               "; coordinates stay those of the grid.");
  }

  void readValues(const MxDeckSection& section)
  {
    const MxDeckNumbers numbers = mxCountDeckNumbers(section, m_parallel);
    const bool active = section.name == kActive;
    if (active)
      checkCount(section, numbers, m_cells);
    else if (numbers.count != m_cells)
      return leaveOut(section.name);
    checkMemory(section, m_cells);
    MxTextFault fault;
    MxFileArray values;
    if (numbers.whole)
      values = mxReadDeckNumbers(section, numbers, MiScalarType::Int32, active ? 1 : 0, m_parallel,
                                 fault);
    // Whole numbers too large for an integer are numbers all the same.
    if (!numbers.whole || fault.where) {
      fault = {};
      values = mxReadDeckNumbers(section, numbers, MiScalarType::Float64, active ? 1 : std::nan(""),
                                 m_parallel, fault);
    }
    if (fault.where) section.file->failAtLine(fault.where, fault.problem);
    if (numbers.defaults && !active)
      m_mesh.notes.push_back("Values of " + std::string(section.name) +
                             " that are left to their default are " +
                             (values.type == MiScalarType::Int32 ? "0." : "NaN."));
    m_mesh.sets.push_back({std::string(section.name), MiDataBinding::PerCell, 1, values,
                           numbers.defaults && values.type != MiScalarType::Int32});
  }

  static bool startsWithNumber(std::string_view text)
  {
    const char* p = text.data();
    const std::string_view word = mxNextDeckWord(p, p + text.size());
    const std::string_view value = word.substr(word.find('*') + 1);
    double number = 0;
    return !word.empty() &&
           (value.empty() || mxParseNumber(value, number) || (word[0] >= '0' && word[0] <= '9'));
  }

  void leaveOut(std::string_view name)
  {
    if (m_leftOut.size() <= kMostNames &&
        std::find(m_leftOut.begin(), m_leftOut.end(), name) == m_leftOut.end())
      m_leftOut.emplace_back(name);
  }

  void tellLeftOut()
  {
    for (const std::string& name : m_deck.getLeftOut())
      leaveOut(name);
    if (m_leftOut.empty()) return;
    std::string list;
    for (std::size_t i = 0; i < m_leftOut.size(); ++i)
      list += (i ? ", " : "") + (i < kMostNames ? m_leftOut[i] : "and more");
    m_mesh.notes.push_back("Keywords that are left out: " + list + ".");
  }

  const MxFileBytes& m_file;
  const bool m_parallel, m_sharedNodes;
  const MxGrdeclDeck m_deck;
  MxFileMesh m_mesh;
  std::map<std::string_view, const MxDeckSection*> m_sections; ///< the last of each name counts
  std::size_t m_cells = 0;
  std::vector<std::string> m_leftOut;
};

} // namespace

bool mxIsGrdecl(const MxFileBytes& file)
{
  const std::string& path = file.getPath();
  if (path.ends_with(".grdecl") || path.ends_with(".GRDECL")) return true;
  // A capital keyword alone on the first line that is no comment, and a keyword of grids.
  const std::string_view head = file.head();
  std::size_t at = 0;
  for (;;) {
    at = head.find_first_not_of(" \t\r\n", at);
    if (at == head.npos) return false;
    if (!head.substr(at).starts_with("--")) break;
    at = head.find('\n', at);
    if (at == head.npos) return false;
  }
  const std::string_view word = head.substr(at, head.find_first_of(" \t\r\n/", at) - at);
  const bool capital = std::all_of(word.begin(), word.end(), [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  });
  if (!capital || word.size() > 8 || word[0] < 'A') return false;
  for (const std::string_view known :
       {"SPECGRID", "DIMENS", "COORD", "ZCORN", "MAPAXES", "MAPUNITS", "GRIDUNIT", "INCLUDE"})
    if (head.find(known) != head.npos) return true;
  return false;
}

MxFileMesh mxReadGrdecl(const MxFileBytes& file, const MxReadRequest& request)
{
  return GrdeclReader(file, request).run();
}
