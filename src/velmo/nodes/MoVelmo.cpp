#include <velmo/nodes/MoVelmo.h>

#include <velmo/colormapping/legend/MoLegend.h>
#include <velmo/colormapping/MoColorMapping.h>
#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/colormapping/MoCombineColorMapping.h>
#include <velmo/colormapping/MoCombineColorMappingElement.h>
#include <velmo/colormapping/MoCustomColorMapping.h>
#include <velmo/colormapping/MoLevelColorMapping.h>
#include <velmo/colormapping/MoLinearColorMapping.h>
#include <velmo/colormapping/MoPredefinedColorMapping.h>
#include <velmo/colormapping/MoUndefinedColor.h>
#include <velmo/colormapping/MoUndefinedColorElement.h>
#include <velmo/extraction/interfaces/MiVelmo.h>
#include <velmo/nodes/MoActionNode.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoCellFilterElement.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoDataBindingElement.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoMaterialElement.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/nodes/MoScalarSetElement.h>
#include <velmo/nodes/MoScalarSetElementI.h>
#include <velmo/nodes/MoScalarSetElementIj.h>
#include <velmo/nodes/MoScalarSetElementIjk.h>
#include <velmo/nodes/MoScalarSetI.h>
#include <velmo/nodes/MoScalarSetIj.h>
#include <velmo/nodes/MoScalarSetIjk.h>
#include <velmo/nodes/MoStringSet.h>
#include <velmo/nodes/MoStringSetElement.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/nodes/MoTessellatorElement.h>
#include <velmo/nodes/MoVec3SetElementI.h>
#include <velmo/nodes/MoVec3SetElementIj.h>
#include <velmo/nodes/MoVec3SetElementIjk.h>
#include <velmo/nodes/MoVec3SetI.h>
#include <velmo/nodes/MoVec3SetIj.h>
#include <velmo/nodes/MoVec3SetIjk.h>
#include <velmo/render/details/MoFaceDetail.h>
#include <velmo/render/details/MoLineDetail.h>
#include <velmo/render/details/MoLineMeshDetail.h>
#include <velmo/render/details/MoMeshDetail.h>
#include <velmo/render/details/MoMeshRepresentationDetail.h>
#include <velmo/render/details/MoSurfaceMeshDetail.h>
#include <velmo/representation/MoMeshBaseRepresentation.h>
#include <velmo/representation/MoMeshLineRepresentation.h>
#include <velmo/representation/MoMeshRepresentation.h>
#include <velmo/representation/MoMeshSurfaceRepresentation.h>
#include <velmo/representations/MoMeshCylinderSlice.h>
#include <velmo/representations/MoMeshInterpolatedLogicalSlice.h>
#include <velmo/representations/MoMeshIsoline.h>
#include <velmo/representations/MoMeshIsosurface.h>
#include <velmo/representations/MoMeshLine.h>
#include <velmo/representations/MoMeshLogicalSlice.h>
#include <velmo/representations/MoMeshPlaneSlice.h>
#include <velmo/representations/MoMeshPointProbe.h>
#include <velmo/representations/MoMeshSkin.h>
#include <velmo/representations/MoMeshSlab.h>
#include <velmo/representations/MoMeshSphereSlice.h>
#include <velmo/representations/MoMeshStreamline.h>
#include <velmo/representations/MoMeshSurface.h>
#include <velmo/toolkit/background/MxBackgroundTask.h>
#include <velmo/toolkit/background/MxTaskWatch.h>
#include <velmo/toolkit/classes/MxToolkit.h>
#include <velmo/toolkit/classes/SoTarvinShaders.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

#include <Inventor/SoInput.h>

#include <cstdlib>
#include <type_traits>

// A class is registered by its include above and one line in each of the two orders below. Comments
// keep the places of classes that are still to be written.

