#include <velmo/nodes/MxConnection.h>

#include <velmo/nodes/MoMesh.h>

#include <algorithm>

void MxConnection::remove(MoMesh& node)
{
  std::erase(m_nodes, &node);
}

void MxConnection::tell()
{
  // A sensor that fires at once may connect and disconnect.
  const std::vector<MoMesh*> nodes = m_nodes;
  for (MoMesh* node : nodes)
    if (std::find(m_nodes.begin(), m_nodes.end(), node) != m_nodes.end()) node->touch();
}

void MxConnection::end()
{
  m_source = nullptr;
  while (!m_nodes.empty())
    m_nodes.back()->endConnection();
}
