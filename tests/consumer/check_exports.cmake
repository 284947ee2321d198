# The shared library exports exactly the public API: names in ORBI_LUMO2D (functions, and the
# type information and virtual tables of the exported classes), nothing internal.
# Run by CTest with cmake -P and LIBRARY, NM.
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} RESULT_VARIABLE rc1 OUTPUT_VARIABLE mangled)
execute_process(COMMAND ${NM} -DC --defined-only ${LIBRARY} RESULT_VARIABLE rc2 OUTPUT_VARIABLE demangled)
if(NOT rc1 EQUAL 0 OR NOT rc2 EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()

# By mangled name: members and free functions of the namespace (not template code of the
# standard library that merely mentions a library type), type information, virtual tables.
string(REPLACE "\n" ";" lines "${mangled}")
set(count 0)
foreach(line ${lines})
  string(REGEX REPLACE "^[0-9a-fA-F]* *[A-Za-z] " "" name "${line}")
  if(name STREQUAL "")
    continue()
  endif()
  if(NOT name MATCHES "^_Z(N|NK|TIN|TSN|TVN)11ORBI_LUMO2D")
    message(SEND_ERROR "exported outside the public namespace: ${name}")
  endif()
  math(EXPR count "${count}+1")
endforeach()

# By readable name: no internal class or helper, and the essentials are there.
string(REPLACE "\n" ";" lines "${demangled}")
foreach(line ${lines})
  foreach(internal GeomTest MsgPublisher reportError reportWarning reportInfo logError assertionFailed
                   qualifiedFunctionName VertexVault ConstraintMgr SimplePool "ORBI_LUMO2D::Dt2::")
    string(FIND "${line}" "${internal}" pos)
    if(NOT pos EQUAL -1)
      message(SEND_ERROR "internal symbol exported: ${line}")
    endif()
  endforeach()
endforeach()
foreach(required "typeinfo for ORBI_LUMO2D::LumoException" "vtable for ORBI_LUMO2D::MsgBase"
                 "ORBI_LUMO2D::timer(" "ORBI_LUMO2D::getLumo2DVersion" "ORBI_LUMO2D::readPointsBIN("
                 "ORBI_LUMO2D::Lumo_2D::createConstraint(" "ORBI_LUMO2D::ConstraintGraph2::getPolygonVertices("
                 "ORBI_LUMO2D::ConstraintSegment2::split_combinatorialOnly(")
  string(FIND "${demangled}" "${required}" pos)
  if(pos EQUAL -1)
    message(SEND_ERROR "public symbol missing: ${required}")
  endif()
endforeach()
message(STATUS "${count} exported symbols, all public")
