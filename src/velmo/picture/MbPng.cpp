#include <velmo/picture/MbPng.h>

#include <velmo/base/MxFileWriter.h>

#include <png.h>

namespace {

bool isOpaque(const MbImage& image)
{
  for (std::size_t i = 3; i < image.rgba.size(); i += 4)
    if (image.rgba[i] != 255) return false;
  return true;
}

std::vector<std::uint8_t> withoutOpacity(const MbImage& image)
{
  std::vector<std::uint8_t> rgb;
  rgb.reserve(image.rgba.size() / 4 * 3);
  for (std::size_t i = 0; i < image.rgba.size(); i += 4)
    rgb.insert(rgb.end(), {image.rgba[i], image.rgba[i + 1], image.rgba[i + 2]});
  return rgb;
}

} // namespace

std::vector<std::uint8_t> mbEncodePng(const MbImage& image, std::string& error)
{
  if (image.empty()) {
    error = "there is no picture to write";
    return {};
  }
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(image.width);
  png.height = static_cast<png_uint_32>(image.height);
  const bool opaque = isOpaque(image);
  png.format = opaque ? PNG_FORMAT_RGB : PNG_FORMAT_RGBA;
  const std::vector<std::uint8_t> rgb =
      opaque ? withoutOpacity(image) : std::vector<std::uint8_t>{};
  // Room for the largest file, as its size is known only when it is made.
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(png);
  std::vector<std::uint8_t> bytes(size);
  if (!png_image_write_to_memory(&png, bytes.data(), &size, 0,
                                 opaque ? rgb.data() : image.rgba.data(), 0, nullptr))
  {
    error = png.message;
    return {};
  }
  bytes.resize(size);
  return bytes;
}

bool mbWritePng(const std::string& path, const MbImage& image, std::string& error)
{
  const std::vector<std::uint8_t> bytes = mbEncodePng(image, error);
  if (bytes.empty()) {
    error = path + ": " + error;
    return false;
  }
  try {
    mxWriteFile(path, bytes.data(), bytes.size());
  } catch (const MxWriteError& problem) {
    error = problem.what();
    return false;
  }
  return true;
}

bool mbReadPng(const std::string& path, MbImage& image, std::string& error)
{
  image = {};
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&png, path.c_str())) {
    png.format = PNG_FORMAT_RGBA;
    std::vector<std::uint8_t> rgba(PNG_IMAGE_SIZE(png));
    if (png_image_finish_read(&png, nullptr, rgba.data(), 0, nullptr)) {
      image = {static_cast<int>(png.width), static_cast<int>(png.height), std::move(rgba)};
      return true;
    }
  }
  error = path + ": " + png.message;
  png_image_free(&png);
  return false;
}
