list(APPEND VEXA_SOURCES
  solver/modules.cpp
  solver/variant.cpp
  solver/params.cpp
  solver/result.cpp
  solver/result_api.cpp
  solver/module_wiring.cpp
  solver/search_arith.cpp
  solver/int_enumeration.cpp
  solver/exhaustive_driver.cpp
  solver/int_search.cpp
  solver/int_search_result.cpp
  solver/unified.cpp
  solver/nimba_driver.cpp
  solver/forwarders.cpp
)
