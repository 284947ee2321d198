# Builds a host project that add_subdirectory()s the source tree, with GoogleTest made
# unfindable: the library builds, no test is configured, and the host runs. (A Debug build,
# the host's choice, compiles in about half the time of a Release one.)
# Run by CTest with cmake -P and: SOURCE_DIR, WORK_DIR, CXX, LAUNCHER, HELLO_SOURCE
cmake_minimum_required(VERSION 3.20)
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(launcher)
if(LAUNCHER)
  set(launcher -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})
endif()
run(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer/embed -B ${WORK_DIR}/build
    -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=${CXX} ${launcher} -DLUMO2D_SOURCE_DIR=${SOURCE_DIR}
    -DHELLO_SOURCE=${HELLO_SOURCE} -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON)
run(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build -j2 --target hello)
run(COMMAND ${WORK_DIR}/build/hello OUTPUT out)
if(NOT out MATCHES "points written and read: 1000\n$")
  message(FATAL_ERROR "unexpected output of the embedding host:\n${out}")
endif()
if(EXISTS ${WORK_DIR}/build/lumo2d/tests OR EXISTS ${WORK_DIR}/build/lumo2d/apps)
  message(FATAL_ERROR "embedding configured the tests or the tool")
endif()
message(STATUS "embedded with add_subdirectory: library only, no GoogleTest needed")
