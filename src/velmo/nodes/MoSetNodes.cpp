// The data set nodes; what they do in a traversal is in MoSetNode.
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/nodes/MoScalarSetI.h>
#include <velmo/nodes/MoScalarSetIj.h>
#include <velmo/nodes/MoScalarSetIjk.h>
#include <velmo/nodes/MoStringSet.h>
#include <velmo/nodes/MoVec3SetI.h>
#include <velmo/nodes/MoVec3SetIj.h>
#include <velmo/nodes/MoVec3SetIjk.h>

#include <Inventor/errors/SoDebugError.h>

namespace {

template <class T>
bool isNumbered(const MiTypedDataSet<T>* set)
{
  return dynamic_cast<const MiDataSetI<T>*>(set) || dynamic_cast<const MiDataSetIj<T>*>(set) ||
         dynamic_cast<const MiDataSetIjk<T>*>(set);
}

} // namespace

MO_NODE_SOURCE(MoScalarSet, MoActionNode)

MoScalarSet::MoScalarSet()
{
  SO_NODE_CONSTRUCTOR(MoScalarSet);
}

void MoScalarSet::setScalarSet(const MiTypedDataSet<double>* set)
{
  m_set = set;
  touch();
  if (!set || isNumbered(set)) return;
  SoDebugError::postWarning(
      "MoScalarSet::setScalarSet",
      "ScalarSet must be of type MiScalardSetI, MiScalardSetIj or MiScalardSetIjk.");
  m_set = nullptr;
}

void MoScalarSet::reset()
{
  m_set = nullptr;
  touch();
}

const MiTypedDataSet<double>* MoScalarSet::getScalarSet() const
{
  return m_set;
}

MO_NODE_SOURCE(MoStringSet, MoActionNode)

MoStringSet::MoStringSet()
{
  SO_NODE_CONSTRUCTOR(MoStringSet);
}

void MoStringSet::setStringSet(const MiTypedDataSet<std::string>* set)
{
  m_set = set;
  touch();
  if (!set || isNumbered(set)) return;
  SoDebugError::postWarning(
      "MoStringSet::setStringSet",
      "StringSet must be of type MiStringSetI, MiStringSetIj or MiStringSetIjk.");
  m_set = nullptr;
}

void MoStringSet::reset()
{
  m_set = nullptr;
  touch();
}

const MiTypedDataSet<std::string>* MoStringSet::getStringSet() const
{
  return m_set;
}

MO_NODE_SOURCE(MoScalarSetI, MoActionNode)

MoScalarSetI::MoScalarSetI()
{
  SO_NODE_CONSTRUCTOR(MoScalarSetI);
}

void MoScalarSetI::setScalarSet(const MiDataSetI<double>* set)
{
  m_set = set;
}

const MiDataSetI<double>* MoScalarSetI::getScalarSet() const
{
  return m_set;
}

MO_NODE_SOURCE(MoScalarSetIj, MoActionNode)

MoScalarSetIj::MoScalarSetIj()
{
  SO_NODE_CONSTRUCTOR(MoScalarSetIj);
}

void MoScalarSetIj::setScalarSet(const MiDataSetIj<double>* set)
{
  m_set = set;
}

const MiDataSetIj<double>* MoScalarSetIj::getScalarSet() const
{
  return m_set;
}

MO_NODE_SOURCE(MoScalarSetIjk, MoActionNode)

MoScalarSetIjk::MoScalarSetIjk()
{
  SO_NODE_CONSTRUCTOR(MoScalarSetIjk);
}

void MoScalarSetIjk::setScalarSet(const MiDataSetIjk<double>* set)
{
  m_set = set;
}

const MiDataSetIjk<double>* MoScalarSetIjk::getScalarSet() const
{
  return m_set;
}

MO_NODE_SOURCE(MoVec3SetI, MoActionNode)

MoVec3SetI::MoVec3SetI()
{
  SO_NODE_CONSTRUCTOR(MoVec3SetI);
}

void MoVec3SetI::setVec3Set(const MiDataSetI<MbVec3d>* set)
{
  m_set = set;
}

const MiDataSetI<MbVec3d>* MoVec3SetI::getVec3Set() const
{
  return m_set;
}

MO_NODE_SOURCE(MoVec3SetIj, MoActionNode)

MoVec3SetIj::MoVec3SetIj()
{
  SO_NODE_CONSTRUCTOR(MoVec3SetIj);
}

void MoVec3SetIj::setVec3Set(const MiDataSetIj<MbVec3d>* set)
{
  m_set = set;
}

const MiDataSetIj<MbVec3d>* MoVec3SetIj::getVec3Set() const
{
  return m_set;
}

MO_NODE_SOURCE(MoVec3SetIjk, MoActionNode)

MoVec3SetIjk::MoVec3SetIjk()
{
  SO_NODE_CONSTRUCTOR(MoVec3SetIjk);
}

void MoVec3SetIjk::setVec3Set(const MiDataSetIjk<MbVec3d>* set)
{
  m_set = set;
}

const MiDataSetIjk<MbVec3d>* MoVec3SetIjk::getVec3Set() const
{
  return m_set;
}
