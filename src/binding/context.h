#pragma once
// The arena of one value tree: the pooled small records of its values and the table of its
// interned strings. The root that first needs storage creates it; every value of the tree shares
// it; it is destroyed with that root. It has no lock: a tree belongs to one thread at a time.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "binding/binding_string.h"
#include "binding/hashed_name.h"
#include "binding/internal/record_pool.h"

namespace Tavix::Client {

class BindingValue;

class BindingContext {
public:
    BindingContext();
    // Frees the strings still in the table, the large element arrays and every pooled record at
    // once. Blob bytes must have been freed before; nothing else of the tree need be.
    ~BindingContext();
    BindingContext(const BindingContext&) = delete;
    BindingContext& operator=(const BindingContext&) = delete;

    // Small fixed-size records (at most 72 bytes) from the context's slabs. The caller states
    // the size again on release.
    void* AllocateRecord(std::size_t size) { return pool_.Allocate(size); }
    void ReleaseRecord(std::size_t size, void* record) { pool_.Release(size, record); }

    // The entry of this text with one more reference, created with one when it is new. A null
    // or empty text gives the shared empty string, which is never counted.
    BindingString* Intern(const HashedName& text) {
        return text.IsLiteral() ? InternLiteral(text) : InternText(text);
    }
    // The entry, with one reference, of a non-empty text that the table does not hold yet: for a
    // caller that knows it is new, which spares the search.
    BindingString* InternAbsent(const HashedName& text);
    // The entry of this text, or null; adds no reference.
    BindingString* Find(const HashedName& text) const;
    // One more reference to an entry of this context (or to the shared empty string).
    static void Retain(BindingString* string) {
        if (!string->IsSharedEmpty()) {
            ++string->references_;
        }
    }
    // One reference less; the entry goes when none is left.
    void ReleaseString(BindingString* string);
    // Sizes the table for `count` texts at once, sparing the rehashes of growing one by one.
    void ReserveStrings(std::size_t count);

    // Distinct texts in the table, and its bucket count.
    std::size_t StringCount() const { return stringCount_; }
    std::size_t BucketCount() const { return bucketCount_; }
    // Pooled records handed out and not yet released, the string table's own included.
    std::size_t OutstandingRecords() const { return pool_.Outstanding(); }
    // The slot bytes of those records.
    std::size_t RecordBytes() const { return pool_.BytesInUse(); }
    // Pages of 4096 bytes that the context's slabs hold from the process-wide pool.
    std::size_t PagesHeld() const { return pool_.PagesHeld(); }

    // Heap blocks that records of the tree own and that the context cannot free by itself (blob
    // bytes). While there are none, a tree that goes with its context needs no walk at all.
    void AddHeapPart() { ++heapParts_; }
    void DropHeapPart() { --heapParts_; }
    bool HasHeapParts() const { return heapParts_ != 0; }

    // Pieces of up to kLargestBulkPiece bytes, 8-aligned: the texts of long strings, element
    // arrays too large for a pooled record, and grown bucket arrays. They are cut one after
    // another from pages of the process-wide pool rather than taken from the heap one by one, and
    // a page goes back when its last piece does. The caller states the size again on release.
    static constexpr std::size_t kLargestBulkPiece = 1024;
    void* AllocateBulk(std::size_t bytes);
    void ReleaseBulk(void* piece, std::size_t bytes);
    // Grows or shrinks a piece, in place when it is the last one cut and its page has room, else
    // by moving its first `keep` bytes to a new piece.
    void* ResizeBulk(void* piece, std::size_t bytes, std::size_t newBytes, std::size_t keep);
    std::size_t BulkPagesHeld() const { return bulkPages_; }
    // Bytes of the pieces handed out and not yet released, each rounded up to 8.
    std::size_t BulkBytes() const { return bulkBytes_; }

    // Element arrays larger than a bulk piece. Each sits behind a link in the context's list of
    // them, so that those still there when the context goes are freed without a walk of the
    // tree. The address handed out is aligned for values.
    void* AllocateHeapArray(std::size_t bytes);
    void* ReallocateHeapArray(void* array, std::size_t bytes);
    void ReleaseHeapArray(void* array);
    std::size_t HeapArrayCount() const { return heapArrayCount_; }

    // The scratch value handed out when a collection refuses to grow. Whatever was written to it
    // before is released first.
    BindingValue& OverflowSink();

private:
    BindingString* InternText(const HashedName& text);
    BindingString* InternLiteral(const HashedName& text);
    void FreeEntry(BindingString* entry);
    BindingString** AllocateBuckets(std::uint32_t count);
    void ReleaseBuckets(BindingString** buckets, std::uint32_t count);
    void Grow();
    void Rehash(std::uint32_t count);
    void ResetTable();

    static constexpr std::uint32_t kInitialBuckets = 8;
    static constexpr std::uint32_t kQuickGrowthBuckets = 1024;

    char* AllocateText(std::size_t bytes);
    void ReleaseText(char* text, std::size_t bytes);

    struct BulkPage {
        BulkPage* previous;
        BulkPage* next;
        std::uint32_t live;  // pieces cut from it and not yet released
        std::uint32_t end;   // offset of its first free byte
    };

    struct HeapArrayLink {
        HeapArrayLink* previous;
        HeapArrayLink* next;
    };

    // The entries of string literals met lately, known by the literal's address, which spares
    // hashing and comparing the text of the field names that code writes again and again. A bulk
    // piece, made when the first literal comes. A set has two slots, the newest literal in
    // front: with one slot a set, two names of one record that meet in it would push each other
    // out at every record.
    struct LiteralSlot {
        const char* text;
        BindingString* entry;
    };
    static constexpr std::size_t kLiteralSets = 32;
    static constexpr std::size_t kLiteralSlots = 2 * kLiteralSets;

    Internal::RecordPool pool_;
    LiteralSlot* literals_ = nullptr;
    BindingString** buckets_ = nullptr;
    std::uint32_t bucketCount_ = 0;
    std::uint32_t stringCount_ = 0;
    // Entries whose text lives on the heap.
    std::uint32_t longStrings_ = 0;
    std::uint32_t heapParts_ = 0;
    HeapArrayLink* heapArrays_ = nullptr;
    // The page pieces are cut from now, first in the list of bulk pages.
    BulkPage* bulkPage_ = nullptr;
    std::size_t bulkPages_ = 0;
    std::size_t bulkBytes_ = 0;
    std::size_t heapArrayCount_ = 0;
    BindingValue* sink_ = nullptr;
};

}  // namespace Tavix::Client
