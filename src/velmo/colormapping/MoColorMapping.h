#pragma once

#include <velmo/colormapping/MiColorMapping.h>
#include <velmo/nodes/MoActionNode.h>

/// Base of the nodes that say how a scalar becomes a colour for the representations after them.
/// A node that has no usable mapping leaves that of an earlier node in effect.
class MoColorMapping : public MoActionNode
{
  MO_NODE_ABSTRACT_HEADER(MoColorMapping);

public:
  void doAction(SoAction* action) override;

protected:
  MoColorMapping();
  ~MoColorMapping() override;

  const MiScalarColorMapping* m_colorMapping = nullptr; ///< not owned by this base
};
