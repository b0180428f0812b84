// Readers of the three problem file formats. Each takes the text (a block in
// memory, or an Input streamed in chunks) and the name to use in messages,
// and throws ReadError on the first fault.
#pragma once

#include <string>
#include <string_view>

#include "readers/problem.hpp"
#include "readers/text.hpp"

namespace vexa::cli {

// qbsolv text: comment lines start with "c"; one header
// "p qubo <topology> <maxNodes> <nNodes> <nLinks>"; then "i j w" lines with
// 0-based indices below maxNodes, nNodes of them with i == j and nLinks with
// i != j.
Problem read_qubo(std::string_view text, const std::string &file);

// MQLib / Beasley matrix: "n m" and m lines "i j w", 1-based. A Beasley
// OR-Library file starts with the number of problems K and holds K such
// blocks; `instance` (1-based) picks one, and every block is checked.
Problem read_matrix(std::string_view text, const std::string &file, uint64_t instance = 1);

// G-set edge list: "n m" and m lines "i j w", 1-based.
Problem read_gset(std::string_view text, const std::string &file);

// Tells the format: a "p" header (or "c" comment) is qbsolv; then the file
// name: ".qubo", ".gset" / ".mc" / "G<number>[.txt]", ".mat" / ".bqp" /
// ".mqlib"; then a single number on the first line, the problem count of a
// Beasley collection; failing those, a diagonal entry (i == i) marks a
// matrix. Throws ReadError when nothing decides. For a streamed file the
// text is its head (Input::head()), so a diagonal is looked for there only.
Format detect_format(std::string_view text, const std::string &path);

Problem read_problem(std::string_view text, const std::string &file, Format format, uint64_t instance = 1);
Problem read_problem(Input &in, const std::string &file, Format format, uint64_t instance = 1);

Problem read_qubo(LineScanner &s);
Problem read_matrix(LineScanner &s, uint64_t instance);
Problem read_gset(LineScanner &s);

}  // namespace vexa::cli
