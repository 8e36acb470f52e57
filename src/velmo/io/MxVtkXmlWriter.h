#pragma once

#include <velmo/base/MxFileWriter.h>
#include <velmo/extraction/interfaces/MiArrayView.h>

#include <functional>
#include <string>
#include <vector>

struct MbSaveOptions;

/// An array to write: `count` numbers, made when they are written.
struct MxOutputArray
{
  std::string name;
  MiScalarType type = MiScalarType::Float64;
  std::size_t components = 1;
  std::size_t count = 0;
  /// Writes the numbers [first, last) to `to`; called by several threads, for any parts.
  std::function<void(std::size_t first, std::size_t last, std::byte* to)> fill;
};

/// `fill` of an array whose number n is numberAt(n) of type T.
template <class T, class NumberAt>
auto mxFillWith(NumberAt numberAt)
{
  return [numberAt = std::move(numberAt)](std::size_t first, std::size_t last, std::byte* to) {
    auto* numbers = reinterpret_cast<T*>(to);
    for (std::size_t n = first; n < last; ++n)
      numbers[n - first] = static_cast<T>(numberAt(n));
  };
}

/// Arrays of one name, type and component count, one after the other, as one.
MxOutputArray mxJoined(std::vector<MxOutputArray> parts);

/// A file of the XML family: elements, and arrays whose numbers follow behind them in binary,
/// compressed in blocks if asked for. Whatever the size of the arrays, a few megabytes of them are
/// held at a time; the bytes do not depend on the number of threads.
class MxVtkXmlWriter
{
public:
  /// @param type  of data set, also the name of its element
  /// @throw MbMeshFileError
  MxVtkXmlWriter(const std::string& path, const std::string& type, const MbSaveOptions& options);

  /// Starts an element: `tag` is its name, with attributes if it has any.
  void open(const std::string& tag);
  void close();
  void add(MxOutputArray array);
  /// Writes the file. Nothing else may be called behind it.
  /// @throw MbMeshFileError
  void finish();

private:
  struct Placed
  {
    MxOutputArray array;
    std::size_t offsetAt; ///< where the text has room for its offset
  };
  void indent();
  void writeAll();
  void writeArray(const MxOutputArray& array);

  std::string m_path;
  MxFileWriter m_file;
  bool m_compress, m_parallel;
  std::string m_text;
  std::vector<std::string> m_open;
  std::vector<Placed> m_arrays;
};

/// A name as the value of an attribute, in quotes: what XML cannot hold is replaced, and bytes that
/// are no UTF-8 are taken for Latin-1.
std::string mxAttribute(const std::string& text);
