// The module's global new and delete, all forms, through the counted memory layer. Linked only
// into the plug-in itself (and a test that checks it): in a static library it would take over
// every process that links the log.

#include <cstddef>
#include <cstdint>
#include <new>

#include "log/memory.h"

namespace {

using Tavix::Client::Allocate;
using Tavix::Client::Release;

constexpr std::size_t kPlainAlignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

// A wider alignment than the heap's is cut out of a larger block; the block's own address is
// kept in the word just below the aligned one.
void* AllocateAligned(std::size_t size, std::size_t alignment) {
    if (alignment <= kPlainAlignment) {
        return Allocate(size != 0 ? size : 1);
    }
    if (size > SIZE_MAX - alignment - sizeof(void*)) {
        return nullptr;
    }
    void* block = Allocate(size + alignment + sizeof(void*));
    if (block == nullptr) {
        return nullptr;
    }
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(block) + sizeof(void*);
    const std::uintptr_t aligned = (first + alignment - 1) & ~(std::uintptr_t{alignment} - 1);
    reinterpret_cast<void**>(aligned)[-1] = block;
    return reinterpret_cast<void*>(aligned);
}

void ReleaseAligned(void* pointer, std::size_t alignment) {
    if (pointer == nullptr) {
        return;
    }
    if (alignment <= kPlainAlignment) {
        Release(pointer);
        return;
    }
    Release(static_cast<void**>(pointer)[-1]);
}

// The standard's loop: ask the new handler for memory until it gives up by throwing, or there is
// none to ask.
void* AllocateOrThrow(std::size_t size, std::size_t alignment) {
    for (;;) {
        if (void* pointer = AllocateAligned(size, alignment)) {
            return pointer;
        }
        std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) {
            throw std::bad_alloc();
        }
        handler();
    }
}

void* AllocateOrNull(std::size_t size, std::size_t alignment) noexcept {
    try {
        return AllocateOrThrow(size, alignment);
    } catch (...) {
        return nullptr;
    }
}

std::size_t AlignmentOf(std::align_val_t alignment) {
    return static_cast<std::size_t>(alignment);
}

}  // namespace

void* operator new(std::size_t size) {
    return AllocateOrThrow(size, kPlainAlignment);
}
void* operator new[](std::size_t size) {
    return AllocateOrThrow(size, kPlainAlignment);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size, kPlainAlignment);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size, kPlainAlignment);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return AllocateOrThrow(size, AlignmentOf(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return AllocateOrThrow(size, AlignmentOf(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size, AlignmentOf(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size, AlignmentOf(alignment));
}

void operator delete(void* pointer) noexcept {
    Release(pointer);
}
void operator delete[](void* pointer) noexcept {
    Release(pointer);
}
void operator delete(void* pointer, std::size_t) noexcept {
    Release(pointer);
}
void operator delete[](void* pointer, std::size_t) noexcept {
    Release(pointer);
}
void operator delete(void* pointer, const std::nothrow_t&) noexcept {
    Release(pointer);
}
void operator delete[](void* pointer, const std::nothrow_t&) noexcept {
    Release(pointer);
}
void operator delete(void* pointer, std::align_val_t alignment) noexcept {
    ReleaseAligned(pointer, AlignmentOf(alignment));
}
void operator delete[](void* pointer, std::align_val_t alignment) noexcept {
    ReleaseAligned(pointer, AlignmentOf(alignment));
}
void operator delete(void* pointer, std::size_t, std::align_val_t alignment) noexcept {
    ReleaseAligned(pointer, AlignmentOf(alignment));
}
void operator delete[](void* pointer, std::size_t, std::align_val_t alignment) noexcept {
    ReleaseAligned(pointer, AlignmentOf(alignment));
}
void operator delete(void* pointer, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    ReleaseAligned(pointer, AlignmentOf(alignment));
}
void operator delete[](void* pointer, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    ReleaseAligned(pointer, AlignmentOf(alignment));
}
