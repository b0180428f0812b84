list(APPEND VEXA_SOURCES
  model/model.cpp
  model/model_api.cpp
  model/sol.cpp
  model/sol_api.cpp
  model/inspect.cpp
  model/inspect_api.cpp
  model/ilp.cpp
  model/ilp_api.cpp
)
