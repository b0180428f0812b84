list(APPEND VEXA_SOURCES
  core/bigint.cpp
  core/fatal.cpp
  core/block_alloc.cpp
  core/parallel.cpp
  core/variable_table.cpp
  core/int_var_table.cpp
  core/var_api.cpp
)
