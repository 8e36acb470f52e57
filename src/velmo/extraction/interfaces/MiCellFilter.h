#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>

#include <cstdint>

/// The application's choice of cells; a cell that is not accepted is treated as if it were not
/// there. *Threads*: asked from several threads at once.
class MiCellFilter
{
public:
  virtual ~MiCellFilter() = default;
  /// Changes whenever an answer may have changed.
  virtual std::uint64_t getTimeStamp() const = 0;
};

class MiCellFilterI : public virtual MiCellFilter
{
public:
  virtual bool acceptCell(std::size_t cell) const = 0;
  /// Sets accepted[c - first] to 1 or 0 for the cells [first, last). Extraction asks only this,
  /// once per block; filters over arrays override it with a plain loop.
  virtual void acceptCells(std::size_t first, std::size_t last, std::uint8_t* accepted) const
  {
    for (std::size_t cell = first; cell < last; ++cell)
      *accepted++ = acceptCell(cell) ? 1 : 0;
  }
};

class MiCellFilterIj : public virtual MiCellFilter
{
public:
  virtual bool acceptCell(std::size_t i, std::size_t j) const = 0;
  /// The row of cells [0, count) at j.
  virtual void acceptRow(std::size_t count, std::size_t j, std::uint8_t* accepted) const
  {
    for (std::size_t i = 0; i < count; ++i)
      accepted[i] = acceptCell(i, j) ? 1 : 0;
  }
};

class MiCellFilterIjk : public virtual MiCellFilter
{
public:
  virtual bool acceptCell(std::size_t i, std::size_t j, std::size_t k) const = 0;
  /// The row of cells [0, count) at (j, k).
  virtual void acceptRow(std::size_t count, std::size_t j, std::size_t k,
                         std::uint8_t* accepted) const
  {
    for (std::size_t i = 0; i < count; ++i)
      accepted[i] = acceptCell(i, j, k) ? 1 : 0;
  }
};
