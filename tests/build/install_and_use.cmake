# cmake -P script: install, build the consumer against the package, run it.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
set(expected include/vexa/vexa.hpp include/vexa/vexa.h lib/vexa_krunugul.so lib/cmake/vexa/vexaConfig.cmake bin/vexa)
# Every solver module the build made goes beside the library.
file(GLOB modules RELATIVE ${BUILD_DIR}/out ${BUILD_DIR}/out/*_cppint.so)
foreach(module IN LISTS modules)
  list(APPEND expected lib/${module})
endforeach()
foreach(file IN LISTS expected)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()

set(flags "")
if(SANITIZE)
  set(flags "-fsanitize=address,undefined")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/consumer -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_CXX_FLAGS=${flags} -DCMAKE_EXE_LINKER_FLAGS=${flags}
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/consumer OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${WORK_DIR}/consumer/vexa_consumer
  OUTPUT_VARIABLE out RESULT_VARIABLE rc)
message(STATUS "${out}")
# The installed tool finds the installed library.
execute_process(COMMAND ${prefix}/bin/vexa --help OUTPUT_QUIET RESULT_VARIABLE tool_rc)
if(NOT tool_rc EQUAL 0)
  message(FATAL_ERROR "the installed vexa tool does not run (${tool_rc})")
endif()
if(NOT rc EQUAL 0 OR NOT out MATCHES "zero at 2 assignments.*k=4")
  message(FATAL_ERROR "the consumer failed (${rc}): ${out}")
endif()
