#include <velmo/colormapping/MoPredefinedColorMapping.h>

#include <velmo/colormapping/MbPredefinedColorMappings.h>

MO_NODE_SOURCE(MoPredefinedColorMapping, MoColorMapping)

MoPredefinedColorMapping::MoPredefinedColorMapping()
{
  SO_NODE_CONSTRUCTOR(MoPredefinedColorMapping);
  SO_NODE_ADD_FIELD(minValue, (0));
  SO_NODE_ADD_FIELD(maxValue, (1));
  SO_NODE_ADD_FIELD(predefColorMap, (NONE));
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, NONE);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, GREY);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, TEMPERATURE);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, PHYSICS);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, STANDARD);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, GLOW);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, BLUE_RED);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, SEISMIC);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, BLUE_WHITE_RED);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, INTENSITY);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, RAINBOW_TURBO);
  SO_NODE_SET_SF_ENUM_TYPE(predefColorMap, PredefColorMap);

  m_maps[GREY] = std::make_unique<MbGreyColorMapping>();
  m_maps[TEMPERATURE] = std::make_unique<MbTemperatureColorMapping>();
  m_maps[PHYSICS] = std::make_unique<MbPhysicsColorMapping>();
  m_maps[STANDARD] = std::make_unique<MbStandardMapping>();
  m_maps[GLOW] = std::make_unique<MbGlowMapping>();
  m_maps[BLUE_RED] = std::make_unique<MbBlueRedMapping>();
  m_maps[SEISMIC] = std::make_unique<MbSeismicMapping>();
  m_maps[BLUE_WHITE_RED] = std::make_unique<MbBlueWhiteRedMapping>();
  m_maps[INTENSITY] = std::make_unique<MbIntensityColorMapping>();
  m_maps[RAINBOW_TURBO] = std::make_unique<MbTurboMapping>();
}

MoPredefinedColorMapping::~MoPredefinedColorMapping() = default;

const MiScalarColorMapping* MoPredefinedColorMapping::getColorMapping()
{
  m_colorMapping = nullptr;
  const auto entry = m_maps.find(predefColorMap.getValue());
  if (entry == m_maps.end()) return nullptr;
  entry->second->setRange(minValue.getValue(), maxValue.getValue());
  return entry->second.get();
}

void MoPredefinedColorMapping::doAction(SoAction* action)
{
  if (predefColorMap.getValue() == NONE) return;
  m_colorMapping = getColorMapping();
  MoColorMapping::doAction(action);
}
