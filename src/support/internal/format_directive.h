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

// A directive's length modifier, as written: `hh`, `h`, `l`, `ll`, `j`, `z`, `t` or `L`.
enum class FormatLength : unsigned char {
    None,
    Char,
    Short,
    Long,
    LongLong,
    Maximum,
    Size,
    PointerDifference,
    LongDouble,
};

// One `%` directive of the positional syntax, as read from a pattern. Both `Format` and the
// named-pattern expansion read directives the same way, so that an expanded pattern renders
// exactly as its author wrote it.
struct FormatDirective {
    // The directive reached kFormatDirectiveLimit characters; rendering stops.
    bool tooLong = false;
    // Pattern index right behind the directive.
    std::size_t end = 0;
    // 1-based argument position, or 0 for the next argument in order.
    std::size_t position = 0;
    // `%N` alone: the argument prints by its default conversion.
    bool bare = false;
    FormatStar width;
    FormatStar precision;
    FormatLength length = FormatLength::None;
    // False when the pattern ended before the conversion character.
    bool hasConversion = false;
    char conversion = '\0';
    // '%', flags, width and precision as they will be printed: no positions, no length and no
    // conversion, which are chosen against the argument when it is printed.
    char text[kFormatDirectiveLimit] = {};
    std::size_t textLength = 0;
};

// Reads the directive whose `%` is at `pattern[percent]`; `%%` is the caller's business. A
// number right behind the `%` is a position only when it is between 1 and `argumentCount`.
FormatDirective ParseFormatDirective(std::string_view pattern, std::size_t percent,
                                     std::size_t argumentCount);

}  // namespace Tavix::Client::internal
