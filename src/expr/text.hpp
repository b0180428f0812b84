// Text forms shared by the term, expression and solution printers.
#pragma once

#include <string>

struct TermImpl;

namespace vexa {

// "x", "-x", "3*x*y", "-2*~x"; a constant term is its coefficient.
void append_term_text(std::string &out, const TermImpl &t);

}  // namespace vexa
