#pragma once

#include <map>
#include <memory>

#include <Inventor/fields/SoSFEnum.h>
#include <Inventor/fields/SoSFFloat.h>

#include <velmo/colormapping/MoColorMapping.h>

class MdPredefinedColorMapping;

/// Colours by one of the built-in maps over a range of values.
///
/// The ten up to RAINBOW_TURBO follow formulas, the others are the published tables of those names;
/// of categories, each gets an equal share of the range.
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
    RAINBOW_TURBO = 10,
    VIRIDIS = 11, ///< even steps for the eye, as the next four
    PLASMA = 12,
    INFERNO = 13,
    MAGMA = 14,
    CIVIDIS = 15,    ///< alike for most colour-blind eyes
    BLUES = 16,      ///< from nearly white; as the next two
    YLGNBU = 17,     ///< yellow, green, blue
    ORRD = 18,       ///< orange to red
    COOL_WARM = 19,  ///< blue to red through grey; two-sided, as the next five
    RDBU = 20,       ///< blue, white, red
    RDYLBU = 21,     ///< blue, yellow, red
    PUOR = 22,       ///< purple, white, orange
    BRBG = 23,       ///< brown, white, teal
    PRGN = 24,       ///< purple, white, green
    TWILIGHT = 25,   ///< ends as it begins: for angles and phases
    OKABE_ITO = 26,  ///< eight categories for all eyes
    TABLEAU_10 = 27, ///< ten categories
    SET_2 = 28,      ///< eight light ones
    DARK_2 = 29,     ///< eight dark ones
    PAIRED = 30      ///< six light and dark pairs
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
