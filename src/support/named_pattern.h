#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "support/message_parameter.h"

namespace Tavix::Client {

// What one parameter of a named pattern asked for, while it is being read.
struct ParameterDescriptor {
    std::string name;        // empty for an anonymous parameter
    std::string fallback;    // after `?`: printed instead when the argument is empty
    std::string specifier;   // after `:`; for a `%` parameter, its whole directive
    std::string modifier;    // after `@`: "str" or "hex"
    bool typedName = false;  // `{#name}`: the name gets a suffix for the argument's type
    bool hidden = false;     // `!`: recorded, not printed
    bool hasFallback = false;
    bool hasSpecifier = false;
    bool percentForm = false;
    bool hasModifier = false;
};

// Turns a named pattern ("Error response for {method} {url}: {error}") into a positional one for
// `Format` ("Error response for %1 %2: %3"), appending to `output`, and records each named
// parameter's argument in `parameters`. Names label the arguments in order: the n-th parameter
// takes `arguments[n - 1]`; a parameter beyond `argumentCount` is dropped.
//
// Inside braces: `#` right after the brace asks for a typed name, `!` hides the reference, `?`
// starts a fallback for an empty argument, `@` a modifier ("str", "hex"), `:` a printf
// directive, and `\` takes the next character literally. Outside braces `{{` and `}}` print
// one brace, and `%` directives work as in `Format`.
void ExpandNamedPattern(std::string_view pattern, const MessageParameter* arguments,
                        std::size_t argumentCount, std::string& output,
                        MessageParameterMap& parameters);

}  // namespace Tavix::Client
