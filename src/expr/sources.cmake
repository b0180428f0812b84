list(APPEND VEXA_SOURCES
  expr/term_api.cpp
  expr/text.cpp
)
