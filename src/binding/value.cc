#include "binding/value.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "binding/binding_string.h"
#include "binding/context.h"
#include "binding/internal/records.h"
#include "binding/internal/release_stack.h"
#include "binding/internal/structure_tree.h"
#include "binding/value_visitor.h"
#include "log/log.h"
#include "log/memory.h"

namespace Tavix::Client {

using Internal::BlobHeader;
using Internal::CollectionHeader;
using Internal::StructureData;
using Internal::StructureNode;

namespace {

const BindingValue kEmptyValue;

void LogTooDeep(const char* operation) {
    Log(LogLevel::Error, kLogGroupDbg,
        "%s: a value nests deeper than %zu levels; the deeper part is left out", operation,
        kBindingMaxDepth);
}

void LogTooLong(std::size_t count) {
    Log(LogLevel::Error, kLogGroupDbg,
        "A collection cannot hold %zu elements; at most %zu are allowed", count,
        kBindingMaxElements);
}

constexpr std::size_t kFirstElements = 4;
constexpr std::size_t kFirstBulkElements = 8;
constexpr std::size_t kBulkElements = BindingContext::kLargestBulkPiece / sizeof(BindingValue);

// Element arrays come in three tiers: pooled records, bulk pieces, and heap blocks.
BindingValue* AllocateElements(BindingContext& context, std::size_t capacity) {
    const std::size_t bytes = capacity * sizeof(BindingValue);
    if (capacity <= Internal::kPooledElements) {
        return static_cast<BindingValue*>(context.AllocateRecord(bytes));
    }
    if (capacity <= kBulkElements) {
        return static_cast<BindingValue*>(context.AllocateBulk(bytes));
    }
    return static_cast<BindingValue*>(context.AllocateHeapArray(bytes));
}

void ReleaseElements(BindingContext& context, BindingValue* begin, std::size_t capacity) {
    if (begin == nullptr) {
        return;
    }
    if (capacity <= Internal::kPooledElements) {
        context.ReleaseRecord(capacity * sizeof(BindingValue), begin);
    } else if (capacity <= kBulkElements) {
        context.ReleaseBulk(begin, capacity * sizeof(BindingValue));
    } else {
        context.ReleaseHeapArray(begin);
    }
}

// The capacity a full collection grows to so that it holds `needed` elements.
std::size_t GrownCapacity(std::size_t capacity, std::size_t needed) {
    std::size_t grown = capacity + capacity / 2;
    // A new array is a bulk piece of a few values rather than a pooled record: while it is the
    // piece cut last, and a builder filling it mostly keeps it so, growing extends it in place
    // instead of copying it. Small steps would only make more moves: the second size has room to
    // spare.
    if (capacity == 0) {
        grown = kFirstElements;
    } else if (grown < kFirstBulkElements) {
        grown = kFirstBulkElements;
    }
    if (grown > kBindingMaxElements) {
        grown = kBindingMaxElements;
    }
    return grown > needed ? grown : needed;
}

// Moves the elements to an array of `count` places, more than the collection has.
void GrowElements(BindingContext& context, CollectionHeader& header, std::size_t count) {
    const std::size_t size = header.Size();
    const std::size_t capacity = header.Capacity();
    // Values hold no pointer into themselves, so their bytes can move with the array.
    BindingValue* begin;
    if (capacity > kBulkElements) {
        begin = static_cast<BindingValue*>(context.ReallocateHeapArray(
            static_cast<void*>(header.begin), count * sizeof(BindingValue)));
    } else if (capacity > Internal::kPooledElements && count <= kBulkElements) {
        begin = static_cast<BindingValue*>(
            context.ResizeBulk(header.begin, capacity * sizeof(BindingValue),
                               count * sizeof(BindingValue), size * sizeof(BindingValue)));
    } else {
        begin = AllocateElements(context, count);
        if (size != 0) {
            std::memcpy(static_cast<void*>(begin), static_cast<const void*>(header.begin),
                        size * sizeof(BindingValue));
        }
        ReleaseElements(context, header.begin, capacity);
    }
    header.begin = begin;
    header.end = begin + size;
    header.capacity = begin + count;
}

bool HasChildren(const BindingValue& value) {
    return (value.Kind() == BindingValueKind::Collection ||
            value.Kind() == BindingValueKind::Structure) &&
           value.Size() != 0;
}

// Releases the payload of `value` if it has no children, or queues its container; the value is
// left as raw memory either way.
void ReleaseShallow(BindingContext* context, const BindingValue& value,
                    Internal::ReleaseStack& pending) {
    switch (value.Kind()) {
        case BindingValueKind::String:
            context->ReleaseString(BindingValueAccess::String(value));
            break;
        case BindingValueKind::Blob: {
            BlobHeader* blob = BindingValueAccess::Blob(value);
            blob->~BlobHeader();
            context->ReleaseRecord(sizeof(BlobHeader), blob);
            context->DropHeapPart();
            break;
        }
        case BindingValueKind::Enum:
            context->ReleaseRecord(sizeof(BindingEnumValue), BindingValueAccess::Record(value));
            break;
        case BindingValueKind::Collection:
        case BindingValueKind::Structure:
            pending.Push(value.Kind(), BindingValueAccess::Record(value));
            break;
        default:
            break;
    }
}

void ReleaseNodes(BindingContext* context, StructureNode* node, Internal::ReleaseStack& pending) {
    while (node != nullptr) {
        ReleaseNodes(context, node->Left(), pending);
        StructureNode* right = node->right;
        context->ReleaseString(node->Name());
        ReleaseShallow(context, node->value, pending);
        context->ReleaseRecord(sizeof(StructureNode), node);
        node = right;
    }
}

// Releases containers without recursion over the value depth, so that a tree of any depth can
// be released.
void ReleaseContainers(BindingContext* context, Internal::ReleaseStack& pending) {
    BindingValueKind kind;
    void* record;
    while (pending.Pop(kind, record)) {
        if (kind == BindingValueKind::Collection) {
            auto* header = static_cast<CollectionHeader*>(record);
            for (BindingValue* element = header->begin; element != header->end; ++element) {
                ReleaseShallow(context, *element, pending);
            }
            ReleaseElements(*context, header->begin, header->Capacity());
            context->ReleaseRecord(sizeof(CollectionHeader), header);
        } else {
            auto* data = static_cast<StructureData*>(record);
            ReleaseNodes(context, data->root, pending);
            context->ReleaseRecord(sizeof(StructureData), data);
        }
    }
}

// Frees the blob bytes of a tree, and nothing else: its pooled records, strings and element
// arrays go with the context right afterwards, all at once.
void ReleaseHeapParts(const BindingValue& root) {
    Internal::ReleaseStack pending;
    auto visit = [&pending](const BindingValue& value) {
        switch (value.Kind()) {
            case BindingValueKind::Blob:
                BindingValueAccess::Blob(value)->~BlobHeader();
                break;
            case BindingValueKind::Collection:
            case BindingValueKind::Structure:
                pending.Push(value.Kind(), BindingValueAccess::Record(value));
                break;
            default:
                break;
        }
    };
    visit(root);
    BindingValueKind kind;
    void* record;
    while (pending.Pop(kind, record)) {
        if (kind == BindingValueKind::Collection) {
            auto* header = static_cast<CollectionHeader*>(record);
            for (const BindingValue* element = header->begin; element != header->end; ++element) {
                visit(*element);
            }
        } else {
            auto visitNode = [&visit](StructureNode& node) { visit(node.value); };
            Internal::ForEachNode(static_cast<StructureData*>(record)->root, visitNode);
        }
    }
}

const char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string Base64(std::span<const std::uint8_t> bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        const std::uint32_t group =
            (std::uint32_t{bytes[i]} << 16) | (std::uint32_t{bytes[i + 1]} << 8) | bytes[i + 2];
        out += kBase64Alphabet[(group >> 18) & 63];
        out += kBase64Alphabet[(group >> 12) & 63];
        out += kBase64Alphabet[(group >> 6) & 63];
        out += kBase64Alphabet[group & 63];
    }
    const std::size_t rest = bytes.size() - i;
    if (rest != 0) {
        std::uint32_t group = std::uint32_t{bytes[i]} << 16;
        if (rest == 2) {
            group |= std::uint32_t{bytes[i + 1]} << 8;
        }
        out += kBase64Alphabet[(group >> 18) & 63];
        out += kBase64Alphabet[(group >> 12) & 63];
        out += rest == 2 ? kBase64Alphabet[(group >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

void VisitValue(const BindingValue& value, BindingValueVisitor& visitor, std::size_t depth);

}  // namespace

namespace Internal {

// The strings met during one deep copy into another context, each with its entry in the target:
// an open-addressed table keyed by the source's entry, with room for every string of the source
// context at two thirds load at most, so nothing is ever pushed out. Names repeat across the
// records of a tree, so most of them are found here without hashing or comparing text. When the
// target's table was empty as the copy began, only this memo has filled it since, and a string the
// memo has not met is new to the target as well: it is inserted without a search.
struct CopyMemo {
    struct Slot {
        const BindingString* from;
        BindingString* to;
    };
    static constexpr std::size_t kLocalSlots = 128;

    CopyMemo(const BindingContext* source, BindingContext* target)
        : sourceContext(source), targetContext(target), targetWasEmpty(target->StringCount() == 0) {
        std::size_t count = 16;
        // A copy within one context shares its strings and needs no table.
        while (source != target && 2 * count < 3 * source->StringCount()) {
            count *= 2;
        }
        slots = count <= kLocalSlots ? local : static_cast<Slot*>(Allocate(count * sizeof(Slot)));
        mask = count - 1;
        std::memset(static_cast<void*>(slots), 0, count * sizeof(Slot));
    }
    ~CopyMemo() {
        if (slots != local) {
            Release(slots);
        }
    }
    CopyMemo(const CopyMemo&) = delete;
    CopyMemo& operator=(const CopyMemo&) = delete;

    BindingString* Intern(BindingString* string) {
        if (sourceContext == targetContext || string->IsSharedEmpty()) {
            BindingContext::Retain(string);
            return string;
        }
        std::size_t index = string->Hash() & mask;
        for (; slots[index].from != nullptr; index = (index + 1) & mask) {
            if (slots[index].from == string) {
                BindingContext::Retain(slots[index].to);
                return slots[index].to;
            }
        }
        BindingString* interned = targetWasEmpty ? targetContext->InternAbsent(string->Name())
                                                 : targetContext->Intern(string->Name());
        slots[index] = {string, interned};
        return interned;
    }

    const BindingContext* sourceContext;
    BindingContext* targetContext;
    bool targetWasEmpty;
    Slot* slots;
    std::size_t mask;
    Slot local[kLocalSlots];
};

void AdoptElements(BindingValue& collection, BindingValue* elements, std::size_t count) {
    if (count == 0) {
        return;
    }
    CollectionHeader* header = BindingValueAccess::Collection(collection);
    header->begin = AllocateElements(*collection.Context(), count);
    std::memcpy(static_cast<void*>(header->begin), static_cast<const void*>(elements),
                count * sizeof(BindingValue));
    header->end = header->begin + count;
    header->capacity = header->end;
}

}  // namespace Internal

const BindingEnumValue& BindingEnumValue::Default() {
    static constexpr BindingEnumValue kDefault{};
    return kDefault;
}

const BindingValue& BindingValue::Empty() {
    return kEmptyValue;
}

BindingValue::BindingValue(const BindingValue& other) : BindingValue() {
    AssignCopy(other, nullptr);
}

BindingValue::BindingValue(BindingValue&& other) noexcept : BindingValue() {
    if (other.ownsContext_) {
        payload_ = other.payload_;
        context_ = other.context_;
        kind_ = other.kind_;
        other.payload_.raw = 0;
        other.context_ = nullptr;
        other.kind_ = BindingValueKind::Empty;
    } else {
        AssignCopy(other, &other);
    }
}

BindingValue& BindingValue::operator=(const BindingValue& other) {
    if (this != &other) {
        AssignCopy(other, nullptr);
    }
    return *this;
}

BindingValue& BindingValue::operator=(BindingValue&& other) noexcept {
    if (this == &other) {
        return *this;
    }
    if (ownsContext_ && other.ownsContext_) {
        std::swap(payload_, other.payload_);
        std::swap(context_, other.context_);
        std::swap(kind_, other.kind_);
        other.Reset();
    } else if (!other.ownsContext_ && other.context_ != nullptr && other.context_ == context_) {
        // Taken before the old content goes: `other` may lie inside it.
        const Payload payload = other.payload_;
        const BindingValueKind kind = other.kind_;
        other.payload_.raw = 0;
        other.kind_ = BindingValueKind::Empty;
        Reset();
        payload_ = payload;
        kind_ = kind;
    } else {
        AssignCopy(other, &other);
    }
    return *this;
}

void BindingValue::DestroyOwnContext() {
    // The context goes too, and takes all its strings and pooled records with it at once: only
    // what the records own on the heap needs a walk.
    if (kind_ > BindingValueKind::String && context_->HasHeapParts()) {
        ReleaseHeapParts(*this);
    }
    context_->~BindingContext();
    Release(context_);
}

BindingContext& BindingValue::EnsureContext() {
    if (context_ == nullptr) {
        context_ = new (Allocate(sizeof(BindingContext))) BindingContext();
    }
    return *context_;
}

void BindingValue::ReleasePayload() {
    if (kind_ == BindingValueKind::String) {
        // A root that only ever held empty texts has no context.
        if (!payload_.string->IsSharedEmpty()) {
            context_->ReleaseString(payload_.string);
        }
        return;
    }
    ReleaseRecords();
}

// Kept apart so that releasing a string needs no room for the stack of pending containers.
[[gnu::noinline]] void BindingValue::ReleaseRecords() {
    Internal::ReleaseStack pending;
    ReleaseShallow(context_, *this, pending);
    ReleaseContainers(context_, pending);
}

void BindingValue::StealPayload(BindingValue& other) {
    payload_ = other.payload_;
    kind_ = other.kind_;
    other.payload_.raw = 0;
    other.kind_ = BindingValueKind::Empty;
}

void BindingValue::AssignCopy(const BindingValue& source, BindingValue* clearAfterCopy) {
    if (source.kind_ <= BindingValueKind::Float ||
        (source.kind_ == BindingValueKind::String && source.payload_.string->IsSharedEmpty())) {
        const Payload payload = source.payload_;
        const BindingValueKind kind = source.kind_;
        if (clearAfterCopy != nullptr) {
            clearAfterCopy->Reset();
        }
        Reset();
        payload_ = payload;
        kind_ = kind;
        return;
    }
    // The copy is built beside the old content, which is released only afterwards: the source
    // may lie inside this value.
    BindingValue copy(&EnsureContext());
    Internal::CopyMemo memo(source.context_, context_);
    if (source.context_ != context_ && context_->StringCount() == 0) {
        context_->ReserveStrings(source.context_->StringCount());
    }
    copy.CopyFrom(source, 0, memo);
    if (clearAfterCopy != nullptr) {
        clearAfterCopy->Reset();
    }
    Reset();
    StealPayload(copy);
}

[[gnu::always_inline]] inline void BindingValue::CopyFrom(const BindingValue& source,
                                                          std::size_t depth,
                                                          Internal::CopyMemo& memo) {
    // Numbers and strings, most of any tree, take no call.
    if (source.kind_ <= BindingValueKind::Float) {
        payload_ = source.payload_;
        kind_ = source.kind_;
        return;
    }
    if (source.kind_ == BindingValueKind::String) {
        payload_.string = memo.Intern(source.payload_.string);
        kind_ = source.kind_;
        return;
    }
    CopyRecordsFrom(source, depth, memo);
}

void BindingValue::CopyRecordsFrom(const BindingValue& source, std::size_t depth,
                                   Internal::CopyMemo& memo) {
    switch (source.kind_) {
        case BindingValueKind::Blob:
            payload_.record = new (context_->AllocateRecord(sizeof(BlobHeader)))
                BlobHeader{BindingValueAccess::Blob(source)->bytes};
            context_->AddHeapPart();
            break;
        case BindingValueKind::Enum:
            payload_.record = new (context_->AllocateRecord(sizeof(BindingEnumValue)))
                BindingEnumValue(*BindingValueAccess::Enum(source));
            break;
        case BindingValueKind::Collection: {
            MakeCollection();
            if (depth >= kBindingMaxDepth && HasChildren(source)) {
                LogTooDeep("Copy");
                return;
            }
            const CollectionHeader* from = BindingValueAccess::Collection(source);
            const std::size_t count = from->Size();
            if (count == 0) {
                return;
            }
            CollectionHeader* header = BindingValueAccess::Collection(*this);
            header->begin = AllocateElements(*context_, count);
            header->capacity = header->begin + count;
            header->end = header->begin;
            for (const BindingValue* element = from->begin; element != from->end; ++element) {
                BindingValue* target = new (header->end) BindingValue(context_);
                ++header->end;
                target->CopyFrom(*element, depth + 1, memo);
            }
            return;
        }
        case BindingValueKind::Structure: {
            MakeStructure();
            if (depth >= kBindingMaxDepth && HasChildren(source)) {
                LogTooDeep("Copy");
                return;
            }
            const StructureData* from = BindingValueAccess::Structure(source);
            StructureData* data = BindingValueAccess::Structure(*this);
            if (from->root != nullptr) {
                data->root = CloneNodes(from->root, depth + 1, memo);
                for (StructureNode* node = data->root; node != nullptr; node = node->right) {
                    data->last = node;
                }
            }
            data->count = from->count;
            return;
        }
        default:
            break;
    }
    kind_ = source.kind_;
}

// The copy of a structure has the source tree's very shape and colours, so it is built without
// a single comparison or rotation. `node` is never null: a missing child takes no call.
Internal::StructureNode* BindingValue::CloneNodes(const Internal::StructureNode* node,
                                                  std::size_t depth, Internal::CopyMemo& memo) {
    auto* clone = static_cast<StructureNode*>(context_->AllocateRecord(sizeof(StructureNode)));
    new (&clone->value) BindingValue(context_);
    clone->SetName(memo.Intern(node->Name()));
    const StructureNode* left = node->Left();
    clone->leftAndColour =
        (left != nullptr ? reinterpret_cast<std::uintptr_t>(CloneNodes(left, depth, memo)) : 0) |
        (node->IsRed() ? 1 : 0);
    clone->value.CopyFrom(node->value, depth, memo);
    clone->right = node->right != nullptr ? CloneNodes(node->right, depth, memo) : nullptr;
    return clone;
}

void BindingValue::SetString(const char* text) {
    SetString(HashedName(text));
}

void BindingValue::SetString(std::string_view text) {
    SetString(HashedName(text));
}

void BindingValue::SetString(const HashedName& text) {
    // Interned before the old content goes: the text may be this value's own.
    BindingString* string =
        text.Text().empty() ? &BindingString::SharedEmpty() : EnsureContext().Intern(text);
    Reset();
    payload_.string = string;
    kind_ = BindingValueKind::String;
}

void BindingValue::SetBlob(std::span<const std::uint8_t> bytes) {
    std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
    SetBlob(std::move(copy));
}

void BindingValue::SetBlob(std::vector<std::uint8_t>&& bytes) {
    BindingContext& context = EnsureContext();
    auto* blob = new (context.AllocateRecord(sizeof(BlobHeader))) BlobHeader{std::move(bytes)};
    context.AddHeapPart();
    bytes.clear();
    Reset();
    payload_.record = blob;
    kind_ = BindingValueKind::Blob;
}

void BindingValue::SetEnum(std::int32_t number, const StaticTypeRecord* type) {
    BindingContext& context = EnsureContext();
    void* record = context.AllocateRecord(sizeof(BindingEnumValue));
    Reset();
    payload_.record = new (record) BindingEnumValue{number, type};
    kind_ = BindingValueKind::Enum;
}

void BindingValue::MakeCollection() {
    if (kind_ == BindingValueKind::Collection) {
        return;
    }
    BindingContext& context = EnsureContext();
    Reset();
    payload_.record = new (context.AllocateRecord(sizeof(CollectionHeader))) CollectionHeader{};
    kind_ = BindingValueKind::Collection;
}

void BindingValue::MakeStructure() {
    if (kind_ == BindingValueKind::Structure) {
        return;
    }
    BindingContext& context = EnsureContext();
    Reset();
    payload_.record = new (context.AllocateRecord(sizeof(StructureData)))
        StructureData{&context, nullptr, nullptr, 0, 0};
    kind_ = BindingValueKind::Structure;
}

bool BindingValue::Reserve(std::size_t count) {
    if (kind_ != BindingValueKind::Collection) {
        return true;
    }
    if (count > kBindingMaxElements) {
        LogTooLong(count);
        return false;
    }
    auto* header = static_cast<CollectionHeader*>(payload_.record);
    if (count > header->Capacity()) {
        GrowElements(*context_, *header, count);
    }
    return true;
}

BindingValue& BindingValue::At(std::size_t index) {
    MakeCollection();
    CollectionHeader* header = static_cast<CollectionHeader*>(payload_.record);
    const std::size_t size = header->Size();
    if (index < size) {
        return header->begin[index];
    }
    if (index >= kBindingMaxElements) {
        LogTooLong(index + 1);
        return context_->OverflowSink();
    }
    const std::size_t needed = index + 1;
    if (needed > header->Capacity()) {
        GrowElements(*context_, *header, GrownCapacity(header->Capacity(), needed));
    }
    for (BindingValue* element = header->end; element != header->begin + needed; ++element) {
        new (element) BindingValue(context_);
    }
    header->end = header->begin + needed;
    return header->begin[index];
}

BindingValue& BindingValue::Append() {
    if (kind_ != BindingValueKind::Collection) {
        // Any other kind has a size, and the collection that replaces it starts with as many
        // empty elements before the new one.
        if (kind_ != BindingValueKind::Empty) {
            return At(Size());
        }
        MakeCollection();
    }
    auto* header = static_cast<CollectionHeader*>(payload_.record);
    if (header->end == header->capacity) [[unlikely]] {
        const std::size_t size = header->Size();
        if (size >= kBindingMaxElements) {
            return At(size);
        }
        GrowElements(*context_, *header, GrownCapacity(header->Capacity(), size + 1));
    }
    BindingValue* element = new (header->end) BindingValue(context_);
    ++header->end;
    return *element;
}

BindingValue& BindingValue::Field(std::string_view name) {
    MakeStructure();
    return Internal::FindOrInsertNode(*static_cast<StructureData*>(payload_.record), name, nullptr)
        ->value;
}

BindingValue& BindingValue::Field(const HashedName& name) {
    MakeStructure();
    return Internal::FindOrInsertNode(*static_cast<StructureData*>(payload_.record), name.Text(),
                                      &name)
        ->value;
}

const BindingValue& BindingValue::GetAt(std::size_t index) const {
    if (kind_ != BindingValueKind::Collection) {
        return kEmptyValue;
    }
    const auto* header = static_cast<const CollectionHeader*>(payload_.record);
    return index < header->Size() ? header->begin[index] : kEmptyValue;
}

const BindingValue& BindingValue::GetField(std::string_view name) const {
    if (kind_ != BindingValueKind::Structure) {
        return kEmptyValue;
    }
    const StructureNode* node =
        Internal::FindNode(*static_cast<const StructureData*>(payload_.record), name);
    return node == nullptr ? kEmptyValue : node->value;
}

bool BindingValue::HasField(std::string_view name) const {
    return kind_ == BindingValueKind::Structure &&
           Internal::FindNode(*static_cast<const StructureData*>(payload_.record), name) != nullptr;
}

std::size_t BindingValue::Size() const {
    switch (kind_) {
        case BindingValueKind::Empty:
            return 0;
        case BindingValueKind::String:
            return payload_.string->Size();
        case BindingValueKind::Blob:
            return static_cast<const BlobHeader*>(payload_.record)->bytes.size();
        case BindingValueKind::Collection:
            return static_cast<const CollectionHeader*>(payload_.record)->Size();
        case BindingValueKind::Structure:
            return static_cast<const StructureData*>(payload_.record)->count;
        default:
            return 1;
    }
}

bool BindingValue::GetBool(bool fallback) const {
    return kind_ == BindingValueKind::Bool ? payload_.boolean : fallback;
}

std::int64_t BindingValue::GetSigned(std::int64_t fallback) const {
    return kind_ == BindingValueKind::Signed ? payload_.signedValue : fallback;
}

std::uint64_t BindingValue::GetUnsigned(std::uint64_t fallback) const {
    return kind_ == BindingValueKind::Unsigned ? payload_.unsignedValue : fallback;
}

double BindingValue::GetFloat(double fallback) const {
    return kind_ == BindingValueKind::Float ? payload_.floatValue : fallback;
}

std::string_view BindingValue::GetString(std::string_view fallback) const {
    return kind_ == BindingValueKind::String ? payload_.string->View() : fallback;
}

std::span<const std::uint8_t> BindingValue::GetBlob(std::span<const std::uint8_t> fallback) const {
    if (kind_ != BindingValueKind::Blob) {
        return fallback;
    }
    return static_cast<const BlobHeader*>(payload_.record)->bytes;
}

const BindingEnumValue& BindingValue::GetEnum(const BindingEnumValue& fallback) const {
    return kind_ == BindingValueKind::Enum ? *static_cast<const BindingEnumValue*>(payload_.record)
                                           : fallback;
}

const BindingString& BindingValue::GetBindingString() const {
    return kind_ == BindingValueKind::String ? *payload_.string : BindingString::SharedEmpty();
}

std::int64_t BindingValue::ToInt64(std::int64_t fallback) const {
    switch (kind_) {
        case BindingValueKind::Signed:
        case BindingValueKind::Unsigned:
            return payload_.signedValue;
        case BindingValueKind::Float: {
            const double value = payload_.floatValue;
            if (std::isnan(value)) {
                return fallback;
            }
            // Saturated: a cast of a float beyond the range has no defined result.
            if (value >= 9223372036854775808.0) {
                return std::numeric_limits<std::int64_t>::max();
            }
            if (value < -9223372036854775808.0) {
                return std::numeric_limits<std::int64_t>::min();
            }
            return static_cast<std::int64_t>(value);
        }
        default:
            return fallback;
    }
}

double BindingValue::ToDouble(double fallback) const {
    switch (kind_) {
        case BindingValueKind::Bool:
            return payload_.boolean ? 1.0 : 0.0;
        case BindingValueKind::Signed:
            return static_cast<double>(payload_.signedValue);
        case BindingValueKind::Unsigned:
            return static_cast<double>(payload_.unsignedValue);
        case BindingValueKind::Float:
            return payload_.floatValue;
        case BindingValueKind::Enum:
            return static_cast<const BindingEnumValue*>(payload_.record)->number;
        case BindingValueKind::String:
            return std::strtod(payload_.string->Text(), nullptr);
        default:
            return fallback;
    }
}

std::string BindingValue::ToText() const {
    switch (kind_) {
        case BindingValueKind::Bool:
            return payload_.boolean ? "true" : "false";
        case BindingValueKind::Signed:
            return std::to_string(payload_.signedValue);
        case BindingValueKind::Unsigned:
            return std::to_string(payload_.unsignedValue);
        case BindingValueKind::Float: {
            // "%f" of the largest doubles needs over 300 digits.
            char buffer[400];
            const int length = std::snprintf(buffer, sizeof buffer, "%f", payload_.floatValue);
            return std::string(buffer, length > 0 ? static_cast<std::size_t>(length) : 0);
        }
        case BindingValueKind::String:
            return std::string(payload_.string->View());
        case BindingValueKind::Blob:
            return Base64(static_cast<const BlobHeader*>(payload_.record)->bytes);
        case BindingValueKind::Enum:
            return std::to_string(static_cast<const BindingEnumValue*>(payload_.record)->number);
        default:
            return std::string();
    }
}

std::span<const BindingValue> BindingValue::Elements() const {
    if (kind_ != BindingValueKind::Collection) {
        return {};
    }
    const auto* header = static_cast<const CollectionHeader*>(payload_.record);
    return {header->begin, header->Size()};
}

std::span<BindingValue> BindingValue::Elements() {
    if (kind_ != BindingValueKind::Collection) {
        return {};
    }
    auto* header = static_cast<CollectionHeader*>(payload_.record);
    return {header->begin, header->Size()};
}

void BindingValue::ForEachFieldImpl(FieldCallback callback, void* closure) const {
    if (kind_ != BindingValueKind::Structure) {
        return;
    }
    auto visit = [&](const StructureNode& node) { callback(closure, *node.Name(), node.value); };
    Internal::ForEachNode(static_cast<const StructureData*>(payload_.record)->root, visit);
}

void BindingValue::Visit(BindingValueVisitor& visitor) const {
    VisitValue(*this, visitor, 0);
}

namespace {

void VisitValue(const BindingValue& value, BindingValueVisitor& visitor, std::size_t depth) {
    switch (value.Kind()) {
        case BindingValueKind::Empty:
            visitor.empty();
            return;
        case BindingValueKind::Bool:
            visitor.boolean(value.GetBool());
            return;
        case BindingValueKind::Signed:
            visitor.signedInteger(value.GetSigned());
            return;
        case BindingValueKind::Unsigned:
            visitor.unsignedInteger(value.GetUnsigned());
            return;
        case BindingValueKind::Float:
            visitor.floatingPoint(value.GetFloat());
            return;
        case BindingValueKind::String:
            visitor.string(value.GetString());
            return;
        case BindingValueKind::Blob:
            visitor.blob(value.GetBlob());
            return;
        case BindingValueKind::Enum: {
            const BindingEnumValue& payload = value.GetEnum();
            visitor.enumeration(payload.number, payload.type);
            return;
        }
        default:
            break;
    }
    if (depth >= kBindingMaxDepth && HasChildren(value)) {
        LogTooDeep("Visit");
        visitor.empty();
        return;
    }
    if (value.Kind() == BindingValueKind::Collection) {
        const std::span<const BindingValue> elements = value.Elements();
        visitor.beginCollection(elements.size());
        for (std::size_t i = 0; i < elements.size(); ++i) {
            visitor.beginElement(i);
            VisitValue(elements[i], visitor, depth + 1);
            visitor.endElement(i);
        }
        visitor.endCollection();
        return;
    }
    visitor.beginStructure(value.Size());
    value.ForEachField([&](const BindingString& name, const BindingValue& field) {
        visitor.beginField(name.View());
        VisitValue(field, visitor, depth + 1);
        visitor.endField(name.View());
    });
    visitor.endStructure();
}

}  // namespace

}  // namespace Tavix::Client
