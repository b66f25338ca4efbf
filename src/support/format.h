#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "support/format_argument.h"

namespace Tavix::Client {

// Renders a message of the positional syntax: `%1`..`%4` print an argument by its own default
// conversion, `%N$` followed by a printf directive prints argument N with that
// directive, and a plain printf directive takes the next argument in order. A
// conversion that does not suit the argument is replaced by the argument's default, so nothing
// is ever read or written beyond what was passed (`%d` with a text prints the text, `%n` prints
// the argument). A length converts an integer as a cast to its type would (`%hd` prints 70000
// as 4464, `%lu` prints a 32-bit -1 as 18446744073709551615); a 64-bit integer under a directive
// without one keeps its 64 bits, and a length that suits no conversion of the argument (`L` on an
// integer, `l` on a text) is left out. The text is cut silently at kFormatMaximumLength bytes.
template <typename... Arguments>
std::string Format(std::string_view pattern, const Arguments&... arguments);

// Size of the working buffer; a rendered message is at most one byte shorter.
inline constexpr std::size_t kFormatBufferSize = 4096;
inline constexpr std::size_t kFormatMaximumLength = kFormatBufferSize - 1;

// The longest directive (from the `%` to the conversion, without positions) is one
// character shorter than this; a longer one ends the rendering where it starts.
inline constexpr std::size_t kFormatDirectiveLimit = 60;

inline constexpr std::size_t kFormatMaximumArguments = 4;

// The non-template core: `arguments` holds at most kFormatMaximumArguments entries.
std::string FormatArguments(std::string_view pattern, std::span<const FormatArgument> arguments);

namespace internal {

template <typename... Prepared>
std::string FormatPrepared(std::string_view pattern, const Prepared&... prepared) {
    const std::array<FormatArgument, sizeof...(Prepared)> list{MakeFormatArgument(prepared)...};
    return FormatArguments(pattern, list);
}

}  // namespace internal

template <typename... Arguments>
std::string Format(std::string_view pattern, const Arguments&... arguments) {
    static_assert(sizeof...(Arguments) <= kFormatMaximumArguments,
                  "Format takes at most four arguments");
    return internal::FormatPrepared(pattern, internal::PrepareFormatArgument(arguments)...);
}

}  // namespace Tavix::Client
