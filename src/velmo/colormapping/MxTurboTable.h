#pragma once

/// The Turbo colour map in 256 rows of red, green and blue (sRGB, 0 to 1), in the figures of its
/// publication: A. Mikhailov, "Turbo, an improved rainbow colormap for visualization", 2019.
/// Copyright 2019 Google LLC, under the Apache License 2.0 (LICENSES/Apache-2.0.txt).
extern const float kMxTurboTable[256][3];
