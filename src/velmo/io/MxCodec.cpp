#include <velmo/io/MxCodec.h>

#include <limits>
#include <memory>
#ifdef VELMO_HAS_LIBDEFLATE
#include <libdeflate.h>
#else
#include <zlib.h>
#endif
#ifdef VELMO_HAS_LZ4
#include <lz4.h>
#endif
#ifdef VELMO_HAS_LZMA
#include <lzma.h>
#endif

namespace {

struct Codec
{
  const char* compressor;
  MxCodec codec;
  const char* library;
  bool present;
  /// The bounds of zlib and lz4 follow from their formats; that of lzma from its longest match and
  /// the least share of a bit that its coder spends on a decision.
  std::size_t mostInflation;
};

#ifdef VELMO_HAS_LZ4
constexpr bool kHasLz4 = true;
#else
constexpr bool kHasLz4 = false;
#endif
#ifdef VELMO_HAS_LZMA
constexpr bool kHasLzma = true;
#else
constexpr bool kHasLzma = false;
#endif

constexpr Codec kCodecs[] = {{"", MxCodec::None, "", true, 1},
                             {"vtkZLibDataCompressor", MxCodec::Zlib, "zlib", true, 1032},
                             {"vtkLZ4DataCompressor", MxCodec::Lz4, "liblz4", kHasLz4, 256},
                             {"vtkLZMADataCompressor", MxCodec::Lzma, "liblzma", kHasLzma, 16384}};

bool unpackZlib(const char* from, std::size_t fromSize, std::byte* to, std::size_t toSize)
{
#ifdef VELMO_HAS_LIBDEFLATE
  // Works on whole blocks only, which is all that is needed here, and about twice as fast.
  using Decompressor =
      std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>;
  thread_local const Decompressor t_own(libdeflate_alloc_decompressor(),
                                        &libdeflate_free_decompressor);
  return t_own && libdeflate_zlib_decompress(t_own.get(), from, fromSize, to, toSize, nullptr) ==
                      LIBDEFLATE_SUCCESS;
#else
  uLongf size = toSize;
  return ::uncompress(reinterpret_cast<Bytef*>(to), &size, reinterpret_cast<const Bytef*>(from),
                      fromSize) == Z_OK &&
         size == toSize;
#endif
}

bool unpackLz4([[maybe_unused]] const char* from, [[maybe_unused]] std::size_t fromSize,
               [[maybe_unused]] std::byte* to, [[maybe_unused]] std::size_t toSize)
{
#ifdef VELMO_HAS_LZ4
  constexpr std::size_t kMost = std::numeric_limits<int>::max();
  return fromSize <= kMost && toSize <= kMost &&
         LZ4_decompress_safe(from, reinterpret_cast<char*>(to), static_cast<int>(fromSize),
                             static_cast<int>(toSize)) == static_cast<int>(toSize);
#else
  return false;
#endif
}

bool unpackLzma([[maybe_unused]] const char* from, [[maybe_unused]] std::size_t fromSize,
                [[maybe_unused]] std::byte* to, [[maybe_unused]] std::size_t toSize)
{
#ifdef VELMO_HAS_LZMA
  // The largest preset's dictionary, and a little; a damaged header cannot ask for more.
  std::uint64_t memory = std::uint64_t{96} << 20;
  std::size_t fromDone = 0, toDone = 0;
  return lzma_stream_buffer_decode(&memory, 0, nullptr, reinterpret_cast<const std::uint8_t*>(from),
                                   &fromDone, fromSize, reinterpret_cast<std::uint8_t*>(to),
                                   &toDone, toSize) == LZMA_OK &&
         toDone == toSize;
#else
  return false;
#endif
}

const Codec& facts(MxCodec codec)
{
  return kCodecs[static_cast<std::size_t>(codec)];
}

} // namespace

std::optional<MxCodec> mxCodecOf(std::string_view compressor)
{
  for (const Codec& codec : kCodecs)
    if (compressor == codec.compressor) return codec.codec;
  return {};
}

const char* mxMissingLibrary(MxCodec codec)
{
  return facts(codec).present ? nullptr : facts(codec).library;
}

std::size_t mxMostInflation(MxCodec codec)
{
  return facts(codec).mostInflation;
}

bool mxUnpack(MxCodec codec, const char* from, std::size_t fromSize, std::byte* to,
              std::size_t toSize)
{
  switch (codec) {
  case MxCodec::Zlib:
    return unpackZlib(from, fromSize, to, toSize);
  case MxCodec::Lz4:
    return unpackLz4(from, fromSize, to, toSize);
  case MxCodec::Lzma:
    return unpackLzma(from, fromSize, to, toSize);
  case MxCodec::None:
    break;
  }
  return false;
}
