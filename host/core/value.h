#pragma once
// Host-side values: a deep, self-owning copy of a HostValue tree, and an arena that turns such a
// copy back into a HostValue tree for a call into a module.

#include <cstdint>
#include <deque>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "arx/host_boundary.h"

namespace Tavix::TestHost {

struct Field;

// What a HostValue held, with its own storage. Strings and blobs keep their bytes in `bytes`;
// the original tag (borrowed or owned) is kept for inspection but does not take part in equality.
struct Value {
    std::uint32_t tag = Client::kHostValueNone;
    bool boolean = false;
    std::int64_t signedValue = 0;
    std::uint64_t unsignedValue = 0;
    double floatValue = 0.0;
    std::string bytes;
    std::vector<Value> items;
    std::vector<Field> fields;
    // Set on a node where the copy stopped because the tree was deeper than kMaxCopyDepth.
    bool truncated = false;

    static Value None();
    static Value Bool(bool value);
    static Value Signed(std::int64_t value);
    static Value Unsigned(std::uint64_t value);
    static Value Float(double value);
    static Value Text(std::string text);
    static Value Blob(std::string bytes);
    static Value List(std::vector<Value> items);
    static Value Map(std::initializer_list<std::pair<std::string, Value>> fields);

    bool IsText() const;
    bool IsBlob() const;
    // The value of `key` in a structure, or null.
    const Value* Find(const std::string& key) const;

    // A compact JSON-like rendering for test failure messages.
    std::string ToText() const;
    // Compact JSON: unsigned numbers plain, blobs as Base64 strings, and null for what JSON
    // cannot hold (a NaN, a tree cut at kMaxCopyDepth).
    std::string ToJson() const;
};

struct Field {
    std::string key;
    Value value;
    bool keyOwned = false;
};

// Out of the class: an empty Value needs Field complete.
inline Value Value::None() {
    return {};
}

// Borrowed and owned forms of a string or blob compare equal, and so do keys owned or not.
bool operator==(const Value& left, const Value& right);
inline bool operator!=(const Value& left, const Value& right) {
    return !(left == right);
}

inline constexpr int kMaxCopyDepth = 512;

// Copies everything reachable from `value`. Null arrays and null texts read as empty.
Value CopyHostValue(const Client::HostValue& value);

// Storage for HostValue trees handed to a module. Strings become borrowed strings (tag 5), blobs
// borrowed blobs (tag 7); everything stays valid until the arena is destroyed.
class ValueArena {
public:
    ValueArena() = default;
    ValueArena(const ValueArena&) = delete;
    ValueArena& operator=(const ValueArena&) = delete;

    Client::HostValue Build(const Value& value);
    // A NUL-terminated copy that lives as long as the arena.
    const char* Keep(std::string text);

private:
    std::deque<std::string> texts_;
    std::vector<std::unique_ptr<Client::HostValue[]>> valueArrays_;
    std::vector<std::unique_ptr<Client::HostMapEntry[]>> entryArrays_;
};

}  // namespace Tavix::TestHost
