#include "core/value.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>

namespace Tavix::TestHost {

using Client::HostMapEntry;
using Client::HostValue;

Value Value::Bool(bool value) {
    Value result;
    result.tag = Client::kHostValueBool;
    result.boolean = value;
    return result;
}

Value Value::Signed(std::int64_t value) {
    Value result;
    result.tag = Client::kHostValueSigned;
    result.signedValue = value;
    return result;
}

Value Value::Unsigned(std::uint64_t value) {
    Value result;
    result.tag = Client::kHostValueUnsigned;
    result.unsignedValue = value;
    return result;
}

Value Value::Float(double value) {
    Value result;
    result.tag = Client::kHostValueFloat;
    result.floatValue = value;
    return result;
}

Value Value::Text(std::string text) {
    Value result;
    result.tag = Client::kHostValueBorrowedString;
    result.bytes = std::move(text);
    return result;
}

Value Value::Blob(std::string bytes) {
    Value result;
    result.tag = Client::kHostValueBorrowedBlob;
    result.bytes = std::move(bytes);
    return result;
}

Value Value::List(std::vector<Value> items) {
    Value result;
    result.tag = Client::kHostValueCollection;
    result.items = std::move(items);
    return result;
}

Value Value::Map(std::initializer_list<std::pair<std::string, Value>> fields) {
    Value result;
    result.tag = Client::kHostValueStructure;
    for (const auto& [key, value] : fields) {
        result.fields.push_back({key, value, false});
    }
    return result;
}

bool Value::IsText() const {
    return tag == Client::kHostValueBorrowedString || tag == Client::kHostValueOwnedString;
}

bool Value::IsBlob() const {
    return tag == Client::kHostValueBorrowedBlob || tag == Client::kHostValueOwnedBlob;
}

const Value* Value::Find(const std::string& key) const {
    for (const Field& field : fields) {
        if (field.key == key) {
            return &field.value;
        }
    }
    return nullptr;
}

namespace {

// Folds the owned forms onto the borrowed ones.
std::uint32_t Kind(std::uint32_t tag) {
    if (tag == Client::kHostValueOwnedString) {
        return Client::kHostValueBorrowedString;
    }
    if (tag == Client::kHostValueOwnedBlob) {
        return Client::kHostValueBorrowedBlob;
    }
    return tag;
}

void AppendQuoted(std::string& out, const std::string& text) {
    out += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
            out += escaped;
        } else {
            out += c;
        }
    }
    out += '"';
}

void AppendBase64(std::string& out, const std::string& bytes) {
    static const char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    out += '"';
    std::size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        const auto group =
            (static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << 16) |
            (static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8) |
            static_cast<unsigned char>(bytes[i + 2]);
        for (int shift = 18; shift >= 0; shift -= 6) {
            out += kAlphabet[(group >> shift) & 0x3F];
        }
    }
    if (i < bytes.size()) {
        std::uint32_t group = static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i]))
                              << 16;
        if (i + 1 < bytes.size()) {
            group |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8;
        }
        out += kAlphabet[(group >> 18) & 0x3F];
        out += kAlphabet[(group >> 12) & 0x3F];
        out += i + 1 < bytes.size() ? kAlphabet[(group >> 6) & 0x3F] : '=';
        out += '=';
    }
    out += '"';
}

// The readable form marks what JSON cannot say (unsigned numbers, blobs, cut trees); the JSON
// form says it as a JSON reader expects: plain numbers, Base64 strings, and null for the rest.
enum class Style { Readable, Json };

void Render(const Value& value, std::string& out, Style style) {
    const bool json = style == Style::Json;
    if (value.truncated) {
        out += json ? "null" : "<truncated>";
        return;
    }
    switch (value.tag) {
        case Client::kHostValueNone:
            out += "null";
            return;
        case Client::kHostValueBool:
            out += value.boolean ? "true" : "false";
            return;
        case Client::kHostValueSigned:
            out += std::to_string(value.signedValue);
            return;
        case Client::kHostValueUnsigned:
            out += std::to_string(value.unsignedValue) + (json ? "" : "u");
            return;
        case Client::kHostValueFloat: {
            if (json && !std::isfinite(value.floatValue)) {
                out += "null";
                return;
            }
            char number[32];
            std::snprintf(number, sizeof number, "%.17g", value.floatValue);
            out += number;
            return;
        }
        case Client::kHostValueBorrowedString:
        case Client::kHostValueOwnedString:
            AppendQuoted(out, value.bytes);
            return;
        case Client::kHostValueBorrowedBlob:
        case Client::kHostValueOwnedBlob:
            if (json) {
                AppendBase64(out, value.bytes);
            } else {
                out += "blob(" + std::to_string(value.bytes.size()) + ")";
            }
            return;
        case Client::kHostValueCollection: {
            out += '[';
            const char* separator = "";
            for (const Value& item : value.items) {
                out += separator;
                Render(item, out, style);
                separator = ",";
            }
            out += ']';
            return;
        }
        case Client::kHostValueStructure: {
            out += '{';
            const char* separator = "";
            for (const Field& field : value.fields) {
                out += separator;
                AppendQuoted(out, field.key);
                out += ':';
                Render(field.value, out, style);
                separator = ",";
            }
            out += '}';
            return;
        }
        default:
            out += json ? "null" : "tag(" + std::to_string(value.tag) + ")";
            return;
    }
}