namespace {

template <class... Classes>
struct ClassList
{
  static void init() { (Classes::initClass(), ...); }
  static void exit() { (Classes::exitClass(), ...); }
  template <class Class>
  static constexpr bool holds()
  {
    return (std::is_same_v<Class, Classes> || ...);
  }
  template <class Other>
  static constexpr bool isWithin()
  {
    return (Other::template holds<Classes>() && ...);
  }
};

// clang-format off

// Details and elements come before the nodes that make and enable them.
using InitOrder = ClassList<
    MoFaceDetail,
    MoFaceDetailI,
    MoFaceDetailIj,
    MoFaceDetailIjk,
    MoLineDetail,
    MoLineDetailI,
    MoLineDetailIj,
    MoLineDetailIjk,
    MoMeshDetail,
    MoMeshRepresentationDetail,
    MoLineMeshDetail,
    MoSurfaceMeshDetail,
    MoSurfaceMeshDetail,
    MoMeshElement,
    MoCellFilterElement,
    MoColorMappingElement,
    MoCombineColorMappingElement,
    MoScalarSetElement,
    MoScalarSetElementI,
    MoScalarSetElementIj,
    MoScalarSetElementIjk,
    MoVec3SetElementI,
    MoVec3SetElementIj,
    MoVec3SetElementIjk,
    MoStringSetElement,
    MoDataBindingElement,
    MoMaterialElement,
    MoDrawStyleElement,
    MoTessellatorElement,
    MoUndefinedColorElement,
    MoActionNode,
    MoMesh,
    MoMeshBaseRepresentation,
    MoMeshRepresentation,
    MoMeshSurfaceRepresentation,
    MoMeshLineRepresentation,
    MoCellFilter,
    MoScalarSet,
    MoScalarSetI,
    MoScalarSetIj,
    MoScalarSetIjk,
    MoStringSet,
    MoVec3SetI,
    MoVec3SetIj,
    MoVec3SetIjk,
    MoColorMapping,
    MoCustomColorMapping,
    MoLevelColorMapping,
    MoLinearColorMapping,
    MoCombineColorMapping,
    MoPredefinedColorMapping,
    MoMeshSphereSlice,
    MoMeshCylinderSlice,
    MoMeshPlaneSlice,
    // MoMeshGridPlaneSlice, MoMeshFenceSlice
    MoMeshIsosurface,
    MoMeshSkin,
    MoMeshSlab,
    MoMeshLogicalSlice,
    MoMeshInterpolatedLogicalSlice,
    MoMeshIsoline,
    // MoMeshClipLine, MoMeshAnnotatedIsoline
    MoMeshStreamline,
    // MoMeshVector, MoMeshCellShape
    MoDataBinding,
    MoMeshSurface,
    MoMeshLine,
    MoMaterial,
    MoDrawStyle,
    MoLegend,
    MoTessellator,
    // MoMeshOutline
    MoMeshPointProbe,
    // MoMeshElevatedPlaneSlice, MoMeshBumpSlice, MoMeshClipPoint, MoMeshElevatedSurface, MoMeshBumpSurface
    MoUndefinedColor>;

// Derived classes go before their bases, nodes before elements, elements before details. Not the
// mirror of the order above.
using ExitOrder = ClassList<
    MoUndefinedColor,
    // MoMeshClipPoint, MoMeshElevatedPlaneSlice
    MoMeshPointProbe,
    // MoMeshOutline
    MoTessellator,
    MoLegend,
    MoDrawStyle,
    MoMaterial,
    MoMeshLine,
    // MoMeshElevatedSurface, MoMeshBumpSurface
    MoMeshSurface,
    MoDataBinding,
    // MoMeshCellShape, MoMeshVector
    MoMeshStreamline,
    // MoMeshAnnotatedIsoline
    MoMeshIsoline,
    // MoMeshClipLine
    MoMeshInterpolatedLogicalSlice,
    MoMeshLogicalSlice,
    MoMeshIsosurface,
    MoMeshSlab,
    MoMeshSkin,
    // MoMeshGridPlaneSlice, MoMeshBumpSlice, MoMeshFenceSlice
    MoMeshPlaneSlice,
    MoMeshCylinderSlice,
    MoMeshSphereSlice,
    MoPredefinedColorMapping,
    MoLinearColorMapping,
    MoLevelColorMapping,
    MoCustomColorMapping,
    MoColorMapping,
    MoCombineColorMapping,
    MoVec3SetIjk,
    MoVec3SetIj,
    MoVec3SetI,
    MoScalarSetIjk,
    MoScalarSetIj,
    MoScalarSetI,
    MoScalarSet,
    MoStringSet,
    MoCellFilter,
    MoMeshLineRepresentation,
    MoMeshSurfaceRepresentation,
    MoMeshRepresentation,
    MoMeshBaseRepresentation,
    MoMesh,
    MoActionNode,
    MoUndefinedColorElement,
    MoTessellatorElement,
    MoDrawStyleElement,
    MoMaterialElement,
    MoDataBindingElement,
    MoVec3SetElementIjk,
    MoVec3SetElementIj,
    MoVec3SetElementI,
    MoScalarSetElementIjk,
    MoScalarSetElementIj,
    MoScalarSetElementI,
    MoScalarSetElement,
    MoStringSetElement,
    MoColorMappingElement,
    MoCombineColorMappingElement,
    MoCellFilterElement,
    MoMeshElement,
    MoLineMeshDetail,
    MoSurfaceMeshDetail,
    MoMeshRepresentationDetail,
    MoMeshDetail,
    MoLineDetailIjk,
    MoLineDetailIj,
    MoLineDetailI,
    MoLineDetail,
    MoFaceDetailIjk,
    MoFaceDetailIj,
    MoFaceDetailI,
    MoFaceDetail>;

// clang-format on

static_assert(InitOrder::isWithin<ExitOrder>() && ExitOrder::isWithin<InitOrder>(),
              "a class is missing from one of the two orders");

constexpr const char* kShaderDirectory = "$KORAHOME/../Tarvin/shaders/";

void exitAllClasses()
{
  // Nothing of the library runs on behind the application's back, or hears of a later event.
  MxBackgroundTask::stopAll();
  MxTaskWatch::stopAll();
  ExitOrder::exit();
}

} // namespace

