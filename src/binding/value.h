#pragma once
// The one dynamic value of the framework: a tagged value of ten kinds whose payload fits in eight
// bytes. A tree of values lives in one `BindingContext` (pooled records and a string table), owned
// by the root that created it and shared by every element and field below it. A child must not
// outlive its root.
//
// Reading never fails: a missing element or field reads as the shared empty value and a strict
// accessor of the wrong kind gives the caller's default. Writing reshapes the value as needed.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "binding/hashed_name.h"
#include "binding/value_kind.h"

namespace Tavix::Client {

class BindingContext;
class BindingValueVisitor;
class BindingString;
struct StaticTypeRecord;

namespace Internal {
struct StructureNode;
struct CopyMemo;
}  // namespace Internal

// The payload of a value of kind enum: a value that came from a native enum remembers the enum's
// type so that its name can be found again.
struct BindingEnumValue {
    std::int32_t number = 0;
    const StaticTypeRecord* type = nullptr;

    // Number 0, no type: what `GetEnum` gives by default.
    static const BindingEnumValue& Default();
};

// A collection holds at most this many elements. Growing beyond it is refused: the collection
// stays as it was, the refusal is logged, and the element handed back is a scratch value of the
// context whose content is thrown away.
inline constexpr std::size_t kBindingMaxElements = 0x0FFFFFFF;

// The deepest nesting that copies, walks and host conversions follow (the root is level 0).
// Deeper parts of a tree built through the API are skipped with a logged error; a HostValue that
// nests deeper is refused by `FromHostValue`. Releasing a tree has no such limit.
inline constexpr std::size_t kBindingMaxDepth = 256;

class BindingValue {
public:
    // A root: kind empty, no context until one is needed.
    BindingValue() = default;
    // A child that shares `context` and does not own it. A null context makes a root.
    explicit BindingValue(BindingContext* context)
        : context_(context), ownsContext_(context == nullptr) {}

    // A root holding a deep copy.
    BindingValue(const BindingValue& other);
    // A root: takes over `other` when it is a root, otherwise copies it; `other` ends empty.
    BindingValue(BindingValue&& other) noexcept;
    // A deep copy into this value's context; the earlier content is released.
    BindingValue& operator=(const BindingValue& other);
    // Between two roots the contents are swapped and `other` is then cleared. A child of this
    // value's context hands its payload over as it is. Anything else is a deep copy followed by
    // clearing `other`. Moving a value into one of its own descendants is not supported.
    BindingValue& operator=(BindingValue&& other) noexcept;
    ~BindingValue() {
        if (!ownsContext_ || context_ == nullptr) {
            Reset();
        } else {
            DestroyOwnContext();
        }
    }

    // Releases the payload; the kind becomes empty and the context stays.
    void Reset() {
        if (kind_ > BindingValueKind::Float) {
            ReleasePayload();
        }
        payload_.raw = 0;
        kind_ = BindingValueKind::Empty;
    }

    // Inline: the codecs set numbers by the thousand, and most targets are empty already.
    void SetBool(bool value) {
        ClearForScalar();
        payload_.raw = 0;
        payload_.boolean = value;
        kind_ = BindingValueKind::Bool;
    }
    void SetSigned(std::int64_t value) {
        ClearForScalar();
        payload_.signedValue = value;
        kind_ = BindingValueKind::Signed;
    }
    void SetUnsigned(std::uint64_t value) {
        ClearForScalar();
        payload_.unsignedValue = value;
        kind_ = BindingValueKind::Unsigned;
    }
    // A 32-bit float is widened by the call.
    void SetFloat(double value) {
        ClearForScalar();
        payload_.floatValue = value;
        kind_ = BindingValueKind::Float;
    }
    // A null or empty text is the shared empty string.
    void SetString(const char* text);
    void SetString(std::string_view text);
    void SetString(const HashedName& text);
    void SetBlob(std::span<const std::uint8_t> bytes);
    // Takes over the vector's storage; `bytes` is left empty.
    void SetBlob(std::vector<std::uint8_t>&& bytes);
    void SetEnum(std::int32_t number, const StaticTypeRecord* type);

    // An empty collection or structure unless the value already is one.
    void MakeCollection();
    void MakeStructure();
    // Ensures room for `count` elements of a collection; no effect on other kinds. Returns false
    // (and changes nothing) above kBindingMaxElements.
    bool Reserve(std::size_t count);

    // Makes this a collection, appends empty elements until `index` exists and returns it.
    BindingValue& At(std::size_t index);
    BindingValue& Append();
    // Makes this a structure and returns the field, inserting an empty one when it is missing.
    // A name whose hash is known saves hashing it when the field is new.
    BindingValue& Field(std::string_view name);
    BindingValue& Field(const HashedName& name);

