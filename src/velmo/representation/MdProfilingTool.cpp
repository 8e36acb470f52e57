#include <velmo/representation/MdProfilingTool.h>

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/mesh/views/MxCells.h>
#include <velmo/toolkit/classes/SoPreferences.h>

#include <Inventor/actions/SoAction.h>
#include <Inventor/SbName.h>

#include <cstdio>
#include <exception>
#include <tuple>
#include <utility>

namespace {

constexpr const char* kPreference = "VELMORA_PROFILE";

double millisecondsBetween(std::chrono::steady_clock::time_point a,
                           std::chrono::steady_clock::time_point b)
{
  return std::chrono::duration<double, std::milli>(b - a).count();
}

/// Cells, and nodes as data sets per node number them.
template <MeshType K, class Mesh>
std::pair<std::size_t, std::size_t> countsOf(const Mesh& mesh)
{
  const auto& topology = mesh.getTopology();
  const auto& geometry = mesh.getGeometry();
  if constexpr (requires {
                  topology.getCellCount();
                  geometry.getNodeCount();
                })
  {
    return {topology.getCellCount(), geometry.getNodeCount()};
  } else {
    const MbIndex3 n = cellCountsOf(topology);
    const std::size_t cells = n.x * n.y * n.z;
    if constexpr (requires { geometry.getNodeCount(); })
      return {cells, geometry.getNodeCount()};
    else
      return {cells, (n.x + 1) * (MxMeshKind<K>::kIndexing == MxIndexing::I ? 1 : n.y + 1) *
                         (MxMeshKind<K>::kIndexing == MxIndexing::Ijk ? n.z + 1 : 1)};
  }
}

/// A value stands for itself: no blanks, and never empty.
std::string word(const char* text)
{
  std::string word = text && *text ? text : "-";
  for (char& c : word)
    if (static_cast<unsigned char>(c) <= ' ') c = '_';
  return word;
}

void write(const char* line)
{
  const std::string target = SoPreferences::getString(kPreference, "");
  SbBool isSwitch = TRUE;
  SoPreferences::getBool(kPreference, FALSE, isSwitch);
  // Opened for each line, so that several programs may share a file and nothing is lost in a crash.
  std::FILE* file = isSwitch ? nullptr : std::fopen(target.c_str(), "a");
  std::fputs(line, file ? file : stderr);
  if (file) std::fclose(file);
}

} // namespace

std::unique_ptr<MdProfilingTool> MdProfilingTool::create()
{
  SbBool isSwitch = TRUE;
  const bool isOn = SoPreferences::getBool(kPreference, FALSE, isSwitch);
  const bool namesFile = !isSwitch && !SoPreferences::getString(kPreference, "").empty();
  return isOn || namesFile ? std::unique_ptr<MdProfilingTool>(new MdProfilingTool) : nullptr;
}

MdProfilingTool::MdProfilingTool() = default;
MdProfilingTool::~MdProfilingTool() = default;

MdProfilingTool::Size MdProfilingTool::sizeOf(const MiMesh* mesh, MeshType type)
{
  Size size{type};
  visitMeshKind(MxAllKinds{}, type, [&]<MeshType K>() {
    const auto* typed = dynamic_cast<const typename MxMeshKind<K>::Interface*>(mesh);
    if (!typed) return;
    std::tie(size.cellCount, size.nodeCount) = countsOf<K>(*typed);
  });
  return size;
}

void MdProfilingTool::beforeExtraction(const char* nodeName, const char* typeName, SoAction* action)
{
  m_node = word(nodeName);
  m_type = word(typeName);
  m_action = action ? word(action->getTypeId().getName().getString()) : "-";
  m_output = {};
  m_before = m_after = Clock::now();
}

void MdProfilingTool::afterExtraction(const MiMesh* mesh, MeshType type)
{
  m_output = sizeOf(mesh, mesh ? type : UNDEFINED_MESH);
  m_after = Clock::now();
}

void MdProfilingTool::afterTraversal()
{
  std::vector<Extraction> ended;
  {
    const std::lock_guard lock(m_mutex);
    ended.swap(m_ended);
  }
  double here = 0; // of the extractions, in this thread and since `before`
  for (const Extraction& extraction : ended)
    if (extraction.thread == std::this_thread::get_id()) here += extraction.milliseconds;
  const double build = millisecondsBetween(m_before, m_after) - here;
  const double traverse = millisecondsBetween(m_after, Clock::now());
  for (const Extraction& extraction : ended) {
    const Size output = extraction.wasStopped ? Size{} : m_output;
    char numbers[256];
    std::snprintf(numbers, sizeof numbers,
                  "in_nodes=%zu in_cells=%zu out_nodes=%zu out_cells=%zu extract_ms=%.3f "
                  "build_ms=%.3f traverse_ms=%.3f",
                  m_input.nodeCount, m_input.cellCount, output.nodeCount, output.cellCount,
                  extraction.milliseconds, build, traverse);
    const bool isHere = extraction.thread == std::this_thread::get_id();
    write(("velmo-profile node=" + m_node + " type=" + m_type +
           " extractor=" + word(extraction.extractor.c_str()) +
           " mesh=" + meshTypeName(m_input.type) + " out=" + meshTypeName(output.type) + " " +
           numbers + " thread=" + (isHere ? "traversal" : "background") +
           " result=" + (extraction.wasStopped ? "stopped" : "done") + " action=" + m_action + "\n")
              .c_str());
  }
}

void MdProfilingTool::setInputMesh(const MiMesh* mesh, MeshType type)
{
  m_input = sizeOf(mesh, type);
}

void MdProfilingTool::beginExtract(const std::string& name, std::size_t phaseCount)
{
  MdForwardingCallback::beginExtract(name, phaseCount);
  const std::lock_guard lock(m_mutex);
  m_running = {name, std::this_thread::get_id(), Clock::now()};
}

void MdProfilingTool::endExtract()
{
  {
    const std::lock_guard lock(m_mutex);
    m_running.milliseconds = millisecondsBetween(m_running.begin, Clock::now());
    // An extraction that ends by an exception, a cancellation too, says so on the way out.
    m_running.wasStopped = std::uncaught_exceptions() > 0;
    m_ended.push_back(m_running);
  }
  MdForwardingCallback::endExtract();
}
