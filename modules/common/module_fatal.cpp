#include "module_fatal.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace vexa::mod {

void module_fatal(std::string_view tag, std::string_view message) {
    std::string line = "vexa: ";
    line.append(tag);
    line.append(": ");
    line.append(message);
    line.push_back('\n');
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
    std::abort();
}

}  // namespace vexa::mod
