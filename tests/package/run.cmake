# Installs the build tree BUILD below WORK, moves what was installed to another place, and uses it from there as its
# users do: through CMake and through pkg-config, every example alone. SOURCE is the checkout, LIBDIR and DOCDIR are the
# folders of the installation, FLAGS are the compiler's.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env LIBGL_ALWAYS_SOFTWARE=1 ${ARGN} RESULT_VARIABLE status
                  OUTPUT_VARIABLE output ERROR_VARIABLE output WORKING_DIRECTORY "${WORK}")
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

# project(NAME SOURCE options...): configures and builds in WORK/NAME.
function(project name source)
  run(${CMAKE_COMMAND} -S "${source}" -B "${WORK}/${name}" -G Ninja "-DCMAKE_PREFIX_PATH=${prefix}"
      "-DCMAKE_CXX_FLAGS=${FLAGS}" ${ARGN})
  run(${CMAKE_COMMAND} --build "${WORK}/${name}")
endfunction()

file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
run(${CMAKE_COMMAND} --install "${BUILD}" --prefix "${WORK}/installed")
set(prefix "${WORK}/moved")
file(RENAME "${WORK}/installed" "${prefix}")

# Internal headers stay at home, and the headers of whole libraries leave none out.
file(GLOB_RECURSE headers RELATIVE "${prefix}/include" "${prefix}/include/velmo/*.h")
list(LENGTH headers count)
if(count LESS 100)
  message(FATAL_ERROR "only ${count} public headers are installed")
endif()
set(included "")
foreach(library IN ITEMS extraction io velmo picture)
  file(STRINGS "${prefix}/include/velmo/${library}.h" lines REGEX "^#include")
  list(APPEND included ${lines})
endforeach()
foreach(header IN LISTS headers)
  get_filename_component(name "${header}" NAME)
  # These are what public headers hold or hand out.
  if(name MATCHES "^(Mx|Md)" AND NOT name MATCHES "^Mx(TimeStamp|Array|Vector|CpuBuffer|BackgroundTask)[.]h$")
    message(FATAL_ERROR "${header} is internal and was installed")
  endif()
  if(header MATCHES "/.*/" AND NOT "#include <${header}>" IN_LIST included)
    message(FATAL_ERROR "${header} is in no header of a whole library")
  endif()
endforeach()

# The licences of what comes from others; each colour map that is a table has its line.
set(licenses "${prefix}/${DOCDIR}/LICENSES")
foreach(file IN ITEMS ../LICENSE NOTICE.md Apache-2.0.txt CC0-1.0.txt matplotlib.txt)
  if(NOT EXISTS "${licenses}/${file}")
    message(FATAL_ERROR "${licenses}/${file} is not installed")
  endif()
endforeach()
file(READ "${licenses}/NOTICE.md" notice)
file(STRINGS "${SOURCE}/src/velmo/colormapping/MxColorTables.cpp" tables REGEX "^constexpr std::uint32_t k")
list(TRANSFORM tables REPLACE ".* k([A-Z0-9_]+)\\[.*" "\\1")
foreach(table IN LISTS tables ITEMS RAINBOW_TURBO)
  if(NOT notice MATCHES "`${table}`")
    message(FATAL_ERROR "${licenses}/NOTICE.md does not name the source of ${table}")
  endif()
endforeach()

# An application of all libraries; one that reads files on a machine without Coin.
project(app "${SOURCE}/tests/package")
run("${WORK}/app/package_test")
project(io "${SOURCE}/tests/package/io" -DCMAKE_DISABLE_FIND_PACKAGE_Coin=ON)
run("${WORK}/io/package_io_test")

# The examples, as they are installed.
project(examples "${prefix}/${DOCDIR}/examples")
file(GLOB examples "${prefix}/${DOCDIR}/examples/*.cpp")
foreach(example IN LISTS examples)
  get_filename_component(name "${example}" NAME_WE)
  run("${WORK}/examples/${name}" "${WORK}/${name}.png")
  if(NOT EXISTS "${WORK}/${name}.png")
    message(FATAL_ERROR "the example ${name} drew no picture")
  endif()
endforeach()

# pkg-config alone says all that the compiler needs, the language's version too.
find_program(pkg_config pkg-config)
find_program(compiler NAMES c++ g++)
if(NOT pkg_config OR NOT compiler)
  message(STATUS "pkg-config or a compiler called c++ is missing: not tried")
  return()
endif()
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
foreach(use IN ITEMS "velmo_picture ${prefix}/${DOCDIR}/examples/01_skin.cpp" "velmo_io ${SOURCE}/tests/package/io/main.cpp")
  separate_arguments(use)
  list(POP_FRONT use package)
  run(${pkg_config} --cflags --libs ${package})
  if(output MATCHES "${WORK}/installed" OR NOT output MATCHES "${prefix}/")
    message(FATAL_ERROR "${package}.pc names another place: ${output}")
  endif()
  separate_arguments(flags UNIX_COMMAND "${output} ${FLAGS}")
  run(${compiler} ${use} -o "${WORK}/${package}_test" ${flags} "-Wl,-rpath,${prefix}/${LIBDIR}")
  run("${WORK}/${package}_test")
endforeach()
