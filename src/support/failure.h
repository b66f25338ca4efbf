#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "support/format.h"
#include "support/message_parameter.h"

namespace Tavix::Client {

// A text that a `Failure` constructor takes as its pattern or as an argument.
template <typename T>
concept FailureText =
    std::is_same_v<T, std::string> || std::is_convertible_v<const T&, const char*>;

// The description of an expected failure: a code (0 for none, the HTTP status for a failed
// request), a rendered message and the named values it was made of.
//
// Failure("Error response for {method} {url}: {error}", method, url, error) renders
// "Error response for GET /x: gone" and records method, url and error as parameters.
class Failure {
public:
    // No code, no parameters, and no message: GetMessage gives null.
    Failure() = default;

    template <FailureText Pattern, FailureText... Arguments>
    explicit Failure(const Pattern& pattern, const Arguments&... arguments) {
        static_assert(sizeof...(Arguments) <= kFormatMaximumArguments,
                      "a failure message takes at most four arguments");
        Compose(TextOf(pattern), {TextOf(arguments)...});
    }

    // A non-zero code is also recorded as the parameter "errorCode_int".
    template <FailureText Pattern, FailureText... Arguments>
    Failure(std::int32_t code, const Pattern& pattern, const Arguments&... arguments) {
        static_assert(sizeof...(Arguments) <= kFormatMaximumArguments,
                      "a failure message takes at most four arguments");
        SetErrorCode(code);
        Compose(TextOf(pattern), {TextOf(arguments)...});
    }

    // The borrowed text if one was set (which may be null), else the owned one.
    const char* GetMessage() const;

    // Replaces the message with a text that the failure does not own; it must outlive it.
    void SetBorrowedMessage(const char* text) { message_ = text; }
    void SetMessage(std::string text) { message_ = std::move(text); }

    std::int32_t errorCode = 0;
    MessageParameterMap parameters;

private:
    static const char* TextOf(const std::string& text) { return text.c_str(); }
    static const char* TextOf(const char* text) { return text != nullptr ? text : ""; }

    void SetErrorCode(std::int32_t code);
    void Compose(const char* pattern, std::initializer_list<const char*> arguments);

    std::variant<const char*, std::string> message_{static_cast<const char*>(nullptr)};
};

}  // namespace Tavix::Client