std::int32_t MoVelmo::s_initRefCount = 0;

int MoVelmo::init(int flags)
{
  MxToolkit::start();
  MiVelmo::init(flags);
  if (s_initRefCount == 0) {
    MxToolkit::callAtEnd(&MoVelmo::toolkitEnds);
    SoInput::removeDirectory(kShaderDirectory); // once in the list, however often we start
    SoInput::addDirectoryLast(kShaderDirectory);
    MxToolkit::initClasses();
    InitOrder::init();
    SoTarvinShaders::init();
    // Without an X server the toolkit's offscreen renderer would crash.
    if (!std::getenv("DISPLAY")) MoOffscreenCanvas::installToolkitCallbacks();
  }
  return ++s_initRefCount;
}

int MoVelmo::init()
{
  return init(0);
}

void MoVelmo::finish()
{
  if (s_initRefCount == 0) return;
  if (--s_initRefCount == 0) {
    exitAllClasses();
    MxToolkit::exitClasses();
  }
  MiVelmo::finish();
  MxToolkit::finish();
}

void MoVelmo::toolkitEnds()
{
  // The application stopped the toolkit under us: everything registered there goes with it.
  if (s_initRefCount == 0) return;
  exitAllClasses();
  for (; s_initRefCount > 0; --s_initRefCount)
    MiVelmo::finish();
}

bool MoVelmo::isInitialized()
{
  return s_initRefCount > 0;
}

const char* MoVelmo::getVersion()
{
  return "10.19.1.0";
}

const char* MoVelmo::getProductName()
{
  return "VelmoInterface";
}
