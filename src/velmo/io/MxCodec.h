#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

/// How the blocks of compressed arrays are packed.
enum class MxCodec
{
  None,
  Zlib,
  Lz4,
  Lzma
};

/// The codec that a file names as its compressor; none for a name that is not known.
std::optional<MxCodec> mxCodecOf(std::string_view compressor);

/// The library that this build would need for the codec; null when it has it.
const char* mxMissingLibrary(MxCodec codec);

/// More bytes than this never come out of one packed byte.
std::size_t mxMostInflation(MxCodec codec);

/// Unpacks a block whose unpacked size is known. Any thread, any bytes.
/// @return false when the block is damaged or has another size
bool mxUnpack(MxCodec codec, const char* from, std::size_t fromSize, std::byte* to,
              std::size_t toSize);
