# Libraries that file formats need and a build can do without: each has an option VELMO_WITH_... (ON: used
# where it is found) and a definition VELMO_HAS_... A file that needs a missing one gets a message with its
# name.
add_library(velmo_file_libraries INTERFACE)

# velmo_file_library(NAME library HEADER.h package LABEL): the package is Debian's. Every run of CMake looks anew, so
# that a library is used when it is installed later, and no longer when it is gone.
function(velmo_file_library name library header package label)
  option(VELMO_WITH_${name} "${label}" ON)
  foreach(found IN ITEMS INCLUDE LIBRARY)
    set(place "${VELMO_${name}_${found}}")
    if(found STREQUAL "INCLUDE" AND place)
      string(APPEND place "/${header}")
    endif()
    if(NOT EXISTS "${place}")
      unset(VELMO_${name}_${found} CACHE)
    endif()
  endforeach()
  if(NOT VELMO_WITH_${name})
    return()
  endif()
  find_path(VELMO_${name}_INCLUDE "${header}")
  find_library(VELMO_${name}_LIBRARY "${library}")
  mark_as_advanced(VELMO_${name}_INCLUDE VELMO_${name}_LIBRARY)
  if(VELMO_${name}_INCLUDE AND VELMO_${name}_LIBRARY)
    target_include_directories(velmo_file_libraries SYSTEM INTERFACE "${VELMO_${name}_INCLUDE}")
    target_link_libraries(velmo_file_libraries INTERFACE "${VELMO_${name}_LIBRARY}")
    target_compile_definitions(velmo_file_libraries INTERFACE "VELMO_HAS_${name}")
  else()
    message(STATUS "Velmo: lib${library} is not there (Debian: ${package}): built without it (${label})")
  endif()
endfunction()

velmo_file_library(LIBDEFLATE deflate libdeflate.h libdeflate-dev "zlib blocks in files, about twice as fast as with zlib")
velmo_file_library(LZ4 lz4 lz4.h liblz4-dev "lz4 blocks in files")
velmo_file_library(LZMA lzma lzma.h liblzma-dev "lzma blocks in files")
velmo_file_library(NETCDF netcdf netcdf.h libnetcdf-dev "Exodus II files")
