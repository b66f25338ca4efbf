#include "binding/context.h"

#include <cstring>
#include <new>

#include "binding/value.h"
#include "log/memory.h"
#include "support/slab_pool.h"

namespace Tavix::Client {

// The first bucket array is a pooled record, grown ones are bulk pieces up to a kilobyte and
// heap blocks beyond.
BindingString** BindingContext::AllocateBuckets(std::uint32_t count) {
    const std::size_t bytes = count * sizeof(BindingString*);
    void* memory;
    if (count == kInitialBuckets) {
        memory = pool_.Allocate(bytes);
    } else if (bytes <= kLargestBulkPiece) {
        memory = AllocateBulk(bytes);
    } else {
        memory = Allocate(bytes);
    }
    std::memset(memory, 0, bytes);
    return static_cast<BindingString**>(memory);
}

void BindingContext::ReleaseBuckets(BindingString** buckets, std::uint32_t count) {
    const std::size_t bytes = count * sizeof(BindingString*);
    if (buckets == nullptr) {
        return;
    }
    if (count == kInitialBuckets) {
        pool_.Release(bytes, buckets);
    } else if (bytes <= kLargestBulkPiece) {
        ReleaseBulk(buckets, bytes);
    } else {
        Release(buckets);
    }
}

namespace {

std::uint64_t Load8(const char* bytes) {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

std::uint32_t Load4(const char* bytes) {
    std::uint32_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// Equal hashes nearly always mean equal texts, so the whole text is compared, a word at a time;
// the last word overlaps the one before it rather than going byte by byte.
bool SameBytes(const char* a, const char* b, std::size_t size) {
    if (size >= 8) {
        std::size_t i = 0;
        for (; i + 8 < size; i += 8) {
            if (Load8(a + i) != Load8(b + i)) {
                return false;
            }
        }
        return Load8(a + size - 8) == Load8(b + size - 8);
    }
    if (size >= 4) {
        return Load4(a) == Load4(b) && Load4(a + size - 4) == Load4(b + size - 4);
    }
    for (std::size_t i = 0; i < size; ++i) {
        if (a[i] != b[i]) {
            return false;
        }
    }
    return true;
}

}  // namespace

BindingContext::BindingContext() {
    ResetTable();
}

BindingContext::~BindingContext() {
    if (sink_ != nullptr) {
        sink_->~BindingValue();
    }
    if (longStrings_ != 0) {
        for (std::uint32_t i = 0; i < bucketCount_; ++i) {
            for (BindingString* entry = buckets_[i]; entry != nullptr; entry = entry->next_) {
                if (!BindingString::IsInline(entry->size_) &&
                    entry->size_ + 1 > kLargestBulkPiece) {
                    Release(const_cast<char*>(entry->Text()));
                }
            }
        }
    }
    if (bucketCount_ * sizeof(BindingString*) > kLargestBulkPiece) {
        Release(buckets_);
    }
    {
        PageBatch batch(pool_.Pool());
        for (; bulkPage_ != nullptr; bulkPage_ = bulkPage_->next) {
            batch.Add(bulkPage_);
        }
    }
    while (heapArrays_ != nullptr) {
        HeapArrayLink* next = heapArrays_->next;
        Release(heapArrays_);
        heapArrays_ = next;
    }
    // The entries, the buckets of a small table and every record of the tree go with the slabs.
    pool_.Clear();
}

void* BindingContext::AllocateBulk(std::size_t bytes) {
    const std::size_t rounded = (bytes + 7) & ~std::size_t{7};
    if (bulkPage_ == nullptr || bulkPage_->end + rounded > kSlabPageSize) {
        auto* page = static_cast<BulkPage*>(pool_.Pool().AcquirePage());
        page->previous = nullptr;
        page->next = bulkPage_;
        page->live = 0;
        page->end = sizeof(BulkPage);
        if (bulkPage_ != nullptr) {
            bulkPage_->previous = page;
        }
        bulkPage_ = page;
        ++bulkPages_;
    }
    char* piece = reinterpret_cast<char*>(bulkPage_) + bulkPage_->end;
    bulkPage_->end += static_cast<std::uint32_t>(rounded);
    ++bulkPage_->live;
    bulkBytes_ += rounded;
    return piece;
}

void BindingContext::ReleaseBulk(void* piece, std::size_t bytes) {
    const std::size_t rounded = (bytes + 7) & ~std::size_t{7};
    bulkBytes_ -= rounded;
    auto* page = reinterpret_cast<BulkPage*>(reinterpret_cast<std::uintptr_t>(piece) &
                                             ~std::uintptr_t{kSlabPageSize - 1});
    if (page == bulkPage_ &&
        reinterpret_cast<char*>(page) + page->end == static_cast<char*>(piece) + rounded) {
        // The last piece cut: its bytes serve the next one.
        page->end -= static_cast<std::uint32_t>(rounded);
    }
    if (--page->live != 0) {
        return;
    }
    if (page == bulkPage_) {
        // The page being cut from starts over rather than going.
        page->end = sizeof(BulkPage);
        return;
    }
    page->previous->next = page->next;
    if (page->next != nullptr) {
        page->next->previous = page->previous;
    }
    --bulkPages_;
    pool_.Pool().ReleasePage(page);
}

void* BindingContext::ResizeBulk(void* piece, std::size_t bytes, std::size_t newBytes,
                                 std::size_t keep) {
    const std::size_t rounded = (bytes + 7) & ~std::size_t{7};
    const std::size_t newRounded = (newBytes + 7) & ~std::size_t{7};
    auto* page = reinterpret_cast<BulkPage*>(reinterpret_cast<std::uintptr_t>(piece) &
                                             ~std::uintptr_t{kSlabPageSize - 1});
    const std::size_t offset =
        static_cast<std::size_t>(static_cast<char*>(piece) - reinterpret_cast<char*>(page));
    if (page == bulkPage_ && offset + rounded == page->end &&
        offset + newRounded <= kSlabPageSize) {
        page->end = static_cast<std::uint32_t>(offset + newRounded);
        bulkBytes_ = bulkBytes_ - rounded + newRounded;
        return piece;
    }
    void* moved = AllocateBulk(newBytes);
    std::memcpy(moved, piece, keep);
    ReleaseBulk(piece, bytes);
    return moved;
}

char* BindingContext::AllocateText(std::size_t bytes) {
    if (bytes > kLargestBulkPiece) {
        return static_cast<char*>(Allocate(bytes));
    }
    return static_cast<char*>(AllocateBulk(bytes));
}

void BindingContext::ReleaseText(char* text, std::size_t bytes) {
    if (bytes > kLargestBulkPiece) {
        Release(text);
    } else {
        ReleaseBulk(text, bytes);
    }
}

void* BindingContext::AllocateHeapArray(std::size_t bytes) {
    auto* link = static_cast<HeapArrayLink*>(Allocate(sizeof(HeapArrayLink) + bytes));
    link->previous = nullptr;
    link->next = heapArrays_;
    if (heapArrays_ != nullptr) {
        heapArrays_->previous = link;
    }
    heapArrays_ = link;
    ++heapArrayCount_;
    return link + 1;
}

void* BindingContext::ReallocateHeapArray(void* array, std::size_t bytes) {
    auto* link = static_cast<HeapArrayLink*>(
        Reallocate(static_cast<HeapArrayLink*>(array) - 1, sizeof(HeapArrayLink) + bytes));
    // The block may have moved: its neighbours learn where it is now.
    if (link->previous != nullptr) {
        link->previous->next = link;
    } else {
        heapArrays_ = link;
    }
    if (link->next != nullptr) {
        link->next->previous = link;
    }
    return link + 1;
}

void BindingContext::ReleaseHeapArray(void* array) {
    HeapArrayLink* link = static_cast<HeapArrayLink*>(array) - 1;
    if (link->previous != nullptr) {
        link->previous->next = link->next;
    } else {
        heapArrays_ = link->next;
    }
    if (link->next != nullptr) {
        link->next->previous = link->previous;
    }
    --heapArrayCount_;
    Release(link);
}

void BindingContext::FreeEntry(BindingString* entry) {
    if (literals_ != nullptr) {
        LiteralSlot* set = literals_ + 2 * (entry->hash_ & (kLiteralSets - 1));
        for (int way = 0; way < 2; ++way) {
            if (set[way].entry == entry) {
                set[way].entry = nullptr;
            }
        }
    }
    if (!BindingString::IsInline(entry->size_)) {
        ReleaseText(const_cast<char*>(entry->Text()), entry->size_ + 1);
        --longStrings_;
    }
    ReleaseRecord(BindingString::EntrySize(entry->size_), entry);
}

void BindingContext::ResetTable() {
    ReleaseBuckets(buckets_, bucketCount_);
    bucketCount_ = kInitialBuckets;
    buckets_ = AllocateBuckets(bucketCount_);
}

BindingString* BindingContext::Find(const HashedName& text) const {
    if (text.Text().empty()) {
        return &BindingString::SharedEmpty();
    }
    BindingString* entry = buckets_[text.Hash() & (bucketCount_ - 1)];
    for (; entry != nullptr; entry = entry->next_) {
        if (entry->hash_ == text.Hash() && entry->size_ == text.Text().size() &&
            SameBytes(entry->Text(), text.Text().data(), entry->size_)) {
            return entry;
        }
    }
    return nullptr;
}

BindingString* BindingContext::InternLiteral(const HashedName& text) {
    if (literals_ == nullptr) {
        literals_ = static_cast<LiteralSlot*>(AllocateBulk(kLiteralSlots * sizeof(LiteralSlot)));
        std::memset(static_cast<void*>(literals_), 0, kLiteralSlots * sizeof(LiteralSlot));
    }
    LiteralSlot* set = literals_ + 2 * (text.Hash() & (kLiteralSets - 1));
    const char* address = text.Text().data();
    // The same address and size are the same bytes: a literal never changes. The shared empty
    // string is never kept, so a kept entry is counted.
    for (int way = 0; way < 2; ++way) {
        BindingString* entry = set[way].entry;
        if (set[way].text == address && entry != nullptr && entry->size_ == text.Text().size()) {
            ++entry->references_;
            return entry;
        }
    }
    BindingString* entry = InternText(text);
    if (!entry->IsSharedEmpty()) {
        // The newcomer goes in front and the one there moves behind.
        set[1] = set[0];
        set[0] = LiteralSlot{address, entry};
    }
    return entry;
}

BindingString* BindingContext::InternText(const HashedName& text) {
    BindingString* found = Find(text);
    if (found != nullptr) {
        Retain(found);
        return found;
    }
    return InternAbsent(text);
}

BindingString* BindingContext::InternAbsent(const HashedName& text) {
    const std::size_t size = text.Text().size();
    void* record = AllocateRecord(BindingString::EntrySize(size));
    auto* entry = new (record) BindingString();
    char* storage;
    if (BindingString::IsInline(size)) {
        storage = static_cast<char*>(record) + BindingString::kHeadSize;
    } else {
        storage = AllocateText(size + 1);
        ++longStrings_;
        std::memcpy(static_cast<char*>(record) + BindingString::kLongPointerOffset, &storage,
                    sizeof storage);
        std::memcpy(entry->inlineHead_, text.Text().data(), sizeof entry->inlineHead_);
    }
    std::memcpy(storage, text.Text().data(), size);
    storage[size] = '\0';
    BindingString*& bucket = buckets_[text.Hash() & (bucketCount_ - 1)];
    entry->next_ = bucket;
    entry->hash_ = text.Hash();
    entry->size_ = static_cast<std::uint32_t>(size);
    entry->references_ = 1;
    bucket = entry;
    if (++stringCount_ > bucketCount_) {
        Grow();
    }
    return entry;
}

void BindingContext::ReleaseString(BindingString* string) {
    if (string->IsSharedEmpty() || --string->references_ != 0) {
        return;
    }
    BindingString** link = &buckets_[string->hash_ & (bucketCount_ - 1)];
    while (*link != string) {
        link = &(*link)->next_;
    }
    *link = string->next_;
    FreeEntry(string);
    if (--stringCount_ == 0 && bucketCount_ != kInitialBuckets) {
        ResetTable();
    }
}

void BindingContext::ReserveStrings(std::size_t count) {
    std::uint32_t buckets = bucketCount_;
    while (buckets < count && buckets < (1u << 30)) {
        buckets *= 2;
    }
    if (buckets != bucketCount_) {
        Rehash(buckets);
    }
}

void BindingContext::Grow() {
    // Small tables grow fourfold, which halves the rehashes a tree makes while it is built;
    // large ones double, so that a big table never holds more than twice the buckets it needs.
    Rehash(bucketCount_ < kQuickGrowthBuckets ? bucketCount_ * 4 : bucketCount_ * 2);
}

void BindingContext::Rehash(std::uint32_t count) {
    BindingString** buckets = AllocateBuckets(count);
    for (std::uint32_t i = 0; i < bucketCount_; ++i) {
        BindingString* entry = buckets_[i];
        while (entry != nullptr) {
            BindingString* next = entry->next_;
            BindingString*& bucket = buckets[entry->hash_ & (count - 1)];
            entry->next_ = bucket;
            bucket = entry;
            entry = next;
        }
    }
    ReleaseBuckets(buckets_, bucketCount_);
    buckets_ = buckets;
    bucketCount_ = count;
}

BindingValue& BindingContext::OverflowSink() {
    if (sink_ == nullptr) {
        sink_ = new (AllocateRecord(sizeof(BindingValue))) BindingValue(this);
    } else {
        sink_->Reset();
    }
    return *sink_;
}

}  // namespace Tavix::Client
