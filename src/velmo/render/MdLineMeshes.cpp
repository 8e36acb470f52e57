#include <velmo/render/MdLineMeshes.h>

#include <Inventor/nodes/SoGroup.h>
#include <Inventor/nodes/SoSeparator.h>

MdLineMeshes::MdLineMeshes(SoGroup* parent) : m_group(new SoGroup)
{
  m_group->setName("Lines_Display");
  parent->insertChild(m_group, 0);
}

MdLineMeshes::~MdLineMeshes() = default;

void MdLineMeshes::resize(std::size_t count)
{
  while (m_builders.size() > count) {
    m_group->removeChild(m_builders.back()->getSeparator());
    m_builders.pop_back();
  }
  while (m_builders.size() < count)
    m_builders.push_back(std::make_unique<MdLineMesh>(m_group));
}

void MdLineMeshes::rayPick(SoRayPickAction* action)
{
  for (const auto& builder : m_builders)
    builder->rayPick(action);
}
