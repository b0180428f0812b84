// Fatal failure inside a solver module: "vexa: <tag>: <message>" on stderr,
// then abort. Modules report no errors by return value.
#pragma once

#include <string_view>

namespace vexa::mod {

[[noreturn]] void module_fatal(std::string_view tag, std::string_view message);

}  // namespace vexa::mod
