#pragma once

#include <map>
#include <memory>

#include <Inventor/fields/SoSFEnum.h>
#include <Inventor/fields/SoSFFloat.h>

#include <velmo/colormapping/MoColorMapping.h>

class MdPredefinedColorMapping;

/// Colours by one of ten built-in maps over a range of values.
class MoPredefinedColorMapping : public MoColorMapping
{
  MO_NODE_HEADER(MoPredefinedColorMapping);

public:
  enum PredefColorMapping
  {
    NONE = 0, ///< sets no mapping
    GREY = 1,
    TEMPERATURE = 2,
    PHYSICS = 3,
    STANDARD = 4,
    GLOW = 5,
    BLUE_RED = 6,
    SEISMIC = 7,
    BLUE_WHITE_RED = 8,
    INTENSITY = 9,
    RAINBOW_TURBO = 10
  };

  SoSFFloat minValue;      ///< the value at the start of the map, 0 at first
  SoSFFloat maxValue;      ///< the value at its end, 1 at first; not flipped when below minValue
  SoSFEnum predefColorMap; ///< NONE at first

  MoPredefinedColorMapping();

  /// The chosen map over the range of the fields; null for NONE. Owned by the node.
  const MiScalarColorMapping* getColorMapping();

  void doAction(SoAction* action) override;

protected:
  ~MoPredefinedColorMapping() override;

private:
  std::map<int, std::unique_ptr<MdPredefinedColorMapping>> m_maps;
};
