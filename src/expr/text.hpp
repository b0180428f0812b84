// Text forms shared by the term, expression and solution printers.
#pragma once

#include <string>

struct TermImpl;
struct ExprImpl;

namespace vexa {

// "x", "-x", "3*x*y", "-2*~x"; a constant term is its coefficient.
void append_term_text(std::string &out, const TermImpl &t);
// The constant, then each term with " +" or " " before it: "1 +x -2*x*y";
// "0" for a value without constant and terms.
std::string expr_text(const ExprImpl &e);

}  // namespace vexa
