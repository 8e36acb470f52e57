#include <velmo/colormapping/MoPredefinedColorMapping.h>

#include <velmo/colormapping/MbPredefinedColorMappings.h>
#include <velmo/colormapping/MxColorTables.h>

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
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, VIRIDIS);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, PLASMA);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, INFERNO);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, MAGMA);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, CIVIDIS);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, BLUES);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, YLGNBU);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, ORRD);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, COOL_WARM);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, RDBU);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, RDYLBU);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, PUOR);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, BRBG);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, PRGN);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, TWILIGHT);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, OKABE_ITO);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, TABLEAU_10);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, SET_2);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, DARK_2);
  SO_NODE_DEFINE_ENUM_VALUE(PredefColorMap, PAIRED);
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
  static_assert(VIRIDIS + kMxColorTableCount == PAIRED + 1);
  for (int i = 0; i < kMxColorTableCount; ++i)
    m_maps[VIRIDIS + i] = std::make_unique<MbTableColorMapping>(kMxColorTables[i]);
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
