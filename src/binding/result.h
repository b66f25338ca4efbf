#pragma once
// What every conversion and codec returns: a value and whether it is the result. A failed result
// is a structure with the single string field "error" that holds the message. A conversion that
// tests ok first does nothing on a failed result, so a long run of conversions stops at the
// first error and reports it.

#include <string_view>

#include "binding/value.h"

namespace Tavix::Client {

class BindingResult : public BindingValue {
public:
    BindingResult() = default;
    // A result built inside `context` as a child that shares it, for a temporary whose content
    // goes into a tree of that context: moving it there then hands over its records rather than
    // copying them. It must not outlive the root that owns the context.
    explicit BindingResult(BindingContext* context) : BindingValue(context) {}
    BindingResult(const BindingResult&) = default;
    BindingResult(BindingResult&&) noexcept = default;
    BindingResult& operator=(const BindingResult&) = default;
    BindingResult& operator=(BindingResult&&) noexcept = default;
    ~BindingResult() = default;
    using BindingValue::operator=;

    bool Ok() const { return ok_; }

    // Replaces the content by {"error": message} and marks the result failed. A later call
    // replaces the message.
    void SetError(std::string_view message);

    // Empty while ok; else the "error" field's text, or empty if that field is no string.
    std::string_view ErrorText() const;

    // Clears the value and marks the result ok again.
    void ResetToOk() {
        Reset();
        ok_ = true;
    }

private:
    bool ok_ = true;
};

}  // namespace Tavix::Client
