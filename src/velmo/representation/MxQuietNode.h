#pragma once

#include <Inventor/nodes/SoNode.h>

/// Keeps a node from telling others of changes, for its lifetime.
///
/// Building a hidden sub-graph inside a traversal must not be heard above its node: it would ask
/// for a redraw, which builds again, and would drop caches that are just being made.
class MxQuietNode
{
public:
  explicit MxQuietNode(SoNode& node) : m_node(node), m_before(node.enableNotify(FALSE)) {}
  ~MxQuietNode() { m_node.enableNotify(m_before); }
  MxQuietNode(const MxQuietNode&) = delete;
  MxQuietNode& operator=(const MxQuietNode&) = delete;

private:
  SoNode& m_node;
  SbBool m_before;
};
