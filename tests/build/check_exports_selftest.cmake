# The export check must notice a mismatch in either direction. Runs it on a
# copy of the public headers with one declaration removed and one made up,
# and expects it to fail naming both.
#   cmake -DLIBRARY=<so> -DHEADER_DIR=<include/vexa> -DWORK_DIR=<scratch> -P check_exports_selftest.cmake
file(REMOVE_RECURSE "${WORK_DIR}")
file(COPY "${HEADER_DIR}/" DESTINATION "${WORK_DIR}")

file(READ "${WORK_DIR}/expr.h" text)
string(REPLACE "VEXA_API ExprImpl *vexa_expr_sqr(" "ExprImpl *vexa_expr_sqr(" edited "${text}")
if(edited STREQUAL text)
  message(FATAL_ERROR "vexa_expr_sqr is no longer declared in expr.h; pick another function for this test")
endif()
file(WRITE "${WORK_DIR}/expr.h" "${edited}")
file(APPEND "${WORK_DIR}/var.h" "VEXA_API uint32_t\n    vexa_var_made_up(void);\n")

execute_process(
  COMMAND ${CMAKE_COMMAND} -DLIBRARY=${LIBRARY} -DHEADER_DIR=${WORK_DIR} -P ${CMAKE_CURRENT_LIST_DIR}/check_exports.cmake
  OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE rc)
set(all "${out}${err}")
if(rc EQUAL 0)
  message(FATAL_ERROR "the export check passed on doctored headers:\n${all}")
endif()
foreach(expected "exported but declared in no public header: vexa_expr_sqr" "declared but not exported: vexa_var_made_up")
  string(FIND "${all}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the export check did not report '${expected}':\n${all}")
  endif()
endforeach()
message(STATUS "the export check reports a missing and an undeclared export")
