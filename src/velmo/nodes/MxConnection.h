#pragma once

#include <vector>

class MoMesh;
class MoMeshRepresentation;

/// What ties a representation to the nodes that publish its result, and to those who extract from
/// that. Shared by all of them, so that each may go first. *Threads*: the traversing thread's.
class MxConnection
{
public:
  /// @param source  calls `end` before it goes
  explicit MxConnection(MoMeshRepresentation& source) : m_source(&source) {}
  MxConnection(const MxConnection&) = delete;
  MxConnection& operator=(const MxConnection&) = delete;

  /// Null when it is gone.
  MoMeshRepresentation* getSource() const { return m_source; }

  /// @param node  borrowed until it is removed
  void add(MoMesh& node) { m_nodes.push_back(&node); }
  void remove(MoMesh& node);
  bool hasNodes() const { return !m_nodes.empty(); }
  /// Touches the nodes, so that all who cache something below them look at it again.
  void tell();
  /// The source goes: the nodes are connected no more.
  void end();

private:
  MoMeshRepresentation* m_source;
  std::vector<MoMesh*> m_nodes;
};
