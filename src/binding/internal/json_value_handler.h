#pragma once
// The event handler that the JSON reader drives: each event fills the value that the document
// has reached, so the tree is built with no intermediate document.
//
// The elements of an open array and the fields of an open object gather on a scratch stack
// shared by the whole document, and move into their container when it closes: a collection gets
// an array of the exact size rather than passing through every capacity on its way, and a
// structure gets a balanced tree linked in one pass rather than a search and a rebalance for
// each field.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <vector>

#include <rapidjson/reader.h>

#include "binding/binding_string.h"
#include "binding/context.h"
#include "binding/internal/records.h"
#include "binding/internal/structure_tree.h"
#include "binding/value.h"
#include "log/memory.h"

namespace Tavix::Client::Internal {

class JsonValueHandler {
public:
    // `sizeHint`, the length of the text, sizes the string table up front.
    explicit JsonValueHandler(BindingValue& root, std::size_t sizeHint = 0)
        : root_(&root), sizeHint_(sizeHint) {}
    // What is still gathered when a parse stopped early goes back to the tree's context.
    ~JsonValueHandler() {
        for (std::size_t depth = depth_; depth-- > 0;) {
            const Frame& frame = frames_[depth];
            for (std::size_t i = frame.first; i < pendingCount_; ++i) {
                pending_[i].~BindingValue();
                if (frame.isObject) {
                    root_->Context()->ReleaseString(names_[i]);
                }
            }
            pendingCount_ = frame.first;
        }
        if (pending_ != InlinePending()) {
            Release(pending_);
            Release(names_);
        }
    }
    JsonValueHandler(const JsonValueHandler&) = delete;
    JsonValueHandler& operator=(const JsonValueHandler&) = delete;

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
    bool String(const char* text, rapidjson::SizeType length, bool) {
        Next().SetString(HashedName::UpToNul(text, length));
        return true;
    }
    bool StartObject() { return Open(/*object=*/true); }
    // The same few names recur in every object of a kind, so each is looked up in the string
    // table once: later meetings find its entry here by comparing the text alone.
    bool Key(const char* text, rapidjson::SizeType length, bool) {
        BindingContext& context = *root_->Context();
        BindingString*& cached = recentNames_[NameSlot(text, length)];
        BindingString* name;
        if (cached != nullptr && cached->Size() == length &&
            SameText(cached->Text(), text, length)) {
            BindingContext::Retain(cached);
            name = cached;
        } else {
            const HashedName hashed = HashedName::UpToNul(text, length);
            name = context.Intern(hashed);
            // A name cut at a NUL would never match its full length again.
            if (hashed.Text().size() == length) {
                cached = name;
            }
        }
        BindingValue& field = Push();
        names_[pendingCount_ - 1] = name;
        current_ = &field;
        return true;
    }
    bool EndObject(rapidjson::SizeType) {
        const Frame& frame = frames_[--depth_];
        BuildStructure(Container(frame), frame.first);
        return true;
    }
    bool StartArray() { return Open(/*object=*/false); }
    bool EndArray(rapidjson::SizeType) {
        const Frame& frame = frames_[--depth_];
        const std::size_t count = pendingCount_ - frame.first;
        AdoptElements(Container(frame), pending_ + frame.first, count);
        pendingCount_ = frame.first;
        return true;
    }

private:
    static constexpr std::size_t kRoot = ~std::size_t{0};
    // Entries that the scratch stack holds before it moves to the heap.
    static constexpr std::size_t kInlinePending = 64;
    static constexpr std::size_t kRecentNames = 64;

    // An open container: the root, or an entry of the scratch stack, which moves as it grows
    // and is therefore known by position.
    struct Frame {
        std::size_t index;
        // Where its elements or fields begin on the scratch stack.
        std::size_t first;
        bool isObject;
    };

    BindingValue& Container(const Frame& frame) {
        return frame.index == kRoot ? *root_ : pending_[frame.index];
    }

