#pragma once

#include <string>

#include <gtest/gtest.h>

#include <velmo/toolkit/offscreen/MbImage.h>

class SoNode;

/// Draws a scene on white; reports a failure and answers an empty picture when that is impossible.
MbImage drawScene(SoNode* root, int width, int height);

/// Whether texts are drawn in the library's own font: not in the built-in one of the toolkit, whose
/// letters cannot be this high, nor in one that the environment names.
bool drawsUsualFont();

/// The share of pixels in which a channel differs by more than kChannelTolerance, 1 for pictures of
/// different sizes.
double differingShare(const MbImage& one, const MbImage& other);

/// How far a channel may differ before its pixel counts: rasterisers round alike but not equally.
inline constexpr int kChannelTolerance = 24;
/// The share of pixels that may differ in a picture that passes: antialiased edges.
inline constexpr double kDifferingShareTolerance = 0.002;

/// Compares with tests/golden/NAME.png. On failure the picture and the difference (differing pixels
/// in red over a faded picture) are written into the build folder. With VELMO_RENEW_GOLDEN in the
/// environment the picture becomes the golden one instead (scripts/golden).
testing::AssertionResult matchesGolden(const MbImage& picture, const std::string& name);

/// The share of pixels in which the picture differs from the golden one; 1 when there is none.
double differenceFromGolden(const MbImage& picture, const std::string& name);
