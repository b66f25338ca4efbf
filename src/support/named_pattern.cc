#include "support/named_pattern.h"

#include <cstdio>
#include <cstring>

#include "support/internal/format_directive.h"

namespace Tavix::Client {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsWhiteSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// The positional pattern under construction. A bare reference such as `%1` would swallow a digit
// or a `$` written right behind it (`%15` is no reference to the first argument), so such a
// reference is closed with an explicit conversion before that text goes in.
class PatternOutput {
public:
    explicit PatternOutput(std::string& text) : text_(text) {}

    void Append(std::string_view piece) {
        if (piece.empty()) {
            return;
        }
        if (text_.size() == bareEnd_ && (IsDigit(piece.front()) || piece.front() == '$')) {
            // `s` suits texts; for any other argument `Format` takes the default conversion.
            text_ += "$s";
        }
        text_ += piece;
    }

    void Append(char c) { Append(std::string_view(&c, 1)); }

    void AppendReference(std::size_t index, std::string_view directive) {
        char number[24];
        const int length = std::snprintf(number, sizeof number, "%%%zu", index);
        Append(std::string_view(number, static_cast<std::size_t>(length)));
        if (directive.empty()) {
            bareEnd_ = text_.size();
            return;
        }
        text_ += '$';
        text_ += directive;
        if (!IsLetter(directive.back())) {
            // Without a conversion the next character of the text would become one.
            text_ += 's';
        }
    }

    void TrimTrailingWhiteSpace() {
        while (!text_.empty() && IsWhiteSpace(text_.back())) {
            text_.pop_back();
        }
    }

private:
    std::string& text_;
    std::size_t bareEnd_ = std::string::npos;
};

bool HasTypeSuffix(const std::string& name) {
    const std::size_t underscore = name.rfind('_');
    if (underscore == std::string::npos) {
        return false;
    }
    const std::string_view suffix = std::string_view(name).substr(underscore);
    for (const char* known : {"_bool", "_int", "_long", "_float", "_str", "_time", "_ip"}) {
        if (suffix == known) {
            return true;
        }
    }
    return false;
}

const char* TypeSuffix(const MessageParameter& parameter) {
    switch (parameter.type) {
        case MessageParameter::kBool:
            return "_bool";
        case MessageParameter::kSigned:
        case MessageParameter::kUnsigned:
            return "_int";
        case MessageParameter::kDouble:
            return "_float";
        case MessageParameter::kString:
            return "_str";
        default:
            return "";
    }
}

MessageParameter AsString(const MessageParameter& parameter) {
    char text[24];
    switch (parameter.type) {
        case MessageParameter::kBool:
            return MessageParameter::String(parameter.value.boolValue ? "true" : "false");
        case MessageParameter::kSigned:
            std::snprintf(text, sizeof text, "%lld",
                          static_cast<long long>(parameter.value.signedValue));
            return MessageParameter::String(text);
        case MessageParameter::kUnsigned:
            std::snprintf(text, sizeof text, "%llu",
                          static_cast<unsigned long long>(parameter.value.unsignedValue));
            return MessageParameter::String(text);
        case MessageParameter::kDouble:
            return MessageParameter::String(std::to_string(parameter.value.doubleValue));
        default:
            return parameter;
    }
}

MessageParameter AsHex(const MessageParameter& parameter) {
    const unsigned long long bits =
        parameter.type == MessageParameter::kSigned
            ? static_cast<unsigned long long>(parameter.value.signedValue)
            : static_cast<unsigned long long>(parameter.value.unsignedValue);
    char text[24];
    std::snprintf(text, sizeof text, "%016llX", bits);
    return MessageParameter::String(text);
}

class Expander {
public:
    Expander(const MessageParameter* arguments, std::size_t count, std::string& output,
             MessageParameterMap& parameters)
        : arguments_(arguments), count_(count), output_(output), parameters_(parameters) {}

