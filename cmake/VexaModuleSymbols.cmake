# The symbol lists of the solver module families, read from
# src/solver/module_symbols.h, so that the build can make test modules that
# each lack one symbol of a list.
set(VEXA_MODULE_SYMBOLS_FILE ${PROJECT_SOURCE_DIR}/src/solver/module_symbols.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${VEXA_MODULE_SYMBOLS_FILE})

# Appends the names of VEXA_<list>_MODULE_SYMBOLS to <names_var>, following
# the lists it includes.
function(_vexa_module_symbol_rows list text names_var)
  if(NOT text MATCHES "#define VEXA_${list}_MODULE_SYMBOLS\\(X\\)([^#]*)")
    message(FATAL_ERROR "${VEXA_MODULE_SYMBOLS_FILE} has no list VEXA_${list}_MODULE_SYMBOLS")
  endif()
  string(REGEX MATCHALL "X\\([a-z0-9_]+, *[A-Za-z0-9_]+, *[a-z_]+\\)|VEXA_[A-Z]+_MODULE_SYMBOLS\\(X\\)"
         items "${CMAKE_MATCH_1}")
  set(names ${${names_var}})
  foreach(item IN LISTS items)
    if(item MATCHES "^X\\(([a-z0-9_]+),")
      list(APPEND names ${CMAKE_MATCH_1})
    elseif(item MATCHES "^VEXA_([A-Z]+)_MODULE_SYMBOLS")
      _vexa_module_symbol_rows(${CMAKE_MATCH_1} "${text}" names)
    endif()
  endforeach()
  set(${names_var} ${names} PARENT_SCOPE)
endfunction()

# vexa_module_symbols(<NIMBA|EXHAUSTIVE|TESSIX> <names_var>): the family's
# symbol names, without the prefix, in list order.
function(vexa_module_symbols family names_var)
  file(READ ${VEXA_MODULE_SYMBOLS_FILE} text)
  set(names)
  _vexa_module_symbol_rows(${family} "${text}" names)
  set(${names_var} ${names} PARENT_SCOPE)
endfunction()
