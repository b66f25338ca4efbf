#pragma once
// YAML text to a value tree, over libyaml's event parser. There is no writer.

#include <string_view>

#include "binding/result.h"

namespace Tavix::Client {

// Reads the one YAML document of the UTF-8 `text` into `result`; an empty text is an empty value.
// Plain scalars are typed: the null, true and false words, then numbers (non-negative integers
// unsigned, negative ones signed, others float), else strings; quoted scalars are strings; the
// str, int, float and bool tags decide for themselves. Aliases become copies of their anchored
// value, and an alias may copy at most a bounded number of values in all, in proportion to the
// text, so that nested aliases cannot blow a short text up. Mapping keys must be string scalars.
void ParseYaml(BindingResult& result, std::string_view text);

}  // namespace Tavix::Client
