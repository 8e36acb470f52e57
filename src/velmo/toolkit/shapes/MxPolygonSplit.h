#pragma once

#include <Inventor/SbVec3f.h>

#include <cstdint>
#include <span>
#include <vector>

/// Whether a polygon has a corner that turns the other way than the polygon as a whole, seen along
/// its mean normal.
/// @param vertices  numbers of positions
bool mxIsHollow(std::span<const std::int32_t> vertices, std::span<const SbVec3f> positions);

/// Triangles inside a polygon, found by cutting off ears, seen along its mean normal: three places
/// in the polygon a triangle, two fewer triangles than vertices. Of a polygon that crosses itself
/// they cover something else, but there are as many.
void mxSplitPolygon(std::span<const std::int32_t> vertices, std::span<const SbVec3f> positions,
                    std::vector<std::uint32_t>& places);
