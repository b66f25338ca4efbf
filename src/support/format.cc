#include "support/format.h"

#include <charconv>
#include <cstdio>
#include <cstring>

#include "support/internal/format_directive.h"

namespace Tavix::Client {

namespace {

using internal::FormatDirective;
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

// The argument's bits as an unsigned 64-bit number, read from the member its row wrote.
std::uint64_t RawBits(const FormatArgument& argument) {
    return IsSignedRow(argument.kind) ? static_cast<std::uint64_t>(argument.signedValue)
                                      : argument.unsignedValue;
}

// The value that a signed conversion sees, at the row's own width.
long long SignedValue(const FormatArgument& argument) {
    if (IsWide(argument.kind)) {
        return static_cast<long long>(RawBits(argument));
    }
    return static_cast<int>(static_cast<std::uint32_t>(RawBits(argument)));
}

// The value that an unsigned conversion sees, at the row's own width.
unsigned long long UnsignedValue(const FormatArgument& argument) {
    if (IsWide(argument.kind)) {
        return RawBits(argument);
    }
    return static_cast<std::uint32_t>(RawBits(argument));
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
    const char conversion = ValidConversion(argument.kind, directive);
    const bool plain = directive.textLength == 1 && starCount == 0;

    // The common cases print without the runtime's format parser.
    if (plain && argument.kind == FormatArgumentKind::Text) {
        const char* text = argument.text != nullptr ? argument.text : "(null)";
        return output.Append(text, std::strlen(text));
    }
    if (plain && (conversion == 'd' || conversion == 'i' || conversion == 'u') &&
        argument.kind != FormatArgumentKind::Double) {
        char digits[24];
        const auto result =
            conversion == 'u'
                ? std::to_chars(digits, digits + sizeof digits, UnsignedValue(argument))
                : std::to_chars(digits, digits + sizeof digits, SignedValue(argument));
        return output.Append(digits, static_cast<std::size_t>(result.ptr - digits));
    }

    char final[kFormatDirectiveLimit + 4];
    std::memcpy(final, directive.text, directive.textLength);
    std::size_t length = directive.textLength;
    if (IsWide(argument.kind) && conversion != 'c') {
        final[length++] = 'l';
        final[length++] = 'l';
    }
    final[length++] = conversion;
    final[length] = '\0';

    int printed = -1;
    switch (argument.kind) {
        case FormatArgumentKind::Text:
            printed = Print(output, final, starCount, stars,
                            argument.text != nullptr ? argument.text : "(null)");
            break;
        case FormatArgumentKind::Double:
            printed = Print(output, final, starCount, stars, argument.doubleValue);
            break;
        default:
            if (conversion == 'c') {
                printed =
                    Print(output, final, starCount, stars, static_cast<int>(SignedValue(argument)));
            } else if (conversion == 'd' || conversion == 'i') {
                printed = IsWide(argument.kind)
                              ? Print(output, final, starCount, stars, SignedValue(argument))
                              : Print(output, final, starCount, stars,
                                      static_cast<int>(SignedValue(argument)));
            } else {
                printed = IsWide(argument.kind)
                              ? Print(output, final, starCount, stars, UnsignedValue(argument))
                              : Print(output, final, starCount, stars,
                                      static_cast<unsigned>(UnsignedValue(argument)));
            }
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
    value = static_cast<int>(static_cast<std::uint32_t>(RawBits(argument)));
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
