// The classes differ in the type of their sets alone; all they have is in the template.
#include <velmo/nodes/MoScalarSetElement.h>
#include <velmo/nodes/MoScalarSetElementI.h>
#include <velmo/nodes/MoScalarSetElementIj.h>
#include <velmo/nodes/MoScalarSetElementIjk.h>
#include <velmo/nodes/MoStringSetElement.h>
#include <velmo/nodes/MoVec3SetElementI.h>
#include <velmo/nodes/MoVec3SetElementIj.h>
#include <velmo/nodes/MoVec3SetElementIjk.h>

MO_ELEMENT_SOURCE(MoScalarSetElement, SoAccumulatedElement)
MO_ELEMENT_SOURCE(MoScalarSetElementI, SoAccumulatedElement)
MO_ELEMENT_SOURCE(MoScalarSetElementIj, SoAccumulatedElement)
MO_ELEMENT_SOURCE(MoScalarSetElementIjk, SoAccumulatedElement)
MO_ELEMENT_SOURCE(MoStringSetElement, SoAccumulatedElement)
MO_ELEMENT_SOURCE(MoVec3SetElementI, SoAccumulatedElement)
MO_ELEMENT_SOURCE(MoVec3SetElementIj, SoAccumulatedElement)
MO_ELEMENT_SOURCE(MoVec3SetElementIjk, SoAccumulatedElement)
