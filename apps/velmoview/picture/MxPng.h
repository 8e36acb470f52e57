#pragma once

#include <string>

#include <velmo/toolkit/MxImage.h>

/// Writes a PNG file, without an opacity channel where every pixel is opaque.
/// @return false, with the reason in `error`, when the file cannot be written
bool mxWritePng(const std::string& path, const MxImage& image, std::string& error);

/// Reads a PNG file of any kind into four channels of 8 bits.
/// @return false, with the reason in `error` and `image` empty, when it cannot be read
bool mxReadPng(const std::string& path, MxImage& image, std::string& error);
