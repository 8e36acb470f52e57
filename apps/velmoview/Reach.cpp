#include <velmoview/Reach.h>

#include <velmoview/Arrays.h>
#include <velmoview/Coloring.h>
#include <velmoview/Info.h>

#include <velmo/mesh/views/MxCellView.h>

#include <cmath>

namespace velmoview {

namespace {

void includeFinite(ValueRange& range, double value)
{
  if (std::isfinite(value)) range.include(value);
}

std::string goesFrom(const std::string& what, const ValueRange& range)
{
  if (range.isEmpty()) return what + " has no finite value";
  if (range.min == range.max) return what + " is " + shownShort(range.min) + " everywhere";
  return what + " goes from " + shownShort(range.min) + " to " + shownShort(range.max);
}

std::string quoted(const ArrayName& name)
{
  return "'" + shownName(name.text()) + "'";
}

} // namespace

Reach::Reach(const Model& model, const Options& options)
    : m_model(model), m_options(options),
      m_keep(chooseCells(model, options, CellChoice::ByValueAndIndex))
{
  visitCells([&](const auto&, std::size_t) { m_any = true; });
}

template <class Visit>
void Reach::visitCells(const Visit& visit) const
{
  visitCellView(MxAllKinds{}, m_model.mesh, [&](const auto& cells) {
    for (std::size_t c = 0; c < cells.cellCount(); ++c)
      if (!cells.isDead(c) && (m_keep.empty() || m_keep[c])) visit(cells, c);
  });
}

std::string Reach::whyEmpty() const
{
  if (m_model.cells == 0) return m_model.source + " has no cells";
  Options alone;
  if (Reach(m_model, alone).isEmpty())
    return "all cells of " + m_model.source + " are dead: " + std::to_string(m_model.cells);
  for (const ValueFilter& filter : m_options.cells) {
    alone.cells = {filter};
    if (!Reach(m_model, alone).isEmpty()) continue;
    const ValueRange range =
        Reach(m_model, {}).ofArray(findArray(m_model, "--cells", filter.array));
    const bool overlap = !range.isEmpty() && filter.min <= range.max && filter.max >= range.min;
    return "--cells keeps no cell with " + quoted(filter.array) + " from " +
           shownShort(filter.min) + " to " + shownShort(filter.max) + ": " + goesFrom("it", range) +
           (overlap ? ", but no cell lies wholly between" : "");
  }
  if (m_options.cells.empty()) {
    const Reach all(m_model, alone = {});
    std::string text = "--cell-range keeps no live cell: such cells have";
    const int axes = m_model.dims.empty() ? 1 : static_cast<int>(m_model.dims.size());
    for (int axis = 0; axis < axes; ++axis) {
      const ValueRange range = all.ofIndices(axis);
      text += (axis ? ", " : " ") + (axes == 1 ? "numbers" : std::string(1, "IJK"[axis])) +
              " from " + shownShort(range.min) + " to " + shownShort(range.max);
    }
    return text;
  }
  return m_options.cellRange ? "--cells and --cell-range together keep no cell"
                             : "the filters of --cells together keep no cell";
}

ValueRange Reach::ofNodes(const std::function<double(const MbVec3d&)>& numberAt) const
{
  ValueRange range;
  MxCellBuffer buffer;
  visitCells([&](const auto& cells, std::size_t c) {
    for (const std::size_t node : cells.nodes(c, buffer))
      if (node < cells.nodeCount()) includeFinite(range, numberAt(cells.position(node)));
  });
  return range;
}

ValueRange Reach::ofArray(const ModelArray& array) const
{
  ValueRange range;
  MxCellBuffer buffer;
  const auto include = [&](std::size_t item) {
    if (item < array.values.count) includeFinite(range, valueOf(array, item));
  };
  visitCells([&](const auto& cells, std::size_t c) {
    if (array.binding == MiDataBinding::PerCell) return include(c);
    for (const std::size_t node : cells.nodes(c, buffer))
      if (node < cells.nodeCount()) include(cells.dataNode(node));
  });
  return range;
}

ValueRange Reach::ofIndices(int axis) const
{
  ValueRange range;
  visitCells([&](const auto& cells, std::size_t c) {
    const MbIndex3 counts = cells.cellCounts();
    for (int before = 0; before < axis; ++before)
      c /= counts[static_cast<std::size_t>(before)];
    range.include(static_cast<double>(c % counts[static_cast<std::size_t>(axis)]));
  });
  return range;
}

std::string compared(const std::string& what, const ValueRange& range, const std::string& asked,
                     double value)
{
  const std::string text = goesFrom(what, range);
  if (range.isEmpty() || (range.min == range.max && range.min == value)) return text;
  const bool isInside = value >= range.min && value <= range.max;
  return text + (isInside ? ", but there is nothing at " : ", and ") + asked + shownShort(value) +
         (isInside ? "" : " is outside");
}

std::string shownShort(double value)
{
  return shownNumber(value + 0.0, 7); // and no -0
}

} // namespace velmoview
