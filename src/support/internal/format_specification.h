#pragma once

#include <cstddef>
#include <string_view>

#include "support/format.h"

namespace Tavix::Client::internal {

// Where a `*` width or precision takes its number from.
struct FormatStar {
    enum class Source : unsigned char { None, Sequential, Positional };
    Source source = Source::None;
    std::size_t position = 0;  // 1-based, for Positional
};

// One `%` specification of the positional syntax, as read from a pattern. Both `Format` and the
// named-pattern expansion read specifications the same way, so that an expanded pattern renders
// exactly as its author wrote it.
struct FormatSpecification {
    // The specification reached kFormatSpecificationLimit characters; rendering stops.
    bool tooLong = false;
    // Pattern index right behind the specification.
    std::size_t end = 0;
    // 1-based argument position, or 0 for the next argument in order.
    std::size_t position = 0;
    // `%N` alone: the argument prints by its default conversion.
    bool bare = false;
    FormatStar width;
    FormatStar precision;
    // False when the pattern ended before the conversion character.
    bool hasConversion = false;
    char conversion = '\0';
    // '%', flags, width and precision as they will be printed: no positions, no length
    // modifier (the argument's own size decides that), no conversion.
    char text[kFormatSpecificationLimit] = {};
    std::size_t textLength = 0;
};

// Reads the specification whose `%` is at `pattern[percent]`; `%%` is the caller's business. A
// number right behind the `%` is a position only when it is between 1 and `argumentCount`.
FormatSpecification ParseFormatSpecification(std::string_view pattern, std::size_t percent,
                                             std::size_t argumentCount);

}  // namespace Tavix::Client::internal
