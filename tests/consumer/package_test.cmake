# Installs the built library into a fresh prefix and builds hosts against it, once through
# find_package(Lumo2D) and once through pkg-config; runs the installed tool when it is built.
# Run by CTest with cmake -P and: BUILD_DIR, SOURCE_DIR, WORK_DIR, CXX, LIBDIR, SHARED,
# HELLO_SOURCE, TOOL (empty when the tool is not built)
cmake_minimum_required(VERSION 3.20)

include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
run(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# ---- what the prefix holds ------------------------------------------------------------
foreach(f include/Lumo2D/Lumo_2D.h ${LIBDIR}/cmake/Lumo2D/Lumo2DConfig.cmake
          ${LIBDIR}/cmake/Lumo2D/Lumo2DConfigVersion.cmake ${LIBDIR}/pkgconfig/lumo2d.pc)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()
file(GLOB_RECURSE headers ${prefix}/include/*)
foreach(h ${headers})
  file(STRINGS ${h} gmpLines REGEX "#[ \t]*include[ \t]*[<\"]gmp")
  if(gmpLines)
    message(FATAL_ERROR "public header includes GMP: ${h}")
  endif()
endforeach()
# Only public headers: the internal ones live in dt2Library/ and stay there.
foreach(internal GeomTest.h tools.h MsgPublisher.h)
  if(EXISTS ${prefix}/include/Lumo2D/${internal})
    message(FATAL_ERROR "internal header installed: ${internal}")
  endif()
endforeach()

# ---- the installed tool starts (a shared build finds its library through the run path) ---
if(TOOL)
  run(COMMAND ${prefix}/bin/lumo2d --version OUTPUT out)
  if(NOT out MATCHES "^lumo2d 1\\.81\\.493 ")
    message(FATAL_ERROR "unexpected output of the installed lumo2d --version:\n${out}")
  endif()
endif()

# ---- find_package ---------------------------------------------------------------------
set(consumer ${SOURCE_DIR}/tests/consumer)
run(COMMAND ${CMAKE_COMMAND} -S ${consumer} -B ${WORK_DIR}/consumer -DCMAKE_BUILD_TYPE=Release
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix} -DHELLO_SOURCE=${HELLO_SOURCE})
run(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
run(COMMAND ${WORK_DIR}/consumer/hello OUTPUT out)
if(NOT out MATCHES "^Lumo2D 1\\.81\\.493\n.*points written and read: 1000\n$")
  message(FATAL_ERROR "unexpected output of hello:\n${out}")
endif()
run(COMMAND ${WORK_DIR}/consumer/consumer_check)

# The version file refuses another major version.
execute_process(COMMAND ${CMAKE_COMMAND} -S ${consumer} -B ${WORK_DIR}/consumer2
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix} -DHELLO_SOURCE=${HELLO_SOURCE}
    -DLUMO2D_WANTED_VERSION=2.0
  RESULT_VARIABLE rc OUTPUT_QUIET ERROR_VARIABLE err)
if(rc EQUAL 0 OR NOT err MATCHES "Lumo2D")
  message(FATAL_ERROR "find_package(Lumo2D 2.0) was not refused:\n${err}")
endif()

# ---- pkg-config -----------------------------------------------------------------------
find_program(PKG_CONFIG pkg-config REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(COMMAND ${PKG_CONFIG} --modversion lumo2d OUTPUT version)
if(NOT version STREQUAL "1.81.493\n")
  message(FATAL_ERROR "pkg-config reports version '${version}'")
endif()
# The plain call links whatever the default build installed; --static links too.
foreach(static "" --static)
  run(COMMAND ${PKG_CONFIG} --cflags --libs ${static} lumo2d OUTPUT flags)
  string(STRIP "${flags}" flags)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run(COMMAND ${CXX} -std=c++17 ${HELLO_SOURCE} ${flags} -Wl,-rpath,${prefix}/${LIBDIR} -o ${WORK_DIR}/hello_pc)
  run(COMMAND ${WORK_DIR}/hello_pc OUTPUT out)
  if(NOT out MATCHES "points written and read: 1000\n$")
    message(FATAL_ERROR "unexpected output of hello built with pkg-config ${static}:\n${out}")
  endif()
endforeach()
message(STATUS "installed package works with find_package and pkg-config")
