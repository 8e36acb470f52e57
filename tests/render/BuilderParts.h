#pragma once

#include <velmo/colormapping/MdLinearColorMapping.h>

#include <Inventor/nodes/SoGroup.h>

#include <string>
#include <vector>

/// Black at 0, white at 5.
class GreyMapping
{
public:
  GreyMapping() { setWhite(5); }
  void setWhite(double value)
  {
    mapping.setColors({{0.0, SbColorRGBA(0, 0, 0, 1)}, {value, SbColorRGBA(1, 1, 1, 1)}});
  }
  MdLinearColorMapping mapping;
};

/// The names of the children, or of their classes where they have none.
inline std::vector<std::string> childrenOf(const SoGroup* group)
{
  std::vector<std::string> names;
  for (int i = 0; i < group->getNumChildren(); ++i) {
    const SoNode* child = group->getChild(i);
    const SbName name = child->getName();
    names.emplace_back(name.getLength() > 0 ? name.getString()
                                            : child->getTypeId().getName().getString());
  }
  return names;
}
