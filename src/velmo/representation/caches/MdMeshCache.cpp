#include <velmo/representation/caches/MdMeshCache.h>

#include <velmo/nodes/MoMeshElement.h>

MdMeshCache::MdMeshCache(SoState* state) : MdCache(state)
{
  m_mesh = MoMeshElement::getMesh(state, m_type, m_timeStamp);
  addDependency(state, MoMeshElement::getClassStackIndex());
}

bool MdMeshCache::isValid(const SoState* state, bool& meshChanged) const
{
  meshChanged = false;
  if (SoCache::isValid(state)) return true;
  const SoElement* invalid = getInvalidElement(state);
  const int meshIndex = MoMeshElement::getClassStackIndex();
  if (!invalid || invalid->getStackIndex() != meshIndex) return true;
  const auto* element = static_cast<const MoMeshElement*>(state->getConstElement(meshIndex));
  meshChanged = !element || element->getTimeStamp() != m_timeStamp;
  return false;
}
