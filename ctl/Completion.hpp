// What may stand at the end of an incomplete command line; the shell's completion asks for it.
#ifndef CTL_COMPLETION_HPP
#define CTL_COMPLETION_HPP

#include <functional>
#include <string>
#include <vector>

#include "ctl/Client.hpp"

namespace ctl {

// The words behind the program's name, up to the cursor; the last is the one to complete, and may be empty.
// Each candidate is the whole word; one that ends in '/' or '=' goes on. The collector is asked where names
// of its applications and resources could stand; when it does not answer within a second, there are none.
std::vector<std::string> completionsOf(std::vector<std::string> words);

} // namespace ctl

#endif
