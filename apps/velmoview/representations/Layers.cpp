#include <velmoview/representations/Representation.h>
#include <velmoview/Values.h>

#include <velmo/representations/MoMeshInterpolatedLogicalSlice.h>
#include <velmo/representations/MoMeshLogicalSlice.h>
#include <velmo/representations/MoMeshSlab.h>

#include <limits>
#include <nlohmann/json.hpp>

/// Slices and slabs along the indices of a grid.
namespace velmoview {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::uint32_t kMaxIndex = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kGridKinds = kVolumeKinds & ~kindBit(VOLUME_MESH_UNSTRUCTURED);
constexpr std::uint32_t kSliceKinds = kGridKinds & ~kindBit(VOLUME_MESH_VERTEX_HEXAHEDRON_IJK);

/// I, J or K, and what follows it.
struct AxisText
{
  int axis;
  std::string rest; ///< behind the '='
};

AxisText readAxis(const RepresentationRow& row, const std::string& value)
{
  const std::size_t axis = value.empty() ? std::string::npos : std::string("IJK").find(value[0]);
  if (axis == std::string::npos || value.size() < 2 || value[1] != '=')
    refuseValue(row.option, row.takes, "'" + value + "' does not begin with I=, J= or K=");
  return {static_cast<int>(axis), value.substr(2)};
}

std::string axisName(int axis)
{
  return std::string(1, "IJK"[axis]);
}

std::uint32_t readIndex(const RepresentationRow& row, const std::string& text)
{
  return readCounts(row.option, row.takes, text, ',', 1, 1, 0, kMaxIndex)[0];
}

void checkIndex(const char* option, const Subject& subject, int axis, std::uint32_t index)
{
  const std::size_t count = subject.model.dims[static_cast<std::size_t>(axis)];
  if (index >= count)
    throw UsageError(std::string(option) + " takes cells of the mesh: it has " +
                     std::to_string(count) + " along " + axisName(axis) +
                     ", and they count from 0, so there is no " + std::to_string(index));
}

/// The cell beside one, for going there and back.
std::uint32_t beside(std::uint32_t index)
{
  return index > 0 ? index - 1 : 1;
}

/// A representation at an index of cells along an axis.
template <class Node>
class AtIndex : public RepresentationOf<Node>
{
public:
  explicit AtIndex(const char* option) : m_option(option) {}
  void check(const Subject& subject) const override
  {
    checkIndex(m_option, subject, m_axis, m_index);
  }
  std::string whyEmpty(const MoMeshRepresentation&, const Reach& reach) const override
  {
    return compared("the index of the cells to draw", reach.ofIndices(m_axis),
                    axisName(m_axis) + " = ", m_index);
  }

protected:
  std::uint32_t indexFor(Setting setting) const
  {
    return setting == Setting::Moved ? beside(m_index) : m_index;
  }

