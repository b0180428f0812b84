list(APPEND VEXA_SOURCES
  constraint/tables.cpp
  constraint/attr.cpp
  constraint/asking_api.cpp
  constraint/declare.cpp
  constraint/declare_api.cpp
  constraint/expand.cpp
  constraint/varint.cpp
  constraint/varint_api.cpp
)
