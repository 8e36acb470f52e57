#include <velmo/render/MxEnhancedColoring.h>

#include <velmo/base/MxCpuBuffer.h>
#include <velmo/base/MxParallel.h>
#include <velmo/colormapping/MdLevelColorMapping.h>
#include <velmo/colormapping/MdLinearColorMapping.h>
#include <velmo/toolkit/shapes/TkShaderObject.h>
#include <velmo/toolkit/shapes/TkShaderProgram.h>
#include <velmo/toolkit/shapes/TkTexture2.h>

#include <Inventor/errors/SoDebugError.h>
#include <Inventor/nodes/SoGroup.h>
#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoShaderParameter.h>
#include <Inventor/nodes/SoTextureUnit.h>

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t kBlock = 65536;
// From here on single precision skips whole numbers.
constexpr std::size_t kExactFloats = std::size_t{1} << 24;

SoShaderParameter1i* makeInteger(const char* name, int value)
{
  auto* parameter = new SoShaderParameter1i;
  parameter->name = name;
  parameter->value = value;
  return parameter;
}

std::size_t largestPolygon(const MeXTopologyExplicitI& topology)
{
  const std::size_t count = topology.getCellCount();
  std::vector<std::size_t> largest(blockCount(count, kBlock));
  forEachBlock(true, count, kBlock, [&](std::size_t block, std::size_t first, std::size_t last) {
    for (std::size_t cell = first; cell < last; ++cell)
      largest[block] = std::max(largest[block], topology.getCellSize(cell));
  });
  return largest.empty() ? 0 : *std::max_element(largest.begin(), largest.end());
}

// A face ends at a negative entry or at the end of the list.
void namePolygons(std::span<const int> indices, std::vector<SbVec3f>& names)
{
  names.clear();
  std::size_t first = 0;
  const auto add = [&](std::size_t end) {
    const auto rounded = static_cast<float>(first);
    // A float may round up: the rest is then negative.
    const auto rest = static_cast<std::ptrdiff_t>(first) - static_cast<std::ptrdiff_t>(rounded);
    names.emplace_back(rounded, static_cast<float>(end - first), static_cast<float>(rest));
    first = end + 1;
  };
  for (std::size_t i = 0; i < indices.size(); ++i)
    if (indices[i] < 0) add(i);
  if (first < indices.size()) add(indices.size());
}

} // namespace

MxEnhancedColoring::MxEnhancedColoring(SoGroup* parent, int maxTextureSize)
    : m_switch(new SoSwitch), m_program(new TkShaderProgram),
      m_fragmentShader(new TkFragmentShader), m_maxTextureSize(maxTextureSize)
{
  if (m_maxTextureSize < 0) {
    SoDebugError::postWarning("MxEnhancedColoring constructor", "Invalid max texture size.");
    m_maxTextureSize = 0;
  }
  m_switch->setName("EnhancedColoring");
  m_switch->whichChild = SO_SWITCH_NONE;
  // The normals, which only lit shapes send, tell the program where it is.
  auto* lit = new SoLightModel;
  lit->model = SoLightModel::PHONG;
  m_switch->addChild(lit);
  for (std::size_t i = 0; i < m_images.size(); ++i) {
    auto* unit = new SoTextureUnit;
    unit->unit = static_cast<int>(i) + 1;
    m_switch->addChild(unit);
    m_images[i].reset(new TkTexture2);
    m_images[i]->wrapS = SoTexture2::CLAMP;
    m_images[i]->wrapT = SoTexture2::CLAMP;
    m_switch->addChild(m_images[i]);
  }
  m_switch->addChild(new SoTextureUnit);

  auto* vertexShader = new TkVertexShader;
  vertexShader->sourceType = SoShaderObject::FILENAME;
  vertexShader->sourceProgram = "enhancedColoring_vert.glsl";
  vertexShader->parameter.set1Value(0, makeInteger("lightCount", 0));
  m_fragmentShader->sourceType = SoShaderObject::FILENAME;
  m_fragmentShader->sourceProgram = "enhancedColoring_frag.glsl";
  setInteger("FSIndices", 1);
  setInteger("FSVertices", 2);
  setInteger("FSValues", 3);
  setNumber("MaxTextureSize", static_cast<float>(m_maxTextureSize));
  m_program->shaderObject.set1Value(0, m_fragmentShader);
  m_program->shaderObject.set1Value(1, vertexShader);
  m_program->setCondition([this](SoState* state) { return canRun(state); });
  m_switch->addChild(m_program);
  parent->addChild(m_switch);
  deactivate();
}

MxEnhancedColoring::~MxEnhancedColoring()
{
  m_program->setCondition([](SoState*) { return false; });
}

bool MxEnhancedColoring::isActive() const
{
  return m_switch->whichChild.getValue() != SO_SWITCH_NONE;
}

