#include "support/format.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "support/internal/format_directive.h"

namespace Tavix::Client {

namespace {

using internal::FormatDirective;
using internal::FormatLength;
using internal::FormatStar;

// The conversions each row accepts; the first is its default.
const char* AllowedConversions(FormatArgumentKind kind) {
    switch (kind) {
        case FormatArgumentKind::Int32:
        case FormatArgumentKind::Int64:
            return "dciouxX";
        case FormatArgumentKind::UInt32:
        case FormatArgumentKind::UInt64:
            return "ucdioxX";
        case FormatArgumentKind::Character:
            return "cdiouxX";
        case FormatArgumentKind::Double:
            return "gaefGAEF";
        case FormatArgumentKind::Text:
            break;
    }
    return "s";
}

char ValidConversion(FormatArgumentKind kind, const FormatDirective& directive) {
    const char* allowed = AllowedConversions(kind);
    if (directive.bare || !directive.hasConversion || directive.conversion == '\0' ||
        std::strchr(allowed, directive.conversion) == nullptr) {
        return allowed[0];
    }
    return directive.conversion;
}

bool IsWide(FormatArgumentKind kind) {
    return kind == FormatArgumentKind::Int64 || kind == FormatArgumentKind::UInt64;
}

bool IsSignedRow(FormatArgumentKind kind) {
    return kind == FormatArgumentKind::Int32 || kind == FormatArgumentKind::Int64 ||
           kind == FormatArgumentKind::Character;
}

bool IsIntegerConversion(char conversion) {
    switch (conversion) {
        case 'd':
        case 'i':
        case 'o':
        case 'u':
        case 'x':
        case 'X':
            return true;
        default:
            return false;
    }
}

// An integer argument's value converted to the type that a directive reads, as a cast in the
// caller's code would convert it: a 32-bit -1 printed by `%lu` is the 64-bit all-ones number.
template <typename Target>
Target ValueAs(const FormatArgument& argument) {
    return IsSignedRow(argument.kind) ? static_cast<Target>(argument.signedValue)
                                      : static_cast<Target>(argument.unsignedValue);
}

// The length that reaches the runtime with `conversion`, chosen so that the runtime reads exactly
// the type the argument is handed over as.
FormatLength LengthFor(FormatArgumentKind kind, FormatLength written, char conversion) {
    if (IsIntegerConversion(conversion)) {
        if (written == FormatLength::None || written == FormatLength::LongDouble) {
            // `L` names no integer type. A 64-bit argument under a directive that names no length
            // gets `ll` rather than the literal `int`, which would lose its upper half.
            return IsWide(kind) ? FormatLength::LongLong : FormatLength::None;
        }
        return written;
    }
    if (kind == FormatArgumentKind::Double && written == FormatLength::LongDouble) {
        return written;
    }
    // `%lc` and `%ls` would read a wide character or a wide text, which no argument is, and
    // every other length on `c`, `s` or a float is meaningless or changes nothing.
    return FormatLength::None;
}

const char* LengthText(FormatLength length) {
    switch (length) {
        case FormatLength::None:
            break;
        case FormatLength::Char:
            return "hh";
        case FormatLength::Short:
            return "h";
        case FormatLength::Long:
            return "l";
        case FormatLength::LongLong:
            return "ll";
        case FormatLength::Maximum:
            return "j";
        case FormatLength::Size:
            return "z";
        case FormatLength::PointerDifference:
            return "t";
        case FormatLength::LongDouble:
            return "L";
    }
    return "";
}

// Calls `use` with the argument converted to the type that `length` names for a signed or an
// unsigned conversion. `hh` and `h` hand over the narrowed value, which the call promotes back
// to an int, as the runtime expects for them.
template <typename Use>
decltype(auto) WithIntegerType(FormatLength length, bool isSigned, const FormatArgument& argument,
                               Use&& use) {
    switch (length) {
        case FormatLength::Char:
            return isSigned ? use(ValueAs<signed char>(argument))
                            : use(ValueAs<unsigned char>(argument));
        case FormatLength::Short:
            return isSigned ? use(ValueAs<short>(argument))
                            : use(ValueAs<unsigned short>(argument));
        case FormatLength::Long:
            return isSigned ? use(ValueAs<long>(argument)) : use(ValueAs<unsigned long>(argument));
        case FormatLength::LongLong:
            return isSigned ? use(ValueAs<long long>(argument))
                            : use(ValueAs<unsigned long long>(argument));
        case FormatLength::Maximum:
            return isSigned ? use(ValueAs<std::intmax_t>(argument))
                            : use(ValueAs<std::uintmax_t>(argument));
        case FormatLength::Size:
            return isSigned ? use(ValueAs<std::make_signed_t<std::size_t>>(argument))
                            : use(ValueAs<std::size_t>(argument));
        case FormatLength::PointerDifference:
            return isSigned ? use(ValueAs<std::ptrdiff_t>(argument))
                            : use(ValueAs<std::make_unsigned_t<std::ptrdiff_t>>(argument));
        case FormatLength::None:
        case FormatLength::LongDouble:
            break;
    }
    return isSigned ? use(ValueAs<int>(argument)) : use(ValueAs<unsigned>(argument));
}

class Output {
public:
    bool Full() const { return used_ >= kFormatMaximumLength; }
    std::size_t Room() const { return kFormatBufferSize - used_; }
    char* Cursor() { return buffer_ + used_; }

