# Runs one example program and checks what it prints:
#   PROGRAM  the program; it must exit with 0
#   ROWS     the number of report lines that must read "ok" (one per constraint)
#   EXPECT   regular expressions, separated by "|;|", that must all match the output
# No report line may read "VIOLATED".
execute_process(COMMAND ${PROGRAM} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT 120)
message("${out}${err}")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} exited with ${rc}")
endif()
string(REGEX MATCHALL "\nok        [^\n]*" ok_rows "${out}")
list(LENGTH ok_rows found)
if(NOT found EQUAL ROWS)
  message(FATAL_ERROR "expected ${ROWS} report lines that read ok, found ${found}")
endif()
if(out MATCHES "\nVIOLATED")
  message(FATAL_ERROR "a constraint is reported violated")
endif()
string(REPLACE "|;|" ";" patterns "${EXPECT}")
foreach(pattern IN LISTS patterns)
  if(NOT out MATCHES "${pattern}")
    message(FATAL_ERROR "output does not match: ${pattern}")
  endif()
endforeach()
