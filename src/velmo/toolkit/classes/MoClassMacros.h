#pragma once

#include <velmo/toolkit/classes/MoClassRecord.h>

#include <Inventor/details/SoSubDetail.h>
#include <Inventor/elements/SoSubElement.h>
#include <Inventor/nodes/SoSubNode.h>

// Registration that can be undone and redone. The toolkit's own INIT macros fail an assertion on a
// second initClass and leave a cleanup behind that crashes after an exitClass; its HEADER and
// SOURCE macros are used as they are.
//
// A class says MO_NODE_HEADER(Class) first in its body and MO_NODE_SOURCE(Class, Parent) in its
// source, its constructor begins with SO_NODE_CONSTRUCTOR(Class); and the class gets one line in
// nodes/MoVelmo.cpp. Elements and details alike.

#define MO_CLASS_HEADER_()                                                                         \
public:                                                                                            \
  /** Registers the class and, before it, its parent; does nothing when it is registered. */       \
  static void initClass();                                                                         \
  /** Undoes initClass; does nothing when the class is not registered. */                          \
  static void exitClass();                                                                         \
  static const MoRenderEngineMode& getRenderEngineMode()                                           \
  {                                                                                                \
    return s_classRecord.mode;                                                                     \
  }                                                                                                \
                                                                                                   \
private:                                                                                           \
  static MoClassRecord s_classRecord

// ---- nodes ----

#define MO_NODE_HEADER(Class)                                                                      \
  SO_NODE_HEADER(Class);                                                                           \
  MO_CLASS_HEADER_()
#define MO_NODE_ABSTRACT_HEADER(Class)                                                             \
  SO_NODE_ABSTRACT_HEADER(Class);                                                                  \
  MO_CLASS_HEADER_()

#define MO_NODE_INIT(Class, Parent, Create)                                                        \
  do {                                                                                             \
    MoClass::prepare(s_classRecord, MoClass::renderEngineModeOf<Parent>());                        \
    const MoClassLock lock(s_classRecord);                                                         \
    if (!Class::classTypeId.isBad()) break;                                                        \
    Class::classTypeId =                                                                           \
        SoType::createType(MoClass::registeredType<Parent>(), SbName(#Class), Create,              \
                           static_cast<uint16_t>(SoNode::getNextActionMethodIndex()));             \
    SoNode::incNextActionMethodIndex();                                                            \
    Class::parentFieldData = Parent::getFieldDataPtr();                                            \
  } while (0)

#define MO_NODE_EXIT(Class)                                                                        \
  do {                                                                                             \
    const MoClassLock lock(s_classRecord);                                                         \
    s_classRecord.mode = {};                                                                       \
    if (!Class::classTypeId.isBad()) Class::atexit_cleanup();                                      \
  } while (0)

#define MO_NODE_FUNCTIONS_(Class, Parent, Create)                                                  \
  MoClassRecord Class::s_classRecord;                                                              \
  void Class::initClass()                                                                          \
  {                                                                                                \
    MO_NODE_INIT(Class, Parent, Create);                                                           \
  }                                                                                                \
  void Class::exitClass()                                                                          \
  {                                                                                                \
    MO_NODE_EXIT(Class);                                                                           \
  }

#define MO_NODE_SOURCE(Class, Parent)                                                              \
  SO_NODE_SOURCE(Class)                                                                            \
  MO_NODE_FUNCTIONS_(Class, Parent, &Class::createInstance)
#define MO_NODE_ABSTRACT_SOURCE(Class, Parent)                                                     \
  SO_NODE_ABSTRACT_SOURCE(Class)                                                                   \
  MO_NODE_FUNCTIONS_(Class, Parent, nullptr)

// ---- elements ----

#define MO_ELEMENT_HEADER(Class)                                                                   \
  SO_ELEMENT_HEADER(Class);                                                                        \
  MO_CLASS_HEADER_()

// The type itself stays after exitClass: the toolkit's actions keep the types of the elements that
// were enabled, and the next traversal would stumble over a removed one.
#define MO_ELEMENT_INIT(Class, Parent)                                                             \
  do {                                                                                             \
    MoClass::prepare(s_classRecord, MoClass::renderEngineModeOf<Parent>());                        \
    const MoClassLock lock(s_classRecord);                                                         \
    if (!Class::classTypeId.isBad()) break;                                                        \
    const SoType parentType = MoClass::registeredType<Parent>();                                   \
    if (MoClass::findKeptType(s_classRecord, Class::classTypeId)) break;                           \
    Class::classTypeId = SoType::createType(parentType, SbName(#Class), &Class::createInstance);   \
    Class::classStackIndex = Parent::getClassStackIndex() < 0                                      \
                                 ? Class::createStackIndex(Class::classTypeId)                     \
                                 : Parent::getClassStackIndex();                                   \
    MoClass::keepType(s_classRecord, Class::classTypeId);                                          \
    MoClass::enableElement(Class::classTypeId, Class::classStackIndex);                            \
  } while (0)

#define MO_ELEMENT_EXIT(Class)                                                                     \
  do {                                                                                             \
    const MoClassLock lock(s_classRecord);                                                         \
    s_classRecord.mode = {};                                                                       \
    Class::classTypeId = SoType::badType();                                                        \
  } while (0)

#define MO_ELEMENT_SOURCE(Class, Parent)                                                           \
  SO_ELEMENT_SOURCE(Class)                                                                         \
  MoClassRecord Class::s_classRecord;                                                              \
  void Class::initClass()                                                                          \
  {                                                                                                \
    MO_ELEMENT_INIT(Class, Parent);                                                                \
  }                                                                                                \
  void Class::exitClass()                                                                          \
  {                                                                                                \
    MO_ELEMENT_EXIT(Class);                                                                        \
  }

// ---- details ----

#define MO_DETAIL_HEADER(Class)                                                                    \
  SO_DETAIL_HEADER(Class);                                                                         \
  MO_CLASS_HEADER_()

#define MO_DETAIL_INIT(Class, Parent)                                                              \
  do {                                                                                             \
    MoClass::prepare(s_classRecord, MoClass::renderEngineModeOf<Parent>());                        \
    const MoClassLock lock(s_classRecord);                                                         \
    if (!Class::classTypeId.isBad()) break;                                                        \
    Class::classTypeId = SoType::createType(MoClass::registeredType<Parent>(), SbName(#Class));    \
  } while (0)

#define MO_DETAIL_EXIT(Class)                                                                      \
  do {                                                                                             \
    const MoClassLock lock(s_classRecord);                                                         \
    s_classRecord.mode = {};                                                                       \
    if (Class::classTypeId.isBad()) break;                                                         \
    SoType::removeType(Class::classTypeId.getName());                                              \
    Class::classTypeId = SoType::badType();                                                        \
  } while (0)

#define MO_DETAIL_SOURCE(Class, Parent)                                                            \
  SO_DETAIL_SOURCE(Class)                                                                          \
  MoClassRecord Class::s_classRecord;                                                              \
  void Class::initClass()                                                                          \
  {                                                                                                \
    MO_DETAIL_INIT(Class, Parent);                                                                 \
  }                                                                                                \
  void Class::exitClass()                                                                          \
  {                                                                                                \
    MO_DETAIL_EXIT(Class);                                                                         \
  }
