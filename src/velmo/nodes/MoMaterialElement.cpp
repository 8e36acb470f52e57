#include <velmo/nodes/MoMaterialElement.h>

MO_ELEMENT_SOURCE(MoMaterialElement, SoReplacedElement)

namespace {

void give(const MoMaterialElementValues& values, MoMaterial::ColoringType& faceColoring,
          SbColor& faceColor, MoMaterial::ColoringType& lineColoring, SbColor& lineColor,
          MoMaterial::ColoringType& pointColoring, SbColor& pointColor, float& transparency,
          bool& enhancedColoring)
{
  faceColoring = values.faceColoring;
  faceColor = values.faceColor;
  lineColoring = values.lineColoring;
  lineColor = values.lineColor;
  pointColoring = values.pointColoring;
  pointColor = values.pointColor;
  transparency = values.transparency;
  enhancedColoring = values.enhancedColoring;
}

} // namespace

void MoMaterialElement::set(SoState* state, SoNode* node, MoMaterial::ColoringType faceColoring,
                            const SbColor& faceColor, MoMaterial::ColoringType lineColoring,
                            const SbColor& lineColor, MoMaterial::ColoringType pointColoring,
                            const SbColor& pointColor, float transparency, bool enhancedColoring)
{
  if (auto* values = write(state, node))
    *values = {faceColoring, faceColor,    lineColoring,     lineColor, pointColoring,
               pointColor,   transparency, enhancedColoring, true};
}

MoMaterialElementValues MoMaterialElement::getMaterial(SoState* state)
{
  const auto* values = read(state);
  return values ? *values : MoMaterialElementValues{};
}

bool MoMaterialElement::getMaterial(SoState* state, MoMaterial::ColoringType& faceColoring,
                                    SbColor& faceColor, MoMaterial::ColoringType& lineColoring,
                                    SbColor& lineColor, MoMaterial::ColoringType& pointColoring,
                                    SbColor& pointColor, float& transparency,
                                    bool& enhancedColoring)
{
  const MoMaterialElementValues values = getMaterial(state);
  give(values, faceColoring, faceColor, lineColoring, lineColor, pointColoring, pointColor,
       transparency, enhancedColoring);
  return values.isSet;
}

void MoMaterialElement::getColoringTypes(SoState* state, MoMaterial::ColoringType& face,
                                         MoMaterial::ColoringType& line,
                                         MoMaterial::ColoringType& point)
{
  const MoMaterialElementValues values = getMaterial(state);
  face = values.faceColoring;
  line = values.lineColoring;
  point = values.pointColoring;
}

bool MoMaterialElement::getEnhancedColoring(SoState* state)
{
  return getMaterial(state).enhancedColoring;
}

void MoMaterialElement::getDefault(MoMaterial::ColoringType& faceColoring, SbColor& faceColor,
                                   MoMaterial::ColoringType& lineColoring, SbColor& lineColor,
                                   MoMaterial::ColoringType& pointColoring, SbColor& pointColor,
                                   float& transparency, bool& enhancedColoring)
{
  give(MoMaterialElementValues{}, faceColoring, faceColor, lineColoring, lineColor, pointColoring,
       pointColor, transparency, enhancedColoring);
}
