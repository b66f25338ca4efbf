#include "binding/host_conversion.h"

#include <cstring>
#include <span>

#include "binding/binding_string.h"
#include "binding/registry.h"
#include "binding/value_kind.h"
#include "frame/host_value.h"
#include "log/log.h"
#include "log/memory.h"
#include "support/format.h"

namespace Tavix::Client {
namespace {

char* CopyText(std::string_view text) {
    auto* copy = static_cast<char*>(Allocate(text.size() + 1));
    if (!text.empty()) {
        std::memcpy(copy, text.data(), text.size());
    }
    copy[text.size()] = '\0';
    return copy;
}

class HostWriter {
public:
    HostWriter(const BindingRegistry* registry, HostTexts texts)
        : registry_(registry), borrow_(texts == HostTexts::Borrowed) {}

    bool complete() const { return complete_; }

    // `target` is zeroed.
    void Write(const BindingValue& value, HostValue& target, std::size_t depth) {
        switch (value.Kind()) {
            case BindingValueKind::Empty:
                return;
            case BindingValueKind::Bool:
                target.tag = kHostValueBool;
                target.payload.boolean = value.GetBool() ? 1 : 0;
                return;
            case BindingValueKind::Signed:
                target.tag = kHostValueSigned;
                target.payload.signedValue = value.GetSigned();
                return;
            case BindingValueKind::Unsigned:
                target.tag = kHostValueUnsigned;
                target.payload.unsignedValue = value.GetUnsigned();
                return;
            case BindingValueKind::Float:
                target.tag = kHostValueFloat;
                target.payload.floatValue = value.GetFloat();
                return;
            case BindingValueKind::String:
                SetText(target, value.GetString());
                return;
            case BindingValueKind::Blob: {
                const std::span<const std::uint8_t> bytes = value.GetBlob();
                const void* data = bytes.data();
                if (!borrow_ && !bytes.empty()) {
                    void* copy = Allocate(bytes.size());
                    std::memcpy(copy, bytes.data(), bytes.size());
                    data = copy;
                }
                target.tag = borrow_ ? kHostValueBorrowedBlob : kHostValueOwnedBlob;
                target.payload.blob.data = bytes.empty() ? nullptr : data;
                target.payload.blob.size = static_cast<std::uint32_t>(bytes.size());
                return;
            }
            case BindingValueKind::Enum: {
                const BindingEnumValue& payload = value.GetEnum();
                const char* name = registry_ == nullptr
                                       ? nullptr
                                       : registry_->EnumeratorName(payload.type, payload.number);
                if (name != nullptr) {
                    SetText(target, name);
                } else {
                    target.tag = kHostValueSigned;
                    target.payload.signedValue = payload.number;
                }
                return;
            }
            default:
                break;
        }
        if (value.Size() != 0 && depth >= kBindingMaxDepth) {
            Log(LogLevel::Error, kLogGroupDbg,
                "A value nests deeper than %zu levels; the host receives nothing in its place",
                kBindingMaxDepth);
            complete_ = false;
            return;
        }
        const auto count = static_cast<std::uint32_t>(value.Size());
        if (value.Kind() == BindingValueKind::Collection) {
            auto* items = static_cast<HostValue*>(Zeroed(count * sizeof(HostValue)));
            target.tag = kHostValueCollection;
            target.payload.collection.items = items;
            target.payload.collection.count = count;
            std::size_t index = 0;
            for (const BindingValue& element : value.Elements()) {
                Write(element, items[index++], depth + 1);
            }
            return;
        }
        auto* entries = static_cast<HostMapEntry*>(Zeroed(count * sizeof(HostMapEntry)));
        target.tag = kHostValueStructure;
        target.payload.structure.entries = entries;
        target.payload.structure.count = count;
        std::size_t index = 0;
        value.ForEachField([&](const BindingString& name, const BindingValue& field) {
            HostMapEntry& entry = entries[index++];
            entry.key = borrow_ ? name.View().data() : CopyText(name.View());
            entry.keyOwned = borrow_ ? 0 : 1;
            Write(field, entry.value, depth + 1);
        });
    }

private:
    // Both forms are NUL-terminated: a borrowed text is an interned string or a registry's name.
    void SetText(HostValue& target, std::string_view text) const {
        target.tag = borrow_ ? kHostValueBorrowedString : kHostValueOwnedString;
        target.payload.text.data = borrow_ ? text.data() : CopyText(text);
        target.payload.text.length = static_cast<std::uint32_t>(text.size());
    }