Value Copy(const HostValue& source, int depth) {
    Value result;
    result.tag = source.tag;
    if (depth > kMaxCopyDepth) {
        result.truncated = true;
        return result;
    }
    switch (source.tag) {
        case Client::kHostValueBool:
            result.boolean = source.payload.boolean != 0;
            break;
        case Client::kHostValueSigned:
            result.signedValue = source.payload.signedValue;
            break;
        case Client::kHostValueUnsigned:
            result.unsignedValue = source.payload.unsignedValue;
            break;
        case Client::kHostValueFloat:
            result.floatValue = source.payload.floatValue;
            break;
        case Client::kHostValueBorrowedString:
        case Client::kHostValueOwnedString:
            if (source.payload.text.data != nullptr) {
                result.bytes.assign(source.payload.text.data, source.payload.text.length);
            }
            break;
        case Client::kHostValueBorrowedBlob:
        case Client::kHostValueOwnedBlob:
            if (source.payload.blob.data != nullptr) {
                result.bytes.assign(static_cast<const char*>(source.payload.blob.data),
                                    source.payload.blob.size);
            }
            break;
        case Client::kHostValueCollection: {
            const HostValue* items = source.payload.collection.items;
            const std::uint32_t count = items == nullptr ? 0 : source.payload.collection.count;
            result.items.reserve(count);
            for (std::uint32_t i = 0; i < count; ++i) {
                result.items.push_back(Copy(items[i], depth + 1));
            }
            break;
        }
        case Client::kHostValueStructure: {
            const HostMapEntry* entries = source.payload.structure.entries;
            const std::uint32_t count = entries == nullptr ? 0 : source.payload.structure.count;
            result.fields.reserve(count);
            for (std::uint32_t i = 0; i < count; ++i) {
                const HostMapEntry& entry = entries[i];
                result.fields.push_back({entry.key == nullptr ? std::string() : entry.key,
                                         Copy(entry.value, depth + 1), entry.keyOwned != 0});
            }
            break;
        }
        default:
            break;
    }
    return result;
}

}  // namespace

bool operator==(const Value& left, const Value& right) {
    if (Kind(left.tag) != Kind(right.tag) || left.truncated != right.truncated) {
        return false;
    }
    switch (left.tag) {
        case Client::kHostValueBool:
            return left.boolean == right.boolean;
        case Client::kHostValueSigned:
            return left.signedValue == right.signedValue;
        case Client::kHostValueUnsigned:
            return left.unsignedValue == right.unsignedValue;
        case Client::kHostValueFloat:
            return left.floatValue == right.floatValue;
        case Client::kHostValueBorrowedString:
        case Client::kHostValueOwnedString:
        case Client::kHostValueBorrowedBlob:
        case Client::kHostValueOwnedBlob:
            return left.bytes == right.bytes;
        case Client::kHostValueCollection:
            return left.items == right.items;
        case Client::kHostValueStructure:
            if (left.fields.size() != right.fields.size()) {
                return false;
            }
            for (std::size_t i = 0; i < left.fields.size(); ++i) {
                if (left.fields[i].key != right.fields[i].key ||
                    left.fields[i].value != right.fields[i].value) {
                    return false;
                }
            }
            return true;
        default:
            return true;
    }
}

std::string Value::ToText() const {
    std::string out;
    Render(*this, out, Style::Readable);
    return out;
}

std::string Value::ToJson() const {
    std::string out;
    Render(*this, out, Style::Json);
    return out;
}

Value CopyHostValue(const HostValue& value) {
    return Copy(value, 0);
}

const char* ValueArena::Keep(std::string text) {
    texts_.push_back(std::move(text));
    return texts_.back().c_str();
}

HostValue ValueArena::Build(const Value& value) {
    HostValue result;
    std::memset(static_cast<void*>(&result), 0, sizeof result);
    result.tag = value.tag;
    switch (value.tag) {
        case Client::kHostValueBool:
            result.payload.boolean = value.boolean ? 1 : 0;
            break;
        case Client::kHostValueSigned:
            result.payload.signedValue = value.signedValue;
            break;
        case Client::kHostValueUnsigned:
            result.payload.unsignedValue = value.unsignedValue;
            break;
        case Client::kHostValueFloat:
            result.payload.floatValue = value.floatValue;
            break;
        case Client::kHostValueBorrowedString:
        case Client::kHostValueOwnedString:
            result.tag = Client::kHostValueBorrowedString;
            result.payload.text.data = Keep(value.bytes);
            result.payload.text.length = static_cast<std::uint32_t>(value.bytes.size());
            break;
        case Client::kHostValueBorrowedBlob:
        case Client::kHostValueOwnedBlob:
            result.tag = Client::kHostValueBorrowedBlob;
            result.payload.blob.data = Keep(value.bytes);
            result.payload.blob.size = static_cast<std::uint32_t>(value.bytes.size());
            break;
        case Client::kHostValueCollection: {
            const std::size_t count = value.items.size();
            auto items = std::make_unique<HostValue[]>(count);
            for (std::size_t i = 0; i < count; ++i) {
                items[i] = Build(value.items[i]);
            }
            result.payload.collection.items = count == 0 ? nullptr : items.get();
            result.payload.collection.count = static_cast<std::uint32_t>(count);
            valueArrays_.push_back(std::move(items));
            break;
        }
        case Client::kHostValueStructure: {
            const std::size_t count = value.fields.size();
            auto entries = std::make_unique<HostMapEntry[]>(count);
            for (std::size_t i = 0; i < count; ++i) {
                entries[i].key = Keep(value.fields[i].key);
                entries[i].value = Build(value.fields[i].value);
                entries[i].keyOwned = 0;
            }
            result.payload.structure.entries = count == 0 ? nullptr : entries.get();
            result.payload.structure.count = static_cast<std::uint32_t>(count);
            entryArrays_.push_back(std::move(entries));
            break;
        }
        default:
            break;
    }
    return result;
}

}  // namespace Tavix::TestHost
