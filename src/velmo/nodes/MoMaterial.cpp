#include <velmo/nodes/MoMaterial.h>

#include <velmo/nodes/MoMaterialElement.h>

#include <Inventor/actions/SoAction.h>

MO_NODE_SOURCE(MoMaterial, MoActionNode)

MoMaterial::MoMaterial()
{
  SO_NODE_CONSTRUCTOR(MoMaterial);
  SO_NODE_ADD_FIELD(faceColoring, (CONTOURING));
  SO_NODE_ADD_FIELD(lineColoring, (CONTOURING));
  SO_NODE_ADD_FIELD(pointColoring, (CONTOURING));
  SO_NODE_ADD_FIELD(faceColor, (1.0f, 1.0f, 1.0f));
  SO_NODE_ADD_FIELD(lineColor, (1.0f, 0.0f, 0.0f));
  SO_NODE_ADD_FIELD(pointColor, (0.0f, 1.0f, 0.0f));
  SO_NODE_ADD_FIELD(transparency, (0.0f));
  SO_NODE_ADD_FIELD(enhancedColoring, (FALSE));
  SO_NODE_DEFINE_ENUM_VALUE(ColoringType, COLOR);
  SO_NODE_DEFINE_ENUM_VALUE(ColoringType, CONTOURING);
  SO_NODE_SET_SF_ENUM_TYPE(faceColoring, ColoringType);
  SO_NODE_SET_SF_ENUM_TYPE(lineColoring, ColoringType);
  SO_NODE_SET_SF_ENUM_TYPE(pointColoring, ColoringType);
}

void MoMaterial::doAction(SoAction* action)
{
  const auto type = [](const SoSFEnum& field) {
    return static_cast<ColoringType>(field.getValue());
  };
  MoMaterialElement::set(action->getState(), this, type(faceColoring), faceColor.getValue(),
                         type(lineColoring), lineColor.getValue(), type(pointColoring),
                         pointColor.getValue(), transparency.getValue(),
                         enhancedColoring.getValue());
}
