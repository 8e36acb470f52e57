#pragma once

#include <cstddef>

/// A text file that the build put into the library.
struct MxEmbeddedText
{
  const char* name; ///< the file's name without its folder
  const char* text;
};

/// The shader sources of render/shaders.
extern const MxEmbeddedText kVelmoShaderTexts[];
extern const std::size_t kVelmoShaderTextsCount;
