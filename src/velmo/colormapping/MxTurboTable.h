#pragma once

/// The Turbo colour map in 256 rows of red, green and blue (sRGB, 0 to 1), in the figures of its
/// publication: A. Mikhailov, "Turbo, an improved rainbow colormap for visualization", 2019.
extern const float kMxTurboTable[256][3];
