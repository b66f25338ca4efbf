#pragma once
// Building HostValue trees of any shape, depth and size from fuzz bytes, for the targets that
// feed a module through the host boundary.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "arx/host_boundary.h"

namespace Tavix::Fuzzing {

using Client::HostMapEntry;
using Client::HostValue;

// A HostValue tree read from the fuzz bytes, with its storage. Texts are mostly words the
// target knows (field names, enum names, URIs), so that trees reach deep into the conversions
// behind them; the rest are raw bytes, null texts, and tags no host should send.
class TreeBuilder {
public:
    TreeBuilder(const std::uint8_t* data, std::size_t size, std::span<const char* const> words)
        : data_(data), size_(size), words_(words) {}

    std::size_t Remaining() const { return size_; }

    void Build(HostValue& value, std::size_t depth) {
        std::memset(static_cast<void*>(&value), 0, sizeof value);
        const std::uint8_t selector = Byte();
        // Long runs of one selector make deep chains; the builder itself stops well past the
        // depth the module accepts.
        std::uint32_t tag = selector % 12;
        if (depth > 300 && tag >= Client::kHostValueCollection) {
            tag = Client::kHostValueNone;
        }
        value.tag = tag;
        switch (tag) {
            case Client::kHostValueNone:
                break;
            case Client::kHostValueBool:
                value.payload.boolean = Byte();
                break;
            case Client::kHostValueSigned:
            case Client::kHostValueUnsigned:
            case Client::kHostValueFloat: {
                std::uint64_t bits = 0;
                for (int i = 0; i < 8; ++i) {
                    bits = (bits << 8) | Byte();
                }
                std::memcpy(value.payload.raw, &bits, sizeof bits);
                break;
            }
            case Client::kHostValueBorrowedString:
            case Client::kHostValueOwnedString: {
                const char* text = Text();
                value.payload.text.data = text;
                value.payload.text.length =
                    text == nullptr ? 0 : static_cast<std::uint32_t>(std::strlen(text));
                break;
            }
            case Client::kHostValueBorrowedBlob:
            case Client::kHostValueOwnedBlob: {
                const std::size_t length = Byte() % 24;
                auto& bytes = texts_.emplace_back();
                for (std::size_t i = 0; i < length; ++i) {
                    bytes.push_back(static_cast<char>(Byte()));
                }
                value.payload.blob.data = length == 0 && (selector & 0x80) ? nullptr : bytes.data();
                value.payload.blob.size = static_cast<std::uint32_t>(length);
                break;
            }
            case Client::kHostValueCollection: {
                const std::uint32_t count = Byte() % 6;
                // A raw pointer: the recursion below grows the list of arrays.
                HostValue* items =
                    values_.emplace_back(std::make_unique<HostValue[]>(count + 1)).get();
                for (std::uint32_t i = 0; i < count; ++i) {
                    Build(items[i], depth + 1);
                }
                value.payload.collection.items = count == 0 && (selector & 0x80) ? nullptr : items;
                value.payload.collection.count = count;
                break;
            }
            case Client::kHostValueStructure: {
                const std::uint32_t count = Byte() % 6;
                HostMapEntry* entries =
                    entries_.emplace_back(std::make_unique<HostMapEntry[]>(count + 1)).get();
                for (std::uint32_t i = 0; i < count; ++i) {
                    entries[i].key = Text();
                    entries[i].keyOwned = 0;
                    Build(entries[i].value, depth + 1);
                }
                value.payload.structure.entries = entries;
                value.payload.structure.count = count;
                break;
            }
            default:
                value.tag = 11 + Byte();
                break;
        }
    }

    std::uint8_t Byte() {
        if (size_ == 0) {
            return 0;
        }
        --size_;
        return *data_++;
    }

private:
    // A known word, a null text, or raw bytes up to the next zero.
    const char* Text() {
        const std::uint8_t selector = Byte();
        if (selector < 0x80 && !words_.empty()) {
            return words_[selector % words_.size()];
        }
        if (selector == 0xFF) {
            return nullptr;
        }
        const std::size_t length = selector % 32;
        auto& text = texts_.emplace_back();
        for (std::size_t i = 0; i < length; ++i) {
            text.push_back(static_cast<char>(Byte()));
        }
        return text.c_str();
    }

    const std::uint8_t* data_;
    std::size_t size_;
    std::span<const char* const> words_;
    std::deque<std::string> texts_;
    std::vector<std::unique_ptr<HostValue[]>> values_;
    std::vector<std::unique_ptr<HostMapEntry[]>> entries_;
};

}  // namespace Tavix::Fuzzing
