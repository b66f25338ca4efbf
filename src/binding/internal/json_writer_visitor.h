#pragma once
// The value walk that drives a JSON writer, compact or indented alike.

#include <cmath>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <rapidjson/rapidjson.h>

#include "binding/registry.h"
#include "binding/value_visitor.h"

namespace Tavix::Client::Internal {

// Standard Base64 with "=" padding of a short last group.
void AppendBase64(std::span<const std::uint8_t> bytes, std::string& out);

template <typename Writer>
class JsonWriterVisitor final : public BindingValueVisitor {
public:
    JsonWriterVisitor(Writer& writer, const BindingRegistry* registry)
        : writer_(writer), registry_(registry) {}

    void empty() override { writer_.Null(); }
    void boolean(bool value) override { writer_.Bool(value); }
    void signedInteger(std::int64_t value) override { writer_.Int64(value); }
    void unsignedInteger(std::uint64_t value) override { writer_.Uint64(value); }
    void floatingPoint(double value) override {
        // JSON has no spelling for these; null keeps the text well formed.
        if (std::isfinite(value)) {
            writer_.Double(value);
        } else {
            writer_.Null();
        }
    }
    void string(std::string_view text) override { WriteText(text); }
    void blob(std::span<const std::uint8_t> bytes) override {
        scratch_.clear();
        AppendBase64(bytes, scratch_);
        WriteText(scratch_);
    }
    void enumeration(std::int32_t number, const StaticTypeRecord* type) override {
        const char* name = registry_ == nullptr ? nullptr : registry_->EnumeratorName(type, number);
        if (name != nullptr) {
            WriteText(name);
        } else {
            writer_.Int64(number);
        }
    }
    void beginCollection(std::size_t) override { writer_.StartArray(); }
    void beginElement(std::size_t) override {}
    void endElement(std::size_t) override {}
    void endCollection() override { writer_.EndArray(); }
    void beginStructure(std::size_t) override { writer_.StartObject(); }
    void beginField(std::string_view name) override {
        writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
    }
    void endField(std::string_view) override {}
    void endStructure() override { writer_.EndObject(); }

private:
    void WriteText(std::string_view text) {
        writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    }

    Writer& writer_;
    const BindingRegistry* registry_;
    std::string scratch_;
};

}  // namespace Tavix::Client::Internal
