#include "binding/result.h"

#include <string>

#include "binding/binding_string.h"

namespace Tavix::Client {

namespace {
constexpr std::string_view kErrorField = "error";
}

void BindingResult::SetError(std::string_view message) {
    // The message may be this result's own error text, which the reset releases.
    const std::string text(message);
    Reset();
    ok_ = false;
    MakeStructure();
    Field(kErrorField).SetString(std::string_view(text));
}

std::string_view BindingResult::ErrorText() const {
    // The shared empty string's text: zero bytes before a NUL.
    const std::string_view empty("", 0);
    if (ok_) {
        return empty;
    }
    return GetField(kErrorField).GetString(empty);
}

}  // namespace Tavix::Client
