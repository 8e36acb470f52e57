#pragma once

#include <velmo/toolkit/offscreen/MbImage.h>

#include <cstdint>
#include <string>
#include <vector>

/// A picture as the bytes of a PNG file, without an opacity channel where every pixel is opaque.
/// @return nothing, with the reason in `error`, when there is no picture or not enough memory
std::vector<std::uint8_t> mbEncodePng(const MbImage& image, std::string& error);

/// Writes a PNG file, which appears whole or not at all: what was there stays when it fails.
/// @return false, with the path and the reason in `error`, when the file cannot be written
bool mbWritePng(const std::string& path, const MbImage& image, std::string& error);

/// Reads a PNG file of any kind into four channels of 8 bits.
/// @return false, with the path and the reason in `error` and `image` empty, when it cannot be read
bool mbReadPng(const std::string& path, MbImage& image, std::string& error);
