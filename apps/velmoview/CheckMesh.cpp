#include <velmoview/CheckMesh.h>

#include <velmoview/Info.h>

#include <velmo/extraction/algorithms/check/MbMeshFaults.h>

namespace velmoview {

namespace {

using Rows = std::vector<std::vector<std::string>>;

/// A number as the mesh counts: by itself, or along its axes.
std::string shownIndex(std::size_t number, const std::vector<std::size_t>& counts)
{
  if (counts.size() < 2) return std::to_string(number);
  std::string text = "(";
  for (std::size_t axis = 0; axis + 1 < counts.size(); ++axis, text += ",") {
    text += std::to_string(number % counts[axis]);
    number /= counts[axis];
  }
  return text + std::to_string(number) + ")";
}

std::string shownList(const std::vector<std::size_t>& first, std::size_t count,
                      const std::vector<std::size_t>& counts)
{
  std::string text;
  for (std::size_t n = 0; n < first.size(); ++n)
    // Several faces of one cell may be concerned.
    if (n == 0 || first[n] != first[n - 1])
      text += (text.empty() ? "" : " ") + shownIndex(first[n], counts);
  // Fewer than there are may be all the same: faces of one cell, components of one value.
  constexpr std::size_t kMost = 10;
  return first.size() < count && first.size() >= kMost ? text + " ..." : text;
}

/// A sentence in lines that a terminal shows whole.
std::string wrapped(const std::string& sentence)
{
  constexpr std::size_t kWidth = 78;
  std::string text = sentence + "\n";
  for (std::size_t line = 0; text.size() - line > kWidth + 1;) {
    const std::size_t blank = text.rfind(' ', line + kWidth);
    if (blank == text.npos || blank < line) break;
    text[blank] = '\n';
    line = blank + 1;
  }
  return text;
}

} // namespace

MeshVerdict checkMesh(const Model& model, bool parallel, ProgressBar* bar)
{
  if (bar) bar->begin("checking " + model.source);
  const MbMeshFaults faults = mbFindFaults(*model.mesh, parallel, [bar](double done) {
    if (bar) bar->set(done);
  });
  if (bar) bar->finish();
  std::vector<std::size_t> nodeCounts;
  if (model.kind != VOLUME_MESH_HEXAHEDRON_IJK)
    for (const std::size_t count : model.dims)
      nodeCounts.push_back(count + 1);
  MeshVerdict verdict{{}, faults.isFaulty()};
  Rows wrong, remarks;
  std::string clean;
  for (std::size_t f = 0; f < kMbMeshFaultCount; ++f) {
    const auto fault = static_cast<MbMeshFault>(f);
    const MbMeshFinding& found = faults[fault];
    const std::string name = mbFaultName(fault, model.kind);
    if (found.isImpossible) continue;
    if (found.count == 0) {
      // Without the explanation that follows a comma.
      clean += (clean.empty() ? "" : ", ") + name.substr(0, name.find(','));
      continue;
    }
    (found.isRemark ? remarks : wrong)
        .push_back(
            {std::to_string(found.count), name,
             shownList(found.first, found.count, mbIsOfNodes(fault) ? nodeCounts : model.dims)});
  }
  for (const ModelArray& array : model.arrays) {
    const MbValueFaults found = mbFindFaults(array.values, array.components, parallel);
    const std::size_t count = found.nanCount + found.infiniteCount;
    if (count == 0) continue;
    const bool perNode = array.binding == MiDataBinding::PerNode;
    const std::string first = shownList(found.first, count, perNode ? nodeCounts : model.dims);
    const std::string where =
        " '" + shownName(array.name) + (perNode ? "' per node" : "' per cell");
    // What the file has no value for.
    const bool isMeant = array.isPartial && found.infiniteCount == 0;
    (isMeant ? remarks : wrong)
        .push_back({std::to_string(count),
                    (isMeant ? "missing values of" : "values that are not finite in") + where,
                    first});
    verdict.isFaulty |= !isMeant;
  }
  std::string& text = verdict.text;
  text = model.source + ": " + std::to_string(model.cells) + " cells" +
         (model.deadCells ? " (" + std::to_string(model.deadCells) + " dead, not looked at)" : "") +
         ", " + std::to_string(model.nodes) + " nodes\n";
  const auto addTable = [&](const char* title, Rows rows) {
    if (rows.empty()) return;
    rows.insert(rows.begin(), {"count", "what", "first"});
    text += std::string("\n") + title + "\n" + textTable(rows, {true, false, false}, "  ");
  };
  addTable("Wrong", wrong);
  addTable("May be meant", remarks);
  if (faults.isMirrored) text += "\nThe cells are mirrored: the axes are left-handed.\n";
  if (!clean.empty()) text += "\n" + wrapped("None of these: " + clean + ".");
  text += verdict.isFaulty ? "\nSomething is wrong with this mesh.\n"
                           : "\nNothing is wrong with this mesh.\n";
  return verdict;
}

} // namespace velmoview
