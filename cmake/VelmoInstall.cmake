# Install, CMake package "Velmo" and pkg-config files.
include(CMakePackageConfigHelpers)

set(VELMO_LIBRARIES velmo_extraction)
foreach(target IN ITEMS velmo_io velmo)
  if(TARGET ${target})
    list(APPEND VELMO_LIBRARIES ${target})
  endif()
endforeach()

install(TARGETS ${VELMO_LIBRARIES} EXPORT VelmoTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
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

foreach(file IN ITEMS velmo velmo_extraction)
  configure_file(cmake/${file}.pc.in ${file}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${file}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
