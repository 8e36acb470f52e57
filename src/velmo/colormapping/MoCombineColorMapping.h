#pragma once

#include <velmo/colormapping/MiColorMapping.h>
#include <velmo/nodes/MoActionNode.h>

/// Colours by a mapping of the application's that looks at one value of each of several data sets.
class MoCombineColorMapping : public MoActionNode
{
  MO_NODE_HEADER(MoCombineColorMapping);

public:
  MoCombineColorMapping();

  /// @param mapping  borrowed for as long as the node is used; null sets nothing
  void setColorMapping(const MiCombineColorMapping* mapping);
  const MiCombineColorMapping* getColorMapping() const { return m_colorMapping; }

  void doAction(SoAction* action) override;

protected:
  ~MoCombineColorMapping() override;
  void copyContents(const SoFieldContainer* from, SbBool copyConnections) override;

private:
  const MiCombineColorMapping* m_colorMapping = nullptr;
};