void MxEnhancedColoring::deactivate()
{
  if (isActive()) m_switch->whichChild = SO_SWITCH_NONE;
  for (const auto& image : m_images)
    image->setFloats({}, 1, 1);
  m_stamps = {};
  m_mapping = nullptr;
}

bool MxEnhancedColoring::refuse()
{
  SoDebugError::postWarning("MxEnhancedColoring::activate",
                            "Cannot use shader for enhanced coloring.");
  return false;
}

// Asked at every drawing, because a scene may move to another context.
bool MxEnhancedColoring::canRun(SoState* state)
{
  const std::size_t numbers = 8 * m_tableSize + 64;
  std::size_t width = 0;
  for (const std::size_t count : {m_indices.size(), m_values.size()})
    width = std::max(width, std::min(count, static_cast<std::size_t>(m_maxTextureSize)));
  const bool able = MxGlCapabilities::canFetchFloats(state, width, numbers);
  if (!able && !m_warned) {
    m_warned = true;
    refuse();
  }
  return able;
}

bool MxEnhancedColoring::activate(const MiScalarColorMapping& mapping,
                                  const MeXSurfaceMeshUnstructured& surface,
                                  const MiDataSetI<double>& values, float opacity,
                                  const std::optional<SbColorRGBA>& undefined)
{
  const auto hide = [&] {
    deactivate();
    return false;
  };
  const auto* indices = dynamic_cast<const MxCpuBuffer<int>*>(surface.topology.getBuffer());
  const auto* vertices = dynamic_cast<const MxCpuBuffer<MbVec3f>*>(surface.geometry.getBuffer());
  const std::size_t capacity =
      static_cast<std::size_t>(m_maxTextureSize) * static_cast<std::size_t>(m_maxTextureSize);
  if (!indices || !vertices || indices->array.size() >= capacity ||
      vertices->array.size() >= std::min(capacity, kExactFloats) ||
      values.getSize() != vertices->array.size())
  {
    hide();
    return refuse();
  }
  if (m_stamps.topology != surface.topology.getTimeStamp())
    m_largestPolygon = static_cast<int>(largestPolygon(surface.topology));
  if (m_largestPolygon < 4) return hide();

  setVertexTextures(surface, values);
  if (m_mapping != &mapping || m_stamps.mapping != mapping.getTimeStamp() || m_opacity != opacity ||
      m_undefined != undefined)
  {
    m_mapping = &mapping;
    m_stamps.mapping = mapping.getTimeStamp();
    m_opacity = opacity;
    m_undefined = undefined;
    m_transparent = undefined && (*undefined)[3] * opacity < 1;
    setInteger("UndefinedEnable", undefined.has_value());
    setColor("UndefinedColor", undefined.value_or(SbColorRGBA(0, 0, 0, 0)));
    if (const auto* linear = dynamic_cast<const MdLinearColorMapping*>(&mapping))
      setFragmentShaderLinearCM(*linear);
    else if (const auto* level = dynamic_cast<const MdLevelColorMapping*>(&mapping))
      setFragmentShaderLevelCM(*level);
    else
      setFragmentShaderCM(mapping);
  }
  if (m_tableSize == 0) return hide();
  if (!isActive()) m_switch->whichChild = SO_SWITCH_ALL;
  return true;
}

void MxEnhancedColoring::setVertexTextures(const MeXSurfaceMeshUnstructured& surface,
                                           const MiDataSetI<double>& values)
{
  const auto changed = [](std::optional<std::uint64_t>& stamp, std::uint64_t present) {
    return std::exchange(stamp, present) != present;
  };
  if (changed(m_stamps.topology, surface.topology.getTimeStamp())) {
    const std::span<const int> indices =
        static_cast<const MxCpuBuffer<int>*>(surface.topology.getBuffer())->array.span();
    namePolygons(indices, m_polygonNames);
    m_indices.resize(indices.size());
    forEachBlock(true, indices.size(), kBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   for (std::size_t i = first; i < last; ++i)
                     m_indices[i] = static_cast<float>(indices[i]);
                 });
    m_images[Indices]->setFloats(m_indices, 1, m_maxTextureSize);
    m_fragmentShader->setDefine("NUMVERTICES", std::to_string(m_largestPolygon).c_str());
    setInteger("TotalNumIndices", static_cast<int>(indices.size()));
  }
  if (changed(m_stamps.geometry, surface.geometry.getTimeStamp())) {
    const auto& points = surface.geometry.points();
    static_assert(sizeof(MbVec3f) == 3 * sizeof(float));
    m_images[Vertices]->setFloats(
        {reinterpret_cast<const float*>(points.data()), 3 * points.size()}, 3, m_maxTextureSize);
    setInteger("TotalNumVertices", static_cast<int>(points.size()));
  }
  if (changed(m_stamps.values, values.getTimeStamp())) {
    m_values.resize(values.getSize());
    for (std::size_t i = 0; i < m_values.size(); ++i)
      m_values[i] = static_cast<float>(values.getValue(i));
    m_images[Values]->setFloats(m_values, 1, m_maxTextureSize);
  }
}

