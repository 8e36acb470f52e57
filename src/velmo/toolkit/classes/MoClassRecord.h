#pragma once

#include <Inventor/SoType.h>
#include <Inventor/threads/SbThreadMutex.h>

/// How far a class takes part in a render engine that draws without traversing. Kept for
/// applications that ask; nothing here acts on it.
struct MoRenderEngineMode
{
  enum Support
  {
    NotRegistered,
    FullySupported
  };
  Support support = NotRegistered;
  bool additional = false; ///< copied from the parent class
};

/// What a class keeps about its registration, besides what the toolkit's own macros declare.
struct MoClassRecord
{
  SbThreadMutex* mutex = nullptr; ///< made by the first registration, never deleted
  MoRenderEngineMode mode;
  SoType keptType{};           ///< elements: the type outlives exitClass
  unsigned keptGeneration = 0; ///< the toolkit start to which keptType belongs
};

/// Holds a class's mutex, when it has one.
class MoClassLock
{
public:
  explicit MoClassLock(const MoClassRecord& record) : m_mutex(record.mutex)
  {
    if (m_mutex) m_mutex->lock();
  }
  ~MoClassLock()
  {
    if (m_mutex) m_mutex->unlock();
  }
  MoClassLock(const MoClassLock&) = delete;
  MoClassLock& operator=(const MoClassLock&) = delete;

private:
  SbThreadMutex* m_mutex;
};

/// The work of the class macros that needs no access to the class.
namespace MoClass {

/// The mode of a class of ours, none for the toolkit's own.
template <class Parent>
MoRenderEngineMode renderEngineModeOf()
{
  if constexpr (requires { Parent::getRenderEngineMode(); })
    return Parent::getRenderEngineMode();
  else
    return {};
}

template <class Parent>
SoType registeredType()
{
  if (Parent::getClassTypeId().isBad()) Parent::initClass();
  return Parent::getClassTypeId();
}

/// Marks the record as registered; call it at the start of every initClass.
void prepare(MoClassRecord& record, MoRenderEngineMode parentMode);

/// The type that an element class had before exitClass, if the toolkit has run on since then.
bool findKeptType(const MoClassRecord& record, SoType& type);
void keepType(MoClassRecord& record, SoType type);

/// Enables an element in every action that passes the library's nodes.
void enableElement(SoType type, int stackIndex);

} // namespace MoClass
