#pragma once

#include <velmo/io/MxFileMesh.h>
#include <velmo/io/MxNetcdfFile.h>

/// The cells of Exodus blocks whose elements have any number of nodes or faces.
class MxExodusPoly
{
public:
  /// Borrowed.
  explicit MxExodusPoly(const MxNetcdfFile& file) : m_file(file) {}

  /// A block of polygons ("nsided"), node numbers from 0.
  /// @param number  of the block, from 1, as it stands behind the names of its variables
  /// @throw MbMeshFileError
  MxFileCells readPolygons(const std::string& number, std::size_t count) const;
  /// A block of polyhedra ("nfaced"), as face streams.
  /// @throw MbMeshFileError
  MxFileCells readPolyhedra(const std::string& number, std::size_t count);

private:
  /// Lists one behind the other: nodes of polygons, or faces of polyhedra.
  struct Lists
  {
    std::vector<std::size_t> offsets{0};
    std::vector<std::int64_t> numbers;

    std::size_t count() const { return offsets.size() - 1; }
    std::span<const std::int64_t> operator[](std::size_t list) const
    {
      return std::span(numbers).subspan(offsets[list], offsets[list + 1] - offsets[list]);
    }
  };
  void append(const std::string& lengths, const std::string& numbers, std::size_t length,
              std::size_t count, Lists& lists) const;
  void readFaces();
  MxFileCells cellsOf(const std::vector<std::uint8_t>& types,
                      const std::vector<std::int64_t>& offsets,
                      const std::vector<std::int64_t>& connectivity) const;

  const MxNetcdfFile& m_file;
  Lists m_faces; ///< the nodes of all faces of the file, once they are needed
  bool m_hasFaces = false;
};
