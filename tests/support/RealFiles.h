#pragma once

#include <filesystem>
#include <string>

/// The folder of real meshes; empty when there is none.
inline std::filesystem::path dataFolder()
{
  const std::filesystem::path folder = VELMO_TEST_DATA;
  return std::filesystem::exists(folder / "reference.json") ? folder : "";
}

#define SKIP_WITHOUT_DATA()                                                                        \
  if (dataFolder().empty()) GTEST_SKIP() << "VELMO_TEST_DATA names no folder of test meshes"

/// A file as it was published, and the set that was made of it.
struct PublishedFile
{
  const char *set, *file;
};
inline constexpr PublishedFile kPublishedFiles[] = {
    {"poly_pebi", "poly_pebi/original/pebi3d_with_properties.vtu"},
    {"mixed_box", "mixed_box/original/box_hybrid_mesh.vtu"},
    {"tet_reservoir", "tet_reservoir/original/synthetic.vtu"}, // needs liblzma
    {"tet4_cylinder", "tet_cylinder/original/CylinderLinear.vtk"},
    {"tet10_cylinder", "tet_cylinder/original/CylinderQuadratic.vtk"},
    {"mixed_supported", "mixed_tiny/original/supportedElements.vtk"},
    {"regular_ironprot", "regular_ironprot/original/ironProt.vtk"},
    {"rectilinear_rectgrid2", "rectilinear_rectgrid2/original/RectGrid2.vtk"},
    {"surface_blow", "surface_blow/original/blow.vtk"},
};

/// A file of the folder "hostile" that must be refused, and what is said of it. The others there
/// may be read, all or in part.
struct RefusedFile
{
  const char *file, *problem;
};
inline constexpr RefusedFile kRefusedFiles[] = {
    {"empty.vtk", "is empty"},
    {"truncated_header.vtk", "line 3: neither ASCII nor BINARY"},
    {"truncated_points.vtk", "line 255: POINTS ends after 750 of 1395"},
    {"truncated_connectivity.vtk", "line 471: CELLS should have 7610"},
    {"truncated_data.vtk", "line 2045: scalars vel_norm should have 465"},
    {"truncated_binary.vtk", "byte 11317: CELLS should have 7610"},
    {"negative_counts.vtk", "line 471: CELLS -1522 is negative"},
    {"huge_counts.vtk", "line 5: POINTS should have 4000000000"},
    {"huge_cell_count.vtk", "line 471: CELLS should have 4999999995"},
    {"cell_size_mismatch.vtk", "line 471: cell 1217 of CELLS does not fit"},
    {"short_array.vtk", "line 2043: POINT_DATA 400 does not fit the mesh of 465 nodes"},
    {"text_in_numbers.vtk", "line 472: 'x223' in CELLS"},
    {"regular_zero_dims.vtk", "line 5: the mesh has no nodes along an axis"},
    {"curvilinear_dims_mismatch.vtk", "DIMENSIONS ask for 150 points, POINTS has 120"},
    {"poly_bad_stream.vtk", "cell 0: the face stream"},
    {"cp_bad_dims.grdecl", "ZCORN has 120 numbers where"},
    {"cp_bad_repeat.grdecl", "ACTNUM has 99999999999 numbers where 15 should be"},
    {"cp_missing_zcorn.grdecl", "has no ZCORN"},
    {"cp_short_zcorn.grdecl", "numbers where 120 should be"},
    {"cp_unterminated.grdecl", "is not ended by '/'"},
    {"cp_zero_dims.grdecl", "announces 0 cells along an axis"},
};
/// Null for a file that may be read.
inline const char* refusalOf(const std::string& file)
{
  for (const RefusedFile& refused : kRefusedFiles)
    if (file == refused.file) return refused.problem;
  return nullptr;
}
