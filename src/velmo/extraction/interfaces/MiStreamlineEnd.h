#pragma once

#include <cstdint>

/// Which way a vector field is followed.
enum class MiStreamlineDirection : std::uint8_t
{
  Forward,
  Backward
};

/// Why a streamline ends where it does.
enum class MiStreamlineEnd : std::uint8_t
{
  NotInMesh, ///< no cell that is left holds its seed: it has no points
  LeftMesh,  ///< it came to the rim of the cells that are left
  LowSpeed,  ///< slower than it may be, or it does not get on by more than the error of its steps
  LifeTime,
  Length,
  StepNumber,
  NotFinite,        ///< a vector that is not finite
  DefaultStepNumber ///< 10000 steps, where no time, length or number of steps limits a line
};