    void Run(std::string_view pattern) {
        std::size_t i = 0;
        const std::size_t size = pattern.size();
        while (i < size) {
            const char c = pattern[i];
            if (c == '%') {
                if (i + 1 < size && pattern[i + 1] == '%') {
                    output_.Append("%%");
                    i += 2;
                    continue;
                }
                const internal::FormatDirective directive =
                    internal::ParseFormatDirective(pattern, i, count_);
                if (directive.tooLong) {
                    // `Format` would stop at this directive anyway.
                    return;
                }
                ParameterDescriptor descriptor;
                descriptor.percentForm = true;
                descriptor.specifier = std::string(pattern.substr(i, directive.end - i));
                if (directive.position != 0) {
                    index_ = directive.position;
                }
                Finish(descriptor, directive.position != 0
                                       ? (directive.bare ? Placement::Bare : Placement::Positioned)
                                       : Placement::InOrder);
                i = directive.end;
            } else if (c == '{') {
                if (i + 1 < size && pattern[i + 1] == '{') {
                    output_.Append('{');
                    i += 2;
                    continue;
                }
                i = ReadParameter(pattern, i + 1);
            } else if (c == '}') {
                output_.Append('}');
                i += (i + 1 < size && pattern[i + 1] == '}') ? 2 : 1;
            } else {
                const std::size_t next = pattern.find_first_of("%{}", i);
                const std::size_t end = next == std::string_view::npos ? size : next;
                output_.Append(pattern.substr(i, end - i));
                i = end;
            }
        }
    }

private:
    // Reads from behind an opening brace; returns the index behind the closing one, or the end
    // of the pattern when the parameter is unclosed (it then produces nothing).
    std::size_t ReadParameter(std::string_view pattern, std::size_t i) {
        ParameterDescriptor descriptor;
        if (i < pattern.size() && pattern[i] == '#') {
            descriptor.typedName = true;
            ++i;
        }
        while (i < pattern.size()) {
            const char c = pattern[i++];
            switch (c) {
                case '!':
                    descriptor.hidden = true;
                    break;
                case '?':
                    descriptor.hasFallback = true;
                    break;
                case ':':
                    descriptor.hasSpecifier = true;
                    break;
                case '@':
                    descriptor.hasModifier = true;
                    break;
                case '{':
                    break;
                case '}':
                    Finish(descriptor, Placement::InOrder);
                    return i;
                case '\\':
                    if (i >= pattern.size()) {
                        return pattern.size();
                    }
                    Section(descriptor) += pattern[i++];
                    break;
                default:
                    Section(descriptor) += c;
                    break;
            }
        }
        return pattern.size();
    }

    static std::string& Section(ParameterDescriptor& descriptor) {
        if (descriptor.hasSpecifier) {
            return descriptor.specifier;
        }
        if (descriptor.hasModifier) {
            return descriptor.modifier;
        }
        if (descriptor.hasFallback) {
            return descriptor.fallback;
        }
        return descriptor.name;
    }

    // How a `%` parameter named its argument.
    enum class Placement { InOrder, Bare, Positioned };

    void Finish(ParameterDescriptor& descriptor, Placement placement) {
        const std::size_t index = index_++;
        if (index == 0 || index > count_) {
            return;
        }
        MessageParameter argument = arguments_[index - 1];

        if (descriptor.hasModifier && descriptor.modifier == "str") {
            argument = AsString(argument);
        } else if (descriptor.hasModifier && descriptor.modifier == "hex" && argument.IsInteger()) {
            argument = AsHex(argument);
            descriptor.hasSpecifier = true;
            descriptor.specifier = "016llX";
        }
        if (descriptor.typedName && !HasTypeSuffix(descriptor.name)) {
            descriptor.name += TypeSuffix(argument);
        }
        if (descriptor.hasFallback && argument.IsEmpty()) {
            output_.Append(descriptor.fallback);
            return;
        }
        if (!descriptor.name.empty()) {
            parameters_.insert_or_assign(descriptor.name, std::move(argument));
        }
        if (descriptor.hidden) {
            output_.TrimTrailingWhiteSpace();
            return;
        }
        if (!descriptor.percentForm) {
            output_.AppendReference(index,
                                    descriptor.hasSpecifier ? descriptor.specifier : std::string());
        } else if (placement == Placement::Bare) {
            output_.AppendReference(index, {});
        } else if (placement == Placement::Positioned) {
            output_.Append(descriptor.specifier);
        } else {
            // `Format` gives a directive without a position the next argument in its own
            // order, which named references before it do not advance; the explicit position
            // keeps the printed argument the one recorded here.
            output_.AppendReference(index, std::string_view(descriptor.specifier).substr(1));
        }
    }

    const MessageParameter* arguments_;
    std::size_t count_;
    PatternOutput output_;
    MessageParameterMap& parameters_;
    std::size_t index_ = 1;
};

}  // namespace

void ExpandNamedPattern(std::string_view pattern, const MessageParameter* arguments,
                        std::size_t argumentCount, std::string& output,
                        MessageParameterMap& parameters) {
    Expander(arguments, argumentCount, output, parameters).Run(pattern);
}

}  // namespace Tavix::Client
