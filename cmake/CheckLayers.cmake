# Fails when an include points the wrong way between the library's layers.
# Usage: cmake -DROOT=<source dir> [-DINJECT=<file>:<header>] -P CheckLayers.cmake
# INJECT pretends that <file> also includes <header> (the check's own test uses it).
#
# The layers, lowest first; a file names its stem (Dt2 covers Dt2.h and Dt2.cpp). A core file
# may include its own layer and the layers below it, never a higher one and never the side.
# Side files (output, files, tools) may include any core layer. The facade header Lumo_2D.h is
# included by Lumo_2D.cpp alone. Constraints, zones and refinement come between insertion and
# the side as layers of their own.
cmake_policy(VERSION 3.20)
set(LAYERS base values predicates topology insertion constraints zones refinement)
set(LAYER_base        Lumo2D_defs LumoException tools MsgBase MsgPublisher Orientation2 LumoVersion
                      License LicenseCheck)
set(LAYER_values      Point2 Vector2 Bbox2 Segment2 Circle2 VertexPair2 Label Color)
set(LAYER_predicates  GeomTest ExactDiffPredicates)
set(LAYER_topology    Triangle2 Edge2 TopologyOps SimplePool HC2 VertexVault)
set(LAYER_insertion   Inserter InserterMT Dt2 Dt2_insertion Dt2_queries Dt2_removal)
set(LAYER_constraints ConstraintSegment2 ConstraintGraph2 ConstraintMgr InnerVtxMgr Dt2_constraints)
set(LAYER_zones       Zone2 Dt2_zones TriangleSet Dt2_cutting)
set(LAYER_refinement  MeshGenParams Dt2_meshing RefCand3 CandidateQueue GridMesher)
set(SIDE              Visualizer2 MeshExport MeshExport_internal webFiles Dt2_output LumoFiles freeFunctions
                      PointFileReaders PointFileReaders_internal
                      testDataGenerators SegmentChecker SegmentCheckerInspector RTree Lumo_2D
                      PolygonHelpers QMesh QuadMesher)

function(layer_of stem out)
  set(rank 0)
  foreach(layer ${LAYERS})
    if(stem IN_LIST LAYER_${layer})
      set(${out} ${rank} PARENT_SCOPE)
      return()
    endif()
    math(EXPR rank "${rank} + 1")
  endforeach()
  if(stem IN_LIST SIDE)
    set(${out} side PARENT_SCOPE)
  else()
    set(${out} unknown PARENT_SCOPE)
  endif()
endfunction()

file(GLOB FILES ${ROOT}/include/*.h ${ROOT}/dt2Library/*.h ${ROOT}/dt2Library/*.cpp
     ${ROOT}/dt2Library/spatial_index/*.h ${ROOT}/dt2Library/spatial_index/*.cpp)
set(errors "")
foreach(f ${FILES})
  get_filename_component(name ${f} NAME)
  get_filename_component(stem ${f} NAME_WE)
  layer_of(${stem} own)
  if(own STREQUAL "unknown")
    string(APPEND errors "${name}: not in the layer table of cmake/CheckLayers.cmake\n")
    continue()
  endif()
  file(STRINGS ${f} lines REGEX "^#include \"")
  if(DEFINED INJECT)
    string(REPLACE ":" ";" inj "${INJECT}")
    list(GET inj 0 injFile)
    list(GET inj 1 injHeader)
    if(name STREQUAL injFile)
      list(APPEND lines "#include \"${injHeader}\"")
    endif()
  endif()
  foreach(line ${lines})
    string(REGEX REPLACE "^#include \"([^\"]*)\".*" "\\1" inc "${line}")
    get_filename_component(incStem ${inc} NAME_WE)
    if(incStem STREQUAL "Lumo_2D" AND NOT name STREQUAL "Lumo_2D.cpp")
      string(APPEND errors "${name} includes the facade header ${inc}\n")
      continue()
    endif()
    if(own STREQUAL "side")
      continue()
    endif()
    layer_of(${incStem} theirs)
    if(theirs STREQUAL "side" OR theirs STREQUAL "unknown" OR theirs GREATER own)
      string(APPEND errors "${name} (layer ${own}) includes ${inc} (layer ${theirs})\n")
    endif()
  endforeach()
endforeach()
if(errors)
  message(FATAL_ERROR "Wrong-way includes:\n${errors}")
endif()
message(STATUS "include layers: every arrow points down")