    // Appends what fits; false once the output is full.
    bool Append(const char* text, std::size_t length) {
        const std::size_t room = kFormatMaximumLength - used_;
        if (length > room) {
            std::memcpy(buffer_ + used_, text, room);
            used_ = kFormatMaximumLength;
            return false;
        }
        std::memcpy(buffer_ + used_, text, length);
        used_ += length;
        return used_ < kFormatMaximumLength;
    }

    // Accounts for what the bounded print wrote at the cursor; a failed or cut print fills the
    // output, which ends the rendering.
    bool Advance(int printed) {
        if (printed < 0) {
            return false;
        }
        if (static_cast<std::size_t>(printed) >= Room()) {
            used_ = kFormatMaximumLength;
            return false;
        }
        used_ += static_cast<std::size_t>(printed);
        return used_ < kFormatMaximumLength;
    }

    std::string Take() const { return std::string(buffer_, used_); }

private:
    char buffer_[kFormatBufferSize];
    std::size_t used_ = 0;
};

template <typename Value>
int Print(Output& output, const char* directive, int starCount, const int* stars, Value value) {
    switch (starCount) {
        case 0:
            return std::snprintf(output.Cursor(), output.Room(), directive, value);
        case 1:
            return std::snprintf(output.Cursor(), output.Room(), directive, stars[0], value);
        default:
            return std::snprintf(output.Cursor(), output.Room(), directive, stars[0], stars[1],
                                 value);
    }
}

bool RenderArgument(Output& output, const FormatDirective& directive,
                    const FormatArgument& argument, int starCount, const int* stars) {
    const bool plain = directive.textLength == 1 && starCount == 0;
    // The common cases print without the runtime's format parser.
    if (plain && argument.kind == FormatArgumentKind::Text) {
        const char* text = argument.text != nullptr ? argument.text : "(null)";
        return output.Append(text, std::strlen(text));
    }

    const char conversion = ValidConversion(argument.kind, directive);
    const FormatLength length = LengthFor(argument.kind, directive.length, conversion);
    const bool isSigned = conversion == 'd' || conversion == 'i';
    if (plain && (isSigned || conversion == 'u') && argument.kind != FormatArgumentKind::Double) {
        return WithIntegerType(length, isSigned, argument, [&output](auto value) {
            char digits[24];
            const auto result = std::to_chars(digits, digits + sizeof digits, value);
            return output.Append(digits, static_cast<std::size_t>(result.ptr - digits));
        });
    }

    // Text, a length of at most two characters, the conversion and the NUL.
    char final[kFormatDirectiveLimit + 4];
    std::memcpy(final, directive.text, directive.textLength);
    std::size_t used = directive.textLength;
    for (const char* c = LengthText(length); *c != '\0'; ++c) {
        final[used++] = *c;
    }
    final[used++] = conversion;
    final[used] = '\0';

    const auto print = [&](auto value) { return Print(output, final, starCount, stars, value); };
    int printed = -1;
    switch (argument.kind) {
        case FormatArgumentKind::Text:
            printed = print(argument.text != nullptr ? argument.text : "(null)");
            break;
        case FormatArgumentKind::Double:
            printed = length == FormatLength::LongDouble
                          ? print(static_cast<long double>(argument.doubleValue))
                          : print(argument.doubleValue);
            break;
        default:
            printed = conversion == 'c' ? print(ValueAs<int>(argument))
                                        : WithIntegerType(length, isSigned, argument, print);
            break;
    }
    return output.Advance(printed);
}

// A `*` takes the argument's value as an int: 64-bit rows give their low 32 bits, a character
// its sign-extended value. Doubles and texts are no numbers.
bool StarValue(const FormatArgument& argument, int& value) {
    if (argument.kind == FormatArgumentKind::Double || argument.kind == FormatArgumentKind::Text) {
        return false;
    }
    value = ValueAs<int>(argument);
    return true;
}

// Picks the argument a star or a value refers to; false when there is none.
bool Resolve(const FormatStar& star, std::span<const FormatArgument> arguments,
             std::size_t& sequential, const FormatArgument*& argument) {
    const std::size_t index =
        star.source == FormatStar::Source::Positional ? star.position : ++sequential;
    if (index == 0 || index > arguments.size()) {
        return false;
    }
    argument = &arguments[index - 1];
    return true;
}

bool RenderDirective(Output& output, const FormatDirective& directive,
                     std::span<const FormatArgument> arguments, std::size_t& sequential) {
    int stars[2];
    int starCount = 0;
    for (const FormatStar* star : {&directive.width, &directive.precision}) {
        if (star->source == FormatStar::Source::None) {
            continue;
        }
        const FormatArgument* source = nullptr;
        if (!Resolve(*star, arguments, sequential, source) ||
            !StarValue(*source, stars[starCount])) {
            return false;
        }
        ++starCount;
    }
    const FormatArgument* argument = nullptr;
    const FormatStar value{
        directive.position != 0 ? FormatStar::Source::Positional : FormatStar::Source::Sequential,
        directive.position};
    if (!Resolve(value, arguments, sequential, argument)) {
        return false;
    }
    return RenderArgument(output, directive, *argument, starCount, stars);
}

}  // namespace

std::string FormatArguments(std::string_view pattern, std::span<const FormatArgument> arguments) {
    Output output;
    std::size_t sequential = 0;
    std::size_t index = 0;
    const std::size_t size = pattern.size();
    while (index < size && !output.Full()) {
        const void* found = std::memchr(pattern.data() + index, '%', size - index);
        const std::size_t percent =
            found != nullptr
                ? static_cast<std::size_t>(static_cast<const char*>(found) - pattern.data())
                : size;
        if (!output.Append(pattern.data() + index, percent - index) || percent == size) {
            break;
        }
        if (percent + 1 < size && pattern[percent + 1] == '%') {
            if (!output.Append("%", 1)) {
                break;
            }
            index = percent + 2;
            continue;
        }
        const FormatDirective directive =
            internal::ParseFormatDirective(pattern, percent, arguments.size());
        if (directive.tooLong || !RenderDirective(output, directive, arguments, sequential)) {
            break;
        }
        index = directive.end;
    }
    return output.Take();
}

}  // namespace Tavix::Client
