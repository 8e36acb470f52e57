#pragma once

#include <velmo/toolkit/SoRef.h>

#include <Inventor/nodes/SoSwitch.h>

class SoGroup;

/// Colours faces by interpolating node values inside each polygon, a fragment at a time. Holds the
/// place of its nodes; there is nothing that could be switched on yet.
class MxEnhancedColoring
{
public:
  explicit MxEnhancedColoring(SoGroup* parent);

  void deactivate();
  bool isActive() const;

private:
  SoRef<SoSwitch> m_switch;
};
