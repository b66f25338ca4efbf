#pragma once
// The event handler that the JSON reader drives: each event fills the value that the document
// has reached, so the tree is built with no intermediate document.

#include <cmath>
#include <cstdint>
#include <vector>

#include <rapidjson/reader.h>

#include "binding/value.h"

namespace Tavix::Client::Internal {

class JsonValueHandler {
public:
    explicit JsonValueHandler(BindingValue& root) : current_(&root) { stack_.reserve(16); }

    // The reader recurses once per open container; stopping here bounds that recursion.
    bool TooDeep() const { return tooDeep_; }
    bool NumberTooBig() const { return numberTooBig_; }

    bool Null() {
        Next();
        return true;
    }
    bool Bool(bool value) {
        Next().SetBool(value);
        return true;
    }
    bool Int(int value) {
        Next().SetSigned(value);
        return true;
    }
    bool Uint(unsigned value) {
        Next().SetUnsigned(value);
        return true;
    }
    bool Int64(std::int64_t value) {
        Next().SetSigned(value);
        return true;
    }
    bool Uint64(std::uint64_t value) {
        Next().SetUnsigned(value);
        return true;
    }
    // The reader's fast path can overflow to infinity on a long mantissa with a large exponent
    // instead of reporting the number as too big; JSON cannot carry it back out, so refuse it.
    bool Double(double value) {
        if (!std::isfinite(value)) {
            numberTooBig_ = true;
            return false;
        }
        Next().SetFloat(value);
        return true;
    }
    // Only reached with the numbers-as-text flag, which is never given.
    bool RawNumber(const char*, rapidjson::SizeType, bool) { return false; }
    // The text ends at its first NUL, so an escaped NUL cuts the rest of the string off.
    bool String(const char* text, rapidjson::SizeType, bool) {
        Next().SetString(text);
        return true;
    }
    bool StartObject() { return Open(/*structure=*/true); }
    bool Key(const char* text, rapidjson::SizeType, bool) {
        current_ = &stack_.back()->Field(HashedName(text));
        return true;
    }
    bool EndObject(rapidjson::SizeType) {
        stack_.pop_back();
        return true;
    }
    bool StartArray() { return Open(/*structure=*/false); }
    bool EndArray(rapidjson::SizeType) {
        stack_.pop_back();
        return true;
    }

private:
    BindingValue& Next() {
        if (!stack_.empty() && stack_.back()->Kind() == BindingValueKind::Collection) {
            return stack_.back()->Append();
        }
        return *current_;
    }

    bool Open(bool structure) {
        if (stack_.size() >= kBindingMaxDepth) {
            tooDeep_ = true;
            return false;
        }
        BindingValue& container = Next();
        if (structure) {
            container.MakeStructure();
        } else {
            container.MakeCollection();
        }
        stack_.push_back(&container);
        return true;
    }

    BindingValue* current_;
    std::vector<BindingValue*> stack_;
    bool tooDeep_ = false;
    bool numberTooBig_ = false;
};

}  // namespace Tavix::Client::Internal
