# run(COMMAND ... [WORKING_DIRECTORY dir] [OUTPUT var]): runs a command of a consumer test and
# stops the test with its output when it fails. WORK_DIR is the default directory.
function(run)
  cmake_parse_arguments(R "" "WORKING_DIRECTORY;OUTPUT" "COMMAND" ${ARGN})
  if(NOT R_WORKING_DIRECTORY)
    set(R_WORKING_DIRECTORY ${WORK_DIR})
  endif()
  execute_process(COMMAND ${R_COMMAND} WORKING_DIRECTORY ${R_WORKING_DIRECTORY}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " cmd "${R_COMMAND}")
    message(FATAL_ERROR "failed (${rc}): ${cmd}\n${out}\n${err}")
  endif()
  if(R_OUTPUT)
    set(${R_OUTPUT} "${out}" PARENT_SCOPE)
  endif()
endfunction()
