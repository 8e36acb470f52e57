#pragma once

#include <Inventor/SbName.h>

/// The font of text that the library draws: an outline font, which is sharp at every size.
///
/// The toolkit draws outline fonts when it finds fontconfig and FreeType, and else its built-in
/// ones, which end at a height of 33 pixels. The environment variable VELMO_FONT names another
/// font; "defaultFont" is the built-in one.
SbName mxTextFont();

/// Lets the toolkit find fontconfig and FreeType where only the libraries are installed and not
/// what belongs to developing with them. Before it starts.
void mxFindTextLibraries();
