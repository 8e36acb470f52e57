#pragma once

#include <Inventor/elements/SoDrawStyleElement.h>

class SoAction;

/// In which draw style an action that asks for primitives sees a shape; FILLED for every other
/// action.
///
/// The toolkit's shapes give the same primitives whatever the style. One mesh is drawn by the same
/// shape up to three times, as faces, edges and points: whoever collects primitives would get its
/// faces three times, and hidden ones too. Ours give what is drawn. (Actions that only count
/// primitives know no draw style.)
SoDrawStyleElement::Style mxDrawnStyle(SoAction* action);
