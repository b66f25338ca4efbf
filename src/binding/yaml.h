#pragma once
// YAML text to a value tree.

#include <string_view>

#include "binding/result.h"

namespace Tavix::Client {

// Reads the YAML document in `text` into `result`.
void ParseYaml(BindingResult& result, std::string_view text);

}  // namespace Tavix::Client
