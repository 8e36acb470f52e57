#pragma once

#include <memory>

#include <velmo/colormapping/MoColorMapping.h>
#include <velmo/colormapping/MoColorTable.h>

class MdLinearColorMapping;

/// Colours interpolated between control values; below the first and above the last their colours.
/// There is one colour for each value.
class MoLinearColorMapping : public MoColorMapping, public MoColorTable
{
  MO_NODE_HEADER(MoLinearColorMapping);

public:
  MoLinearColorMapping();

  void doAction(SoAction* action) override;

protected:
  ~MoLinearColorMapping() override;

private:
  std::unique_ptr<MdLinearColorMapping> m_mapping;
};
