// Slab slots against the general-purpose allocators, for the record sizes of value trees.

#include <benchmark/benchmark.h>
#include <mimalloc.h>

#include <array>
#include <cstdlib>
#include <string>

#include "support/slab.h"

namespace Tavix::Client {
namespace {

constexpr std::size_t kBatch = 1024;

// Keeps an allocation's address alive for the optimiser, through the read-only form of
// DoNotOptimize: with the writable form, this compiler dropped the store of an address into its
// batch array, and the batch then released addresses it never allocated.
inline void Keep(void* const& address) {
    benchmark::DoNotOptimize(address);
}

// True when `malloc` is still the C library's: mimalloc's shared library also exports malloc,
// and the comparison is only meaningful if linking it did not take over the process.
bool MallocIsTheRuntimes() {
    void* probe = std::calloc(1, 64);
    const bool runtimes = !mi_is_in_heap_region(probe);
    std::free(probe);
    return runtimes;
}

// A running plug-in always holds some value trees; their records keep the pool's region mapped,
// so a tree built and dropped takes pages that are already there. This record plays that part.
class ResidentRecord {
public:
    // The largest class has one inline slot: the second record sits on a page of the pool.
    ResidentRecord()
        : inlineRecord_(Allocate(context_, kLargestSlabSlot)),
          pageRecord_(Allocate(context_, kLargestSlabSlot)) {}
    ResidentRecord(const ResidentRecord&) = delete;
    ResidentRecord& operator=(const ResidentRecord&) = delete;

private:
    SlabContext context_;
    void* inlineRecord_;
    void* pageRecord_;
};

template <std::size_t Size>
void SlabPairHotOurs(benchmark::State& state) {
    SlabContext context;
    for (auto _ : state) {
        void* slot = Allocate(context, Size);
        Keep(slot);
        Release(context, Size, slot);
    }
}

template <std::size_t Size>
void SlabPairHotGlibc(benchmark::State& state) {
    if (!MallocIsTheRuntimes()) {
        state.SkipWithError("malloc is not the C library's");
        return;
    }
    for (auto _ : state) {
        void* block = std::malloc(Size);
        Keep(block);
        std::free(block);
    }
}

template <std::size_t Size>
void SlabPairHotMimalloc(benchmark::State& state) {
    for (auto _ : state) {
        void* block = mi_malloc(Size);
        Keep(block);
        mi_free(block);
    }
}

template <std::size_t Size>
void SlabBatchOurs(benchmark::State& state) {
    static ResidentRecord resident;
    SlabContext context;
    std::array<void*, kBatch> slots;
    for (auto _ : state) {
        for (void*& slot : slots) {
            slot = Allocate(context, Size);
            Keep(slot);
        }
        for (void* slot : slots) {
            Release(context, Size, slot);
        }
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

// The same without a resident record: every batch maps a region and unmaps it again.
template <std::size_t Size>
void SlabBatchColdOurs(benchmark::State& state) {
    SlabPool pool;
    SlabContext context(pool);
    std::array<void*, kBatch> slots;
    for (auto _ : state) {
        for (void*& slot : slots) {
            slot = Allocate(context, Size);
            Keep(slot);
        }
        for (void* slot : slots) {
            Release(context, Size, slot);
        }
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

template <std::size_t Size>
void SlabBatchGlibc(benchmark::State& state) {
    if (!MallocIsTheRuntimes()) {
        state.SkipWithError("malloc is not the C library's");
        return;
    }
    std::array<void*, kBatch> blocks;
    for (auto _ : state) {
        for (void*& block : blocks) {
            block = std::malloc(Size);
            Keep(block);
        }
        for (void* block : blocks) {
            std::free(block);
        }
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

template <std::size_t Size>
void SlabBatchMimalloc(benchmark::State& state) {
    std::array<void*, kBatch> blocks;
    for (auto _ : state) {
        for (void*& block : blocks) {
            block = mi_malloc(Size);
            Keep(block);
        }
        for (void* block : blocks) {
            mi_free(block);
        }
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

template <std::size_t Size>
void RegisterSize() {
    const std::string suffix = "/" + std::to_string(Size);
    benchmark::RegisterBenchmark(("SlabPairHot_ours" + suffix).c_str(), SlabPairHotOurs<Size>);
    benchmark::RegisterBenchmark(("SlabPairHot_glibc" + suffix).c_str(), SlabPairHotGlibc<Size>);
    benchmark::RegisterBenchmark(("SlabPairHot_mimalloc" + suffix).c_str(),
                                 SlabPairHotMimalloc<Size>);
    benchmark::RegisterBenchmark(("SlabBatch1024_ours" + suffix).c_str(), SlabBatchOurs<Size>);
    benchmark::RegisterBenchmark(("SlabBatch1024_glibc" + suffix).c_str(), SlabBatchGlibc<Size>);
    benchmark::RegisterBenchmark(("SlabBatch1024_mimalloc" + suffix).c_str(),
                                 SlabBatchMimalloc<Size>);
    benchmark::RegisterBenchmark(("SlabBatch1024Cold_ours" + suffix).c_str(),
                                 SlabBatchColdOurs<Size>);
    benchmark::RegisterBenchmark(("SlabBatch1024Cold_glibc" + suffix).c_str(),
                                 SlabBatchGlibc<Size>);
}

const bool registered = [] {
    RegisterSize<4>();
    RegisterSize<8>();
    RegisterSize<12>();
    RegisterSize<40>();
    return true;
}();

}  // namespace
}  // namespace Tavix::Client