    // The value that the next event fills: the root, the field that the last name opened, or a
    // new element.
    BindingValue& Next() {
        if (depth_ == 0) {
            return *root_;
        }
        const Frame& frame = frames_[depth_ - 1];
        if (frame.isObject) {
            return *current_;
        }
        const std::size_t count = pendingCount_ - frame.first;
        if (count >= kBindingMaxElements) [[unlikely]] {
            // Refused and logged by the collection; the element goes to the scratch value.
            Container(frame).Reserve(count + 1);
            return root_->Context()->OverflowSink();
        }
        return Push();
    }

    BindingValue& Push() {
        if (pendingCount_ == pendingCapacity_) {
            Grow();
        }
        return *new (pending_ + pendingCount_++) BindingValue(root_->Context());
    }

    // The fields gathered from `first` on become the structure's tree; a name given twice keeps
    // its last value.
    void BuildStructure(BindingValue& structure, std::size_t first) {
        const std::size_t count = pendingCount_ - first;
        if (count == 0) {
            return;
        }
        BindingValue* values = pending_ + first;
        BindingString** names = names_ + first;
        BindingContext& context = *root_->Context();
        bool ascending = true;
        for (std::size_t i = 1; i < count && ascending; ++i) {
            ascending = CompareNames(names[i - 1]->View(), names[i]->View()) < 0;
        }
        if (!ascending) {
            SortAndDropRepeats(values, names, count);
        }
        StructureNode* inlineNodes[kInlinePending];
        StructureNode** nodes =
            count <= kInlinePending
                ? inlineNodes
                : static_cast<StructureNode**>(Allocate(count * sizeof(StructureNode*)));
        std::size_t kept = 0;
        for (std::size_t i = 0; i < count; ++i) {
            if (names[i] == nullptr) {
                continue;  // dropped as a repeat
            }
            auto* node = static_cast<StructureNode*>(context.AllocateRecord(sizeof(StructureNode)));
            // Values hold no pointer into themselves, so their bytes can move; the name goes in
            // after them.
            std::memcpy(static_cast<void*>(&node->value), static_cast<const void*>(&values[i]),
                        sizeof(BindingValue));
            node->SetName(names[i]);
            nodes[kept++] = node;
        }
        BuildFromAscending(*BindingValueAccess::Structure(structure), nodes, kept);
        if (nodes != inlineNodes) {
            Release(nodes);
        }
        pendingCount_ = first;
    }

    // Rare: a document whose names are out of order or repeated. Sorts by name, keeping the
    // order of arrival among equal names, and releases all but the last of each; their slots are
    // left with a null name.
    void SortAndDropRepeats(BindingValue* values, BindingString** names, std::size_t count) {
        struct Entry {
            BindingString* name;
            std::size_t arrival;
        };
        std::vector<Entry> order(count);
        for (std::size_t i = 0; i < count; ++i) {
            order[i] = Entry{names[i], i};
        }
        std::stable_sort(order.begin(), order.end(), [](const Entry& a, const Entry& b) {
            return CompareNames(a.name->View(), b.name->View()) < 0;
        });
        // Sorted through a scratch copy of the value bytes.
        std::vector<std::byte> bytes(count * sizeof(BindingValue));
        std::memcpy(bytes.data(), static_cast<const void*>(values), bytes.size());
        const auto* original = reinterpret_cast<const BindingValue*>(bytes.data());
        BindingContext& context = *root_->Context();
        bool dropped = false;
        for (std::size_t i = 0; i < count; ++i) {
            std::memcpy(static_cast<void*>(&values[i]),
                        static_cast<const void*>(&original[order[i].arrival]),
                        sizeof(BindingValue));
            names[i] = order[i].name;
            if (i + 1 < count && order[i + 1].name == order[i].name) {
                values[i].~BindingValue();
                context.ReleaseString(names[i]);
                names[i] = nullptr;
                dropped = true;
            }
        }
        if (dropped) {
            // A dropped value may have held the last reference to names kept here.
            std::fill(std::begin(recentNames_), std::end(recentNames_), nullptr);
        }
    }

