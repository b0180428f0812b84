// Drives a search the way a user does: the instance becomes an expression
// through the C interface, then a model, then a solver wrapper of the
// library, which opens the module. The returned energy is checked against
// the library's own evaluation of the returned bits.
#pragma once

#include "instance_reader.hpp"
#include "module_client.hpp"

namespace bench {

// Exits with a message if the reported energy differs from the model's.
ModuleRun solve_through_library(const Qubo &q, const TextPairs &params, Family family);

}  // namespace bench
