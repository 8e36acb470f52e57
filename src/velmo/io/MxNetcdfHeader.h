#pragma once

#include <velmo/io/MxFileBytes.h>

/// Refuses a netCDF file of one of the classic forms whose header does not hold together: the
/// library follows the counts of a damaged header out of its memory. Files of the newer form, which
/// are HDF5, pass.
/// @throw MbMeshFileError that names the byte
void mxCheckNetcdfHeader(const MxFileBytes& file);
