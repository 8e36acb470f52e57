#pragma once

#include <Inventor/SbVec2f.h>
#include <Inventor/SbVec3f.h>

#include <cstddef>
#include <cstdint>
#include <span>

/// What an array held when it was last looked at: the same array, length and stamp mean the same
/// values. Stamps come from the fields' notifications, never from reading the values.
struct MxArrayKey
{
  const void* data = nullptr;
  std::size_t count = 0;
  std::uint64_t stamp = 0;
  bool operator==(const MxArrayKey&) const = default;
};

/// How many values of an attribute there are.
enum class MxFaceBinding
{
  Overall,
  PerVertex, ///< one per vertex, by vertex number
  PerFace,   ///< one per face or polyline, by its number
  PerCorner  ///< one per triangle corner, in their order
};

/// How the vertices of faces or polylines lie in graphics memory.
enum class MxFaceLayout
{
  Indexed, ///< as they are given, faces and polylines name them by number
  Corners  ///< each triangle or polyline has its own, which may differ from one to the next
};

template <class T>
struct MxFaceAttribute
{
  MxFaceBinding binding = MxFaceBinding::Overall;
  std::span<const T> values; ///< never empty unless Overall; the last one stands for missing ones
  MxArrayKey key;
};

/// What the buffers of every shape are filled from.
struct MxShapeData
{
  MxArrayKey topology;
  MxFaceAttribute<SbVec3f> positions;          ///< PerVertex
  MxFaceAttribute<std::uint32_t> colors;       ///< 0xRRGGBBAA
  MxFaceAttribute<SbVec2f> textureCoordinates; ///< PerVertex or none
};

/// How often something was sent to a graphics context.
struct MxUploadCounts
{
  int positions = 0;
  int normals = 0;
  int colors = 0;
  int textureCoordinates = 0;
  int indices = 0; ///< index lists and the marks of edges
  int tangents = 0;
  bool operator==(const MxUploadCounts&) const = default;
};
