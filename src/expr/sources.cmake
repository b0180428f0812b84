list(APPEND VEXA_SOURCES
  expr/term_api.cpp
  expr/term_buffer.cpp
  expr/expr.cpp
  expr/attr_rules.cpp
  expr/expr_api.cpp
  expr/expr_form_api.cpp
  expr/expr_eval_api.cpp
  expr/product.cpp
  expr/merge.cpp
  expr/simplify.cpp
  expr/spin.cpp
  expr/eval.cpp
  expr/text.cpp
)