  const char* m_option;
  int m_axis = 0;
  std::uint32_t m_index = 0;
};

class LogicalSlice final : public AtIndex<MoMeshLogicalSlice>
{
public:
  LogicalSlice() : AtIndex("--logical-slice") {}
  static std::vector<std::shared_ptr<Representation>> read(const RepresentationRow& row,
                                                           const std::string& value)
  {
    const AxisText text = readAxis(row, value);
    const std::vector<std::string> parts = splitText(text.rest, ',');
    if (parts.size() > 2 || (parts.size() == 2 && parts[1] != "upper"))
      refuseValue(row.option, row.takes, "'" + text.rest + "' is not an index or INDEX,upper");
    auto slice = std::make_shared<LogicalSlice>();
    slice->m_axis = text.axis;
    slice->m_index = readIndex(row, parts[0]);
    slice->m_upper = parts.size() == 2;
    return {slice};
  }
  Json arguments() const override
  {
    return {{"axis", axisName(m_axis)}, {"index", m_index}, {"upper", m_upper}};
  }

protected:
  void setFields(MoMeshLogicalSlice& node, const Subject&, Setting setting) const override
  {
    node.sliceAxis = m_axis;
    node.upperVertex = m_upper;
    node.sliceIndex = indexFor(setting);
  }

private:
  bool m_upper = false;
};

class InterpolatedSlice final : public RepresentationOf<MoMeshInterpolatedLogicalSlice>
{
public:
  static std::vector<std::shared_ptr<Representation>> read(const RepresentationRow& row,
                                                           const std::string& value)
  {
    const AxisText text = readAxis(row, value);
    auto slice = std::make_shared<InterpolatedSlice>();
    slice->m_axis = text.axis;
    slice->m_value = readNumbers(row.option, row.takes, text.rest, 1, 1)[0];
    return {slice};
  }
  Json arguments() const override { return {{"axis", axisName(m_axis)}, {"value", m_value}}; }
  void check(const Subject& subject) const override
  {
    const std::size_t count = subject.model.dims[static_cast<std::size_t>(m_axis)];
    if (m_value < 0 || m_value > static_cast<double>(count))
      throw UsageError("--interpolated-slice takes a value between 0 and " + std::to_string(count) +
                       ", the first and the last nodes of the mesh along " + axisName(m_axis) +
                       ": " + Json(m_value).dump() + " is outside");
  }
  std::string whyEmpty(const MoMeshRepresentation&, const Reach& reach) const override
  {
    ValueRange layers = reach.ofIndices(m_axis);
    layers.max += 1; // nodes
    return compared("what there is to draw", layers, axisName(m_axis) + " = ", m_value);
  }

protected:
  void setFields(MoMeshInterpolatedLogicalSlice& node, const Subject&,
                 Setting setting) const override
  {
    node.sliceAxis = m_axis;
    const auto value = static_cast<float>(m_value);
    node.sliceValue = setting == Setting::Asked ? value : value >= 0.25f ? value - 0.25f : 0.25f;
  }

private:
  int m_axis = 0;
  double m_value = 0;
};

class Slab final : public AtIndex<MoMeshSlab>
{
public:
  Slab() : AtIndex("--slab") {}
  static std::vector<std::shared_ptr<Representation>> read(const RepresentationRow& row,
                                                           const std::string& value)
  {
    const AxisText text = readAxis(row, value);
    const std::vector<std::uint32_t> parts =
        readCounts(row.option, row.takes, text.rest, ',', 1, 2, 0, kMaxIndex);
    auto slab = std::make_shared<Slab>();
    slab->m_axis = text.axis;
    slab->m_index = parts[0];
    if (parts.size() == 2) slab->m_thickness = parts[1];
    if (slab->m_thickness == 0) refuseValue(row.option, row.takes, "a THICKNESS of 0 is nothing");
    return {slab};
  }
  Json arguments() const override
  {
    return {{"axis", axisName(m_axis)}, {"index", m_index}, {"thickness", m_thickness}};
  }

protected:
  void setFields(MoMeshSlab& node, const Subject&, Setting setting) const override
  {
    node.dimension = m_axis;
    node.thickness = m_thickness;
    node.index = indexFor(setting);
  }

private:
  std::uint32_t m_thickness = 1;
};

} // namespace

extern const RepresentationRow kLogicalSliceRow, kInterpolatedSliceRow, kSlabRow;

constinit const RepresentationRow kLogicalSliceRow{
    .option = "--logical-slice",
    .takes = "I=INDEX, J=INDEX or K=INDEX, with ,upper for the far faces",
    .help = "a layer of cell faces of a grid",
    .extracted = Extracted::Surface,
    .kinds = kSliceKinds,
    .read = LogicalSlice::read};

constinit const RepresentationRow kInterpolatedSliceRow{
    .option = "--interpolated-slice",
    .takes = "I=VALUE, J=VALUE or K=VALUE, counted in layers of nodes",
    .help = "a sheet between two layers of nodes of a grid",
    .extracted = Extracted::Surface,
    .kinds = kSliceKinds,
    .read = InterpolatedSlice::read};

constinit const RepresentationRow kSlabRow{
    .option = "--slab",
    .takes = "I=INDEX, J=INDEX or K=INDEX, with ,THICKNESS for several layers",
    .help = "the outer boundary of layers of cells of a grid",
    .extracted = Extracted::Surface,
    .kinds = kGridKinds,
    .read = Slab::read};

} // namespace velmoview
