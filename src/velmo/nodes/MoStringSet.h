#pragma once

#include <velmo/nodes/MoSetNode.h>
#include <velmo/nodes/MoStringSetElement.h>

/// Appends a string set of any numbering to the state.
class MoStringSet : public MoSetNode<MoStringSetElement>
{
  MO_NODE_HEADER(MoStringSet);

public:
  MoStringSet();

  /// Publishes the set from now on, null for none. A set that is numbered by none of I, (I, J) and
  /// (I, J, K) gets a warning and leaves the node without a set.
  virtual void setStringSet(const MiTypedDataSet<std::string>* set);
  virtual void reset();
  virtual const MiTypedDataSet<std::string>* getStringSet() const;

protected:
  ~MoStringSet() override = default;
};
