#pragma once

#include <memory>

#include <velmo/colormapping/MoColorMapping.h>
#include <velmo/colormapping/MoColorTable.h>

class MdLevelColorMapping;

/// One flat colour for each interval between consecutive values: one fewer than values.
class MoLevelColorMapping : public MoColorMapping, public MoColorTable
{
  MO_NODE_HEADER(MoLevelColorMapping);

public:
  MoLevelColorMapping();

  void doAction(SoAction* action) override;

protected:
  ~MoLevelColorMapping() override;

private:
  std::unique_ptr<MdLevelColorMapping> m_mapping;
};
