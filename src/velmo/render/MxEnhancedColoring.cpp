#include <velmo/render/MxEnhancedColoring.h>

#include <Inventor/nodes/SoGroup.h>

MxEnhancedColoring::MxEnhancedColoring(SoGroup* parent) : m_switch(new SoSwitch)
{
  m_switch->setName("EnhancedColoring");
  m_switch->whichChild = SO_SWITCH_NONE;
  parent->addChild(m_switch);
}

void MxEnhancedColoring::deactivate()
{
  if (isActive()) m_switch->whichChild = SO_SWITCH_NONE;
}

bool MxEnhancedColoring::isActive() const
{
  return m_switch->whichChild.getValue() != SO_SWITCH_NONE;
}
