list(APPEND VEXA_SOURCES
  array/array.cpp
  array/reduce.cpp
  array/einsum.cpp
  array/array_api.cpp
  array/elementwise_api.cpp
)