void MxEnhancedColoring::setFragmentShaderLinearCM(const MdLinearColorMapping& mapping)
{
  std::vector<double> levels;
  std::vector<SbColorRGBA> colors;
  for (const auto& [value, color] : mapping.colors()) {
    levels.push_back(value);
    colors.push_back(color);
  }
  setTables(levels, colors, false);
  setThresholds(mapping);
}

void MxEnhancedColoring::setFragmentShaderLevelCM(const MdLevelColorMapping& mapping)
{
  setTables(mapping.levels(), mapping.colors(), true);
  setThresholds(mapping);
}

void MxEnhancedColoring::setFragmentShaderCM(const MiScalarColorMapping& mapping)
{
  constexpr int kSamples = 10;
  double min = 0, max = 0;
  mapping.getRange(min, max);
  std::vector<double> levels;
  std::vector<SbColorRGBA> colors;
  for (int i = 0; i < kSamples; ++i) {
    // From zero, not from the mapping's first value: so it is known to users of these maps.
    levels.push_back(i * (max - min) / (kSamples - 1));
    colors.push_back(mapping.getColor(levels.back()));
  }
  setTables(levels, colors, false);
  setInteger("MinThresholdEnable", 0);
  setInteger("MaxThresholdEnable", 0);
}

template <class Mapping>
void MxEnhancedColoring::setThresholds(const Mapping& mapping)
{
  const auto& low = mapping.minThreshold();
  const auto& high = mapping.maxThreshold();
  setInteger("MinThresholdEnable", low.enabled);
  setNumber("MinThresholdValue", static_cast<float>(low.value));
  setColor("MinThresholdColor", low.color);
  setInteger("MaxThresholdEnable", high.enabled);
  setNumber("MaxThresholdValue", static_cast<float>(high.value));
  setColor("MaxThresholdColor", high.color);
  m_transparent = m_transparent || (low.enabled && low.color[3] * m_opacity < 1) ||
                  (high.enabled && high.color[3] * m_opacity < 1);
}

void MxEnhancedColoring::setTables(const std::vector<double>& levels,
                                   const std::vector<SbColorRGBA>& colors, bool useLevel)
{
  m_tableSize = colors.empty() ? 0 : levels.size();
  if (m_tableSize == 0) return;
  std::vector<float> numbers(levels.begin(), levels.end());
  std::vector<SbVec4f> shades;
  for (const SbColorRGBA& color : colors) {
    shades.push_back(faded(color));
    m_transparent = m_transparent || shades.back()[3] < 1;
  }
  m_fragmentShader->setDefine("NUMLEVELS", std::to_string(numbers.size()).c_str());
  m_fragmentShader->setDefine("NUMCOLORS", std::to_string(shades.size()).c_str());
  if (std::is_sorted(numbers.begin(), numbers.end()))
    m_fragmentShader->removeDefine("UNSORTED");
  else
    m_fragmentShader->setDefine("UNSORTED");
  auto& levelArray = parameter<SoShaderParameterArray1f>("ColorMapLevels");
  levelArray.value.setNum(0);
  levelArray.value.setValues(0, static_cast<int>(numbers.size()), numbers.data());
  auto& colorArray = parameter<SoShaderParameterArray4f>("ColorMapValues");
  colorArray.value.setNum(0);
  colorArray.value.setValues(0, static_cast<int>(shades.size()), shades.data());
  setInteger("UseLevel", useLevel);
}

SbColorRGBA MxEnhancedColoring::faded(const SbColorRGBA& color)
{
  return {color[0], color[1], color[2], color[3] * m_opacity};
}

template <class Parameter>
Parameter& MxEnhancedColoring::parameter(const char* name)
{
  SoMFNode& parameters = m_fragmentShader->parameter;
  for (int i = 0; i < parameters.getNum(); ++i) {
    auto* present = static_cast<Parameter*>(parameters[i]);
    if (present->name.getValue() == name) return *present;
  }
  auto* made = new Parameter;
  made->name = name;
  parameters.set1Value(parameters.getNum(), made);
  return *made;
}

void MxEnhancedColoring::setInteger(const char* name, int value)
{
  parameter<SoShaderParameter1i>(name).value = value;
}

void MxEnhancedColoring::setNumber(const char* name, float value)
{
  parameter<SoShaderParameter1f>(name).value = value;
}

void MxEnhancedColoring::setColor(const char* name, const SbColorRGBA& color)
{
  parameter<SoShaderParameter4f>(name).value = faded(color);
}
