#include <velmo/mesh/MbMeshDump.h>

#include <velmo/mesh/MbMeshSummary.h>
#include <velmo/mesh/views/MxCellView.h>

#include <charconv>
#include <ostream>

namespace {
// Lines are gathered in a string: formatting by std::ostream would follow the locale.
class Line
{
public:
  Line& operator<<(const char* text)
  {
    m_text += text;
    return *this;
  }
  template <class T>
  requires std::is_arithmetic_v<T> Line& operator<<(T number)
  {
    char digits[40];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    m_text += ' ';
    m_text.append(digits, end);
    return *this;
  }
  Line& operator<<(const MbIndex3& counts) { return *this << counts.x << counts.y << counts.z; }
  Line& operator<<(const MbVec3d& point) { return *this << point.x << point.y << point.z; }
  Line& operator<<(const std::string& text)
  {
    m_text += " \"";
    for (const char c : text) {
      if (c == '"' || c == '\\') m_text += '\\';
      if (c == '\n')
        m_text += "\\n";
      else
        m_text += c;
    }
    m_text += '"';
    return *this;
  }
  void end(std::ostream& out)
  {
    m_text += '\n';
    out.write(m_text.data(), static_cast<std::streamsize>(m_text.size()));
    m_text.clear();
  }

private:
  std::string m_text;
};

// Calls write(item) for the items that fit, and counts the others.
template <class Write>
void writeItems(std::ostream& out, std::size_t count, const MbDumpOptions& options,
                const char* what, const Write& write)
{
  const std::size_t written = std::min(count, options.maxItems);
  for (std::size_t item = 0; item < written; ++item)
    write(item);
  if (written < count) {
    Line line;
    line << "left out" << count - written << " " << what;
    line.end(out);
  }
}

void writeSummary(std::ostream& out, const MbMeshSummary& summary)
{
  Line line;
  line << "mesh " << meshTypeName(summary.type);
  line.end(out);
  line << "cells" << summary.cellCount << " dead" << summary.deadCellCount << " counts"
       << summary.cellCounts;
  line.end(out);
  line << "nodes" << summary.nodeCount << " counts" << summary.nodeCounts;
  line.end(out);
  line << "shapes";
  for (const auto& [shape, count] : summary.shapes) {
    const MiCellShapeFacts facts = cellShapeFacts(shape);
    line << " " << facts.name;
    if (facts.dimension < 0) line << static_cast<unsigned>(shape);
    line << count;
  }
  line.end(out);
  line << "bounds";
  if (summary.bounds.isEmpty())
    line << " none";
  else
    line << summary.bounds.min << summary.bounds.max;
  line.end(out);
}

template <class View>
void writeMesh(std::ostream& out, const View& view, const MbDumpOptions& options)
{
  Line line;
  writeItems(out, view.nodeCount(), options, "nodes", [&](std::size_t node) {
    line << "node" << node << view.position(node);
    line.end(out);
  });
  MxCellBuffer buffer;
  writeItems(out, view.cellCount(), options, "cells", [&](std::size_t cell) {
    line << "cell" << cell << " " << cellShapeFacts(view.shape(cell)).name;
    for (const std::size_t node : view.nodes(cell, buffer))
      line << node;
    const std::span<const std::size_t> faces = view.faces(cell, buffer);
    if (!faces.empty()) line << " faces";
    for (const std::size_t number : faces)
      line << number;
    if (view.isDead(cell)) line << " dead";
    line.end(out);
  });
}

template <class T>
constexpr const char* kValueName = "double";
template <>
constexpr const char* kValueName<MbVec3d> = "vec3";
template <>
constexpr const char* kValueName<std::string> = "string";

template <class T, class Get>
void writeValues(std::ostream& out, const MiDataSet& set, const MbIndex3& sizes,
                 const MbDumpOptions& options, const Get& get)
{
  Line line;
  line << "set" << set.getName()
       << (set.getBinding() == MiDataBinding::PerCell ? " PER_CELL " : " PER_NODE ")
       << kValueName<T> << sizes;
  line.end(out);
  writeItems(out, sizes.x * sizes.y * sizes.z, options, "values", [&](std::size_t flat) {
    line << "value" << flat << get(splitIndex(flat, sizes));
    line.end(out);
  });
}

template <class T>
bool writeSet(std::ostream& out, const MiDataSet& set, const MbDumpOptions& options)
{
  if (const auto* rowSet = dynamic_cast<const MiDataSetI<T>*>(&set)) {
    writeValues<T>(out, set, {rowSet->getSize(), 1, 1}, options,
                   [&](const MbIndex3& at) { return rowSet->getValue(at.x); });
    return true;
  }
  if (const auto* planeSet = dynamic_cast<const MiDataSetIj<T>*>(&set)) {
    writeValues<T>(out, set, {planeSet->getSizeI(), planeSet->getSizeJ(), 1}, options,
                   [&](const MbIndex3& at) { return planeSet->getValue(at.x, at.y); });
    return true;
  }
  if (const auto* gridSet = dynamic_cast<const MiDataSetIjk<T>*>(&set)) {
    writeValues<T>(out, set, gridSet->getSizes(), options,
                   [&](const MbIndex3& at) { return gridSet->getValue(at.x, at.y, at.z); });
    return true;
  }
  return false;
}

void writeUnknownSet(std::ostream& out, const MiDataSet& set)
{
  Line line;
  line << "set" << set.getName() << " of unknown values";
  line.end(out);
}
} // namespace

void mbDump(std::ostream& out, const MiMesh& mesh, std::span<const MiDataSet* const> sets,
            const MbDumpOptions& options)
{
  writeSummary(out, mbSummarize(mesh));
  visitCellView(MxAllKinds{}, &mesh, [&](const auto& view) { writeMesh(out, view, options); });
  for (const MiDataSet* set : sets)
    if (set && !writeSet<double>(out, *set, options) && !writeSet<MbVec3d>(out, *set, options) &&
        !writeSet<std::string>(out, *set, options))
      writeUnknownSet(out, *set);
}