    static void* Zeroed(std::size_t size) {
        if (size == 0) {
            return nullptr;
        }
        void* memory = Allocate(size);
        std::memset(memory, 0, size);
        return memory;
    }

    const BindingRegistry* registry_;
    bool borrow_;
    bool complete_ = true;
};

class HostReader {
public:
    HostReader(BindingResult& result, std::string_view name) : result_(result), name_(name) {}

    bool Read(BindingValue& target, const HostValue& source, std::size_t depth) {
        switch (source.tag) {
            case kHostValueNone:
                target.Reset();
                return true;
            case kHostValueBool:
                target.SetBool(source.payload.boolean != 0);
                return true;
            case kHostValueSigned:
                target.SetSigned(source.payload.signedValue);
                return true;
            case kHostValueUnsigned:
                target.SetUnsigned(source.payload.unsignedValue);
                return true;
            case kHostValueFloat:
                target.SetFloat(source.payload.floatValue);
                return true;
            case kHostValueBorrowedString:
            case kHostValueOwnedString:
                target.SetString(source.payload.text.data);
                return true;
            case kHostValueBorrowedBlob:
            case kHostValueOwnedBlob: {
                const auto* bytes = static_cast<const std::uint8_t*>(source.payload.blob.data);
                target.SetBlob(bytes == nullptr ? std::span<const std::uint8_t>()
                                                : std::span(bytes, source.payload.blob.size));
                return true;
            }
            case kHostValueCollection:
                return ReadCollection(target, source, depth);
            case kHostValueStructure:
                return ReadStructure(target, source, depth);
            default:
                result_.SetError(Format(
                    "Couldn't assign value to '%1' of type object because the input is of an "
                    "incompatible type '%2'.",
                    name_, HostTagName(source.tag)));
                return false;
        }
    }

private:
    bool TooDeep(std::uint32_t count, std::size_t depth) {
        if (count == 0 || depth < kBindingMaxDepth) {
            return false;
        }
        result_.SetError(
            Format("Couldn't assign value to '%1' because the input nests deeper than %2 levels.",
                   name_, kBindingMaxDepth));
        return true;
    }

    bool ReadCollection(BindingValue& target, const HostValue& source, std::size_t depth) {
        const HostValue* items = source.payload.collection.items;
        const std::uint32_t count = items == nullptr ? 0 : source.payload.collection.count;
        target.MakeCollection();
        if (TooDeep(count, depth)) {
            return false;
        }
        if (!target.Reserve(count)) {
            result_.SetError(
                Format("Couldn't assign value to '%1' because the input has more than %2 elements.",
                       name_, kBindingMaxElements));
            return false;
        }
        for (std::uint32_t i = 0; i < count; ++i) {
            if (!Read(target.At(i), items[i], depth + 1)) {
                return false;
            }
        }
        return true;
    }

    bool ReadStructure(BindingValue& target, const HostValue& source, std::size_t depth) {
        const HostMapEntry* entries = source.payload.structure.entries;
        const std::uint32_t count = entries == nullptr ? 0 : source.payload.structure.count;
        target.MakeStructure();
        if (TooDeep(count, depth)) {
            return false;
        }
        for (std::uint32_t i = 0; i < count; ++i) {
            const HostMapEntry& entry = entries[i];
            if (!Read(target.Field(HashedName(entry.key)), entry.value, depth + 1)) {
                return false;
            }
        }
        return true;
    }

    BindingResult& result_;
    std::string_view name_;
};

}  // namespace

bool ToHostValue(const BindingValue& value, HostValue& target, const BindingRegistry* registry,
                 HostTexts texts) {
    ReleaseHostValue(target);
    HostWriter writer(registry, texts);
    writer.Write(value, target, 0);
    return writer.complete();
}

bool FromHostValue(BindingResult& result, BindingValue& target, const HostValue& source,
                   std::string_view name) {
    if (!result.Ok()) {
        return false;
    }
    HostReader reader(result, name);
    return reader.Read(target, source, 0);
}

}  // namespace Tavix::Client