    // Names are short: a loop beats a call for them.
    static bool SameText(const char* a, const char* b, std::size_t length) {
        for (std::size_t i = 0; i < length; ++i) {
            if (a[i] != b[i]) {
                return false;
            }
        }
        return true;
    }

    static std::size_t NameSlot(const char* text, std::size_t length) {
        std::size_t mix = length;
        if (length != 0) {
            mix = mix * 31 + static_cast<unsigned char>(text[0]);
            mix = mix * 31 + static_cast<unsigned char>(text[length - 1]);
            mix = mix * 31 + static_cast<unsigned char>(text[length / 2]);
        }
        return mix & (kRecentNames - 1);
    }

    BindingValue* InlinePending() { return reinterpret_cast<BindingValue*>(inlinePending_); }

    void Grow() {
        const std::size_t capacity = pendingCapacity_ * 2;
        // Values hold no pointer into themselves, so their bytes can move.
        if (pending_ == InlinePending()) {
            auto* values = static_cast<BindingValue*>(Allocate(capacity * sizeof(BindingValue)));
            auto* names = static_cast<BindingString**>(Allocate(capacity * sizeof(BindingString*)));
            std::memcpy(static_cast<void*>(values), static_cast<const void*>(pending_),
                        pendingCount_ * sizeof(BindingValue));
            std::memcpy(names, names_, pendingCount_ * sizeof(BindingString*));
            pending_ = values;
            names_ = names;
        } else {
            pending_ = static_cast<BindingValue*>(
                Reallocate(static_cast<void*>(pending_), capacity * sizeof(BindingValue)));
            names_ = static_cast<BindingString**>(
                Reallocate(static_cast<void*>(names_), capacity * sizeof(BindingString*)));
        }
        pendingCapacity_ = capacity;
    }

    bool Open(bool object) {
        if (depth_ >= kBindingMaxDepth) {
            tooDeep_ = true;
            return false;
        }
        BindingValue& container = Next();
        if (object) {
            container.MakeStructure();
        } else {
            container.MakeCollection();
        }
        std::size_t index = kRoot;
        if (depth_ == 0) {
            ReserveStrings();
        } else {
            index = static_cast<std::size_t>(&container - pending_);
            if (index >= pendingCount_) {
                index = kRoot;  // the overflow sink, which no one will read
            }
        }
        frames_[depth_++] = Frame{index, pendingCount_, object};
        return true;
    }

    // Rehashing the table as it fills costs more than sizing it once; a text has roughly one
    // distinct string per 64 bytes, and beyond the cap the table grows as it goes.
    void ReserveStrings() {
        static constexpr std::size_t kBytesPerString = 64;
        static constexpr std::size_t kMaxReserved = 1024;
        std::size_t count = sizeHint_ / kBytesPerString;
        if (count > kMaxReserved) {
            count = kMaxReserved;
        }
        if (root_->Context()->StringCount() == 0) {
            root_->Context()->ReserveStrings(count);
        }
    }

    BindingValue* root_;
    BindingValue* current_ = nullptr;
    std::size_t sizeHint_;
    std::size_t depth_ = 0;
    Frame frames_[kBindingMaxDepth];
    // The scratch stack: values, and beside them the names of fields (unused for elements).
    BindingValue* pending_ = InlinePending();
    BindingString** names_ = inlineNames_;
    std::size_t pendingCount_ = 0;
    std::size_t pendingCapacity_ = kInlinePending;
    alignas(BindingValue) std::byte inlinePending_[kInlinePending * sizeof(BindingValue)];
    BindingString* inlineNames_[kInlinePending];
    // Entries held by the names gathered or placed; cleared whenever a name may have gone.
    BindingString* recentNames_[kRecentNames] = {};
    bool tooDeep_ = false;
    bool numberTooBig_ = false;
};

}  // namespace Tavix::Client::Internal
