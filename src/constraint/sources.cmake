list(APPEND VEXA_SOURCES
  constraint/tables.cpp
  constraint/attr.cpp
  constraint/asking_api.cpp
)
