# Install, CMake package "Velmo" and pkg-config files.
include(CMakePackageConfigHelpers)

install(TARGETS velmo_extraction velmo_io velmo velmo_picture EXPORT VelmoTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY "${PROJECT_BINARY_DIR}/include/velmo" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
if(TARGET velmoview)
  install(TARGETS velmoview DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Velmo)
install(EXPORT VelmoTargets NAMESPACE Velmo:: DESTINATION ${package_dir})
configure_package_config_file(cmake/VelmoConfig.cmake.in VelmoConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(VelmoConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VelmoConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/VelmoConfigVersion.cmake DESTINATION ${package_dir})

# The files of pkg-config find everything from where they lie themselves, so that an installed tree can be moved; a
# folder that was configured as an absolute path stays one.
set(pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(VELMO_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH up "/${pc_dir}" "/")
  string(REGEX REPLACE "/$" "" up "${up}")
  set(VELMO_PC_PREFIX "\${pcfiledir}/${up}")
endif()
foreach(name IN ITEMS LIBDIR INCLUDEDIR)
  set(VELMO_PC_${name} "${CMAKE_INSTALL_${name}}")
  if(NOT IS_ABSOLUTE "${VELMO_PC_${name}}")
    string(PREPEND VELMO_PC_${name} "\${prefix}/")
  endif()
endforeach()
# velmo_pc_file(NAME requires libs DESCRIPTION)
function(velmo_pc_file VELMO_PC_NAME VELMO_PC_REQUIRES VELMO_PC_LIBS VELMO_PC_DESCRIPTION)
  configure_file(cmake/velmo.pc.in ${VELMO_PC_NAME}.pc @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${VELMO_PC_NAME}.pc" DESTINATION ${pc_dir})
endfunction()
velmo_pc_file(velmo_extraction "tbb" "-lvelmo_extraction" "Extraction from numerical meshes, without a scene graph")
velmo_pc_file(velmo_io "velmo_extraction" "-lvelmo_io" "Files of numerical meshes")
velmo_pc_file(velmo "velmo_extraction" "-lvelmo -lCoin" "${PROJECT_DESCRIPTION}")
velmo_pc_file(velmo_picture "velmo" "-lvelmo_picture" "Scenes drawn into PNG files")

# Examples, for those who have the package only, and the licences of what is in it.
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY LICENSES DESTINATION ${CMAKE_INSTALL_DOCDIR})
