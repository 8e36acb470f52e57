#pragma once

#include <velmo/nodes/MoMaterial.h>
#include <velmo/toolkit/classes/MoReplacedElement.h>

/// What MoMaterialElement carries.
struct MoMaterialElementValues
{
  MoMaterial::ColoringType faceColoring = MoMaterial::CONTOURING;
  SbColor faceColor{1.0f, 1.0f, 1.0f};
  MoMaterial::ColoringType lineColoring = MoMaterial::CONTOURING;
  SbColor lineColor{1.0f, 0.0f, 0.0f};
  MoMaterial::ColoringType pointColoring = MoMaterial::CONTOURING;
  SbColor pointColor{0.0f, 1.0f, 0.0f};
  float transparency = 0.0f;
  bool enhancedColoring = false;
  bool isSet = false; ///< a node has set the element

  friend bool operator==(const MoMaterialElementValues& a, const MoMaterialElementValues& b)
  {
    return a.faceColoring == b.faceColoring && a.faceColor == b.faceColor &&
           a.lineColoring == b.lineColoring && a.lineColor == b.lineColor &&
           a.pointColoring == b.pointColoring && a.pointColor == b.pointColor &&
           a.transparency == b.transparency && a.enhancedColoring == b.enhancedColoring &&
           a.isSet == b.isSet;
  }
};

/// How faces, lines and points are coloured.
class MoMaterialElement : public MoReplacedElement<MoMaterialElement, MoMaterialElementValues>
{
  MO_ELEMENT_HEADER(MoMaterialElement);
  friend class MoReplacedElement<MoMaterialElement, MoMaterialElementValues>;

public:
  static void set(SoState* state, SoNode* node, MoMaterial::ColoringType faceColoring,
                  const SbColor& faceColor, MoMaterial::ColoringType lineColoring,
                  const SbColor& lineColor, MoMaterial::ColoringType pointColoring,
                  const SbColor& pointColor, float transparency, bool enhancedColoring);
  /// Gives the values, the defaults where nothing has set them. Returns whether something has.
  static bool getMaterial(SoState* state, MoMaterial::ColoringType& faceColoring,
                          SbColor& faceColor, MoMaterial::ColoringType& lineColoring,
                          SbColor& lineColor, MoMaterial::ColoringType& pointColoring,
                          SbColor& pointColor, float& transparency, bool& enhancedColoring);
  /// All of that at once; `isSet` says whether something has set it.
  static MoMaterialElementValues getMaterial(SoState* state);
  static void getColoringTypes(SoState* state, MoMaterial::ColoringType& face,
                               MoMaterial::ColoringType& line, MoMaterial::ColoringType& point);
  static bool getEnhancedColoring(SoState* state);
  static void getDefault(MoMaterial::ColoringType& faceColoring, SbColor& faceColor,
                         MoMaterial::ColoringType& lineColoring, SbColor& lineColor,
                         MoMaterial::ColoringType& pointColoring, SbColor& pointColor,
                         float& transparency, bool& enhancedColoring);

protected:
  ~MoMaterialElement() override = default;
};