    // The element, or the shared empty value for another kind or an index beyond the end.
    const BindingValue& GetAt(std::size_t index) const;
    // The field, or the shared empty value for another kind or a missing field.
    const BindingValue& GetField(std::string_view name) const;
    bool HasField(std::string_view name) const;

    BindingValueKind Kind() const { return kind_; }
    bool IsEmpty() const { return kind_ == BindingValueKind::Empty; }
    // 0 when empty; bytes of a string or blob; elements or fields of a collection or
    // structure; 1 for every other kind.
    std::size_t Size() const;

    // Strict accessors: the default for any other kind, with no conversion.
    bool GetBool(bool fallback = false) const;
    std::int64_t GetSigned(std::int64_t fallback = 0) const;
    std::uint64_t GetUnsigned(std::uint64_t fallback = 0) const;
    double GetFloat(double fallback = 0.0) const;
    // The view of a string value is NUL-terminated.
    std::string_view GetString(std::string_view fallback = {}) const;
    std::span<const std::uint8_t> GetBlob(std::span<const std::uint8_t> fallback = {}) const;
    const BindingEnumValue& GetEnum(
        const BindingEnumValue& fallback = BindingEnumValue::Default()) const;

    // The raw 64 bits of a signed or unsigned value, a float truncated toward zero.
    std::int64_t ToInt64(std::int64_t fallback = 0) const;
    // Bool, numbers and the enum's number converted; a string read as far as it is a number.
    double ToDouble(double fallback = 0.0) const;
    // "true"/"false", decimal numbers, "%f" floats, the string itself, Base64 of a blob, the
    // enum's number; the empty text for empty, collection and structure.
    std::string ToText() const;

    void Visit(BindingValueVisitor& visitor) const;

    // Elements of a collection in order; empty for any other kind.
    std::span<const BindingValue> Elements() const;
    std::span<BindingValue> Elements();
    // Calls `fn(const BindingString& name, const BindingValue& value)` for each field of a
    // structure in ascending name order.
    template <typename Fn>
    void ForEachField(Fn&& fn) const {
        ForEachFieldImpl(
            [](void* closure, const BindingString& name, const BindingValue& value) {
                (*static_cast<std::remove_reference_t<Fn>*>(closure))(name, value);
            },
            &fn);
    }

    // The interned string of a string value, the shared empty one for other kinds.
    const BindingString& GetBindingString() const;

    BindingContext* Context() const { return context_; }
    bool OwnsContext() const { return ownsContext_; }

    // The shared empty value that read access hands out.
    static const BindingValue& Empty();

private:
    friend class BindingContext;
    friend struct BindingValueAccess;

    using FieldCallback = void (*)(void* closure, const BindingString& name,
                                   const BindingValue& value);
    void ForEachFieldImpl(FieldCallback callback, void* closure) const;

    union Payload {
        std::uint64_t raw;
        bool boolean;
        std::int64_t signedValue;
        std::uint64_t unsignedValue;
        double floatValue;
        BindingString* string;
        void* record;
    };

    // Only a payload that owns records needs releasing before a scalar overwrites it.
    void ClearForScalar() {
        if (kind_ > BindingValueKind::Float) {
            Reset();
        }
    }
    // The release of a payload that owns a string or records; leaves payload and kind as they
    // were.
    void ReleasePayload();
    void ReleaseRecords();
    // The destruction of a root with a context: the whole tree goes with it.
    void DestroyOwnContext();
    BindingContext& EnsureContext();
    // A deep copy of `source`; `clearAfterCopy`, when given, is cleared after the copy is made and
    // before the old content is released.
    void AssignCopy(const BindingValue& source, BindingValue* clearAfterCopy);
    // Copies into this value, which is empty and has a context.
    void CopyFrom(const BindingValue& source, std::size_t depth, Internal::CopyMemo& memo);
    // The same for a source that owns records: a blob, an enum, a collection or a structure.
    void CopyRecordsFrom(const BindingValue& source, std::size_t depth, Internal::CopyMemo& memo);
    Internal::StructureNode* CloneNodes(const Internal::StructureNode* node, std::size_t depth,
                                        Internal::CopyMemo& memo);
    // Takes payload and kind of `other`, which must share this value's context; leaves it empty.
    void StealPayload(BindingValue& other);

    Payload payload_{0};
    BindingContext* context_ = nullptr;
    BindingValueKind kind_ = BindingValueKind::Empty;
    bool ownsContext_ = true;
    // Bytes in what would be padding that a value's constructors zero and no other operation of
    // the value touches: the record that holds a value may keep something of its own there. A
    // structure node keeps its field name's address in them, which makes a node 40 bytes rather
    // than 48.
    std::uint8_t holderBytes_[6] = {};
};

static_assert(sizeof(BindingValue) == 24);

}  // namespace Tavix::Client
