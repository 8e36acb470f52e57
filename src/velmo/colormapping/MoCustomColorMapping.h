#pragma once

#include <velmo/colormapping/MoColorMapping.h>

/// Colours by a mapping that the application implements.
class MoCustomColorMapping : public MoColorMapping
{
  MO_NODE_HEADER(MoCustomColorMapping);

public:
  MoCustomColorMapping();

  /// @param mapping  borrowed for as long as the node is used; null sets nothing
  void setColorMapping(const MiScalarColorMapping* mapping);
  const MiScalarColorMapping* getColorMapping() const { return m_colorMapping; }

protected:
  ~MoCustomColorMapping() override;
  void copyContents(const SoFieldContainer* from, SbBool copyConnections) override;
};
