#include "support/failure.h"

#include <array>

#include "support/format.h"
#include "support/named_pattern.h"

namespace Tavix::Client {

const char* Failure::GetMessage() const {
    if (const auto* borrowed = std::get_if<const char*>(&message_)) {
        return *borrowed;
    }
    return std::get<std::string>(message_).c_str();
}

void Failure::SetErrorCode(std::int32_t code) {
    if (code == 0) {
        return;
    }
    errorCode = code;
    parameters.insert_or_assign("errorCode_int", MessageParameter::Signed(code));
}

void Failure::Compose(const char* pattern, std::initializer_list<const char*> arguments) {
    const std::size_t count = arguments.size();
    std::array<MessageParameter, kFormatMaximumArguments> named;
    std::array<FormatArgument, kFormatMaximumArguments> printed;
    std::size_t i = 0;
    for (const char* text : arguments) {
        named[i] = MessageParameter::String(text);
        printed[i].kind = FormatArgumentKind::Text;
        printed[i].text = text;
        ++i;
    }
    std::string positional;
    ExpandNamedPattern(pattern, named.data(), count, positional, parameters);
    message_ = FormatArguments(positional, std::span<const FormatArgument>(printed.data(), count));
}

}  // namespace Tavix::Client
