#include "support/internal/format_directive.h"

#include <cstring>

namespace Tavix::Client::internal {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsFlag(char c) {
    return c != '\0' && std::strchr("-+ #0", c) != nullptr;
}

// Positions above this are out of range for any call; the cap keeps long digit runs from
// overflowing.
constexpr std::size_t kPositionCap = 1000;

class DirectiveReader {
public:
    DirectiveReader(std::string_view pattern, std::size_t start, FormatDirective& directive)
        : pattern_(pattern), index_(start), directive_(directive) {}

    bool AtEnd() const { return index_ >= pattern_.size(); }
    char Peek() const { return pattern_[index_]; }
    std::size_t Index() const { return index_; }
    void Skip() { ++index_; }
    void MoveTo(std::size_t index) { index_ = index; }

    // Counts one character against the limit and, if `printed`, keeps it in the text.
    bool Take(char c, bool printed) {
        if (count_ + 1 >= kFormatDirectiveLimit) {
            directive_.tooLong = true;
            return false;
        }
        ++count_;
        if (printed) {
            directive_.text[directive_.textLength++] = c;
        }
        return true;
    }

    // Reads a decimal run starting at `from`; returns the index behind it.
    std::size_t ReadNumber(std::size_t from, std::size_t& value) const {
        value = 0;
        while (from < pattern_.size() && IsDigit(pattern_[from])) {
            value = value * 10 + static_cast<std::size_t>(pattern_[from] - '0');
            if (value > kPositionCap) {
                value = kPositionCap;
            }
            ++from;
        }
        return from;
    }

    // A width or a precision: digits, `*`, or `*N$`.
    bool ReadAmount(FormatStar& star) {
        if (!AtEnd() && Peek() == '-') {
            Skip();
        }
        if (!AtEnd() && Peek() == '*') {
            if (!Take('*', true)) {
                return false;
            }
            Skip();
            std::size_t value = 0;
            const std::size_t behind = ReadNumber(index_, value);
            if (behind > index_ && behind < pattern_.size() && pattern_[behind] == '$') {
                star.source = FormatStar::Source::Positional;
                star.position = value;
                index_ = behind + 1;
            } else {
                star.source = FormatStar::Source::Sequential;
                index_ = behind;
            }
            return true;
        }
        while (!AtEnd() && IsDigit(Peek())) {
            if (!Take(Peek(), true)) {
                return false;
            }
            Skip();
        }
        return true;
    }

private:
    std::string_view pattern_;
    std::size_t index_;
    FormatDirective& directive_;
    std::size_t count_ = 0;
};

bool ReadLength(DirectiveReader& reader, FormatLength& length) {
    if (reader.AtEnd()) {
        return true;
    }
    const char c = reader.Peek();
    switch (c) {
        case 'L':
            length = FormatLength::LongDouble;
            break;
        case 'j':
            length = FormatLength::Maximum;
            break;
        case 'z':
            length = FormatLength::Size;
            break;
        case 't':
            length = FormatLength::PointerDifference;
            break;
        case 'h':
        case 'l':
            reader.Skip();
            if (!reader.Take(c, false)) {
                return false;
            }
            length = c == 'h' ? FormatLength::Short : FormatLength::Long;
            if (!reader.AtEnd() && reader.Peek() == c) {
                reader.Skip();
                length = c == 'h' ? FormatLength::Char : FormatLength::LongLong;
                return reader.Take(c, false);
            }
            return true;
        default:
            return true;
    }
    reader.Skip();
    return reader.Take(c, false);
}

}  // namespace

FormatDirective ParseFormatDirective(std::string_view pattern, std::size_t percent,
                                     std::size_t argumentCount) {
    FormatDirective directive;
    DirectiveReader reader(pattern, percent + 1, directive);
    reader.Take('%', true);

    if (!reader.AtEnd() && reader.Peek() >= '1' && reader.Peek() <= '9') {
        std::size_t value = 0;
        const std::size_t behind = reader.ReadNumber(reader.Index(), value);
        if (value <= argumentCount) {
            directive.position = value;
            if (behind < pattern.size() && pattern[behind] == '$') {
                reader.MoveTo(behind + 1);
            } else {
                directive.bare = true;
                directive.end = behind;
                return directive;
            }
        }
        // Out of range: not a position, the digits are read again as a width.
    }

    while (!reader.AtEnd() && IsFlag(reader.Peek())) {
        if (!reader.Take(reader.Peek(), true)) {
            return directive;
        }
        reader.Skip();
    }
    if (!reader.ReadAmount(directive.width)) {
        return directive;
    }
    if (!reader.AtEnd() && reader.Peek() == '.') {
        if (!reader.Take('.', true)) {
            return directive;
        }
        reader.Skip();
        if (!reader.ReadAmount(directive.precision)) {
            return directive;
        }
    }
    if (!ReadLength(reader, directive.length)) {
        return directive;
    }
    if (!reader.AtEnd()) {
        if (!reader.Take(reader.Peek(), false)) {
            return directive;
        }
        directive.conversion = reader.Peek();
        directive.hasConversion = true;
        reader.Skip();
    }
    directive.end = reader.Index();
    return directive;
}

}  // namespace Tavix::Client::internal
