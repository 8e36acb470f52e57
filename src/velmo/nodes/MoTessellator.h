#pragma once

#include <velmo/nodes/MoActionNode.h>
#include <velmo/toolkit/background/MoBorrowed.h>

#include <cstdint>

class MiTessellator;

/// Puts the application's tessellator for higher-order cells into the state. *Ownership*: borrowed,
/// as long as the node refers to it.
class MoTessellator : public MoActionNode
{
  MO_NODE_HEADER(MoTessellator);

public:
  MoTessellator();

  void doAction(SoAction* action) override;

  /// Publishes the tessellator from now on, null for none. Representations extract again after each
  /// call, with the same tessellator too.
  virtual void setTessellator(MiTessellator* tessellator);
  virtual MiTessellator* getTessellator();

protected:
  ~MoTessellator() override = default;
  void copyContents(const SoFieldContainer* from, SbBool copyConnections) override;

private:
  MoBorrowed<MiTessellator> m_tessellator;
  std::uint64_t m_timeStamp = ~std::uint64_t{0};
};
