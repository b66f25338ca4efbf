#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "binding/registry.h"
#include "binding/value.h"

namespace Tavix::Client {
namespace {

template <int N>
struct Record {
    std::int32_t value = 0;
};

template <int N>
void Declare(BindingRegistry& registry, std::atomic<int>& fresh) {
    auto builder = registry.DeclareType<Record<N>>("Record" + std::to_string(N));
    if (!builder.Existed()) {
        builder.template AddField<std::int32_t>("value", 0);
        ++fresh;
    }
}

template <int... N>
void DeclareAll(BindingRegistry& registry, std::atomic<int>& fresh,
                std::integer_sequence<int, N...>) {
    (Declare<N>(registry, fresh), ...);
}

// Several threads declare the same names and look them up while others take snapshots: each
// name is declared once, and every lookup finds a whole descriptor or none.
TEST(BindingRegistryConcurrency, DeclarationsAndLookupsRaceSafely) {
    BindingRegistry registry;
    registry.Reset();
    std::atomic<int> fresh{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            while (!go.load()) {
            }
            DeclareAll(registry, fresh, std::make_integer_sequence<int, 32>());
            for (int i = 0; i < 64; ++i) {
                registry.DeclareFunction("function" + std::to_string(i % 16), 1);
            }
        });
    }
    threads.emplace_back([&] {
        while (!go.load()) {
        }
        for (int i = 0; i < 200; ++i) {
            for (const BindingTypeDescriptor* type : registry.Types()) {
                EXPECT_FALSE(type->name.empty());
            }
            registry.Functions();
            registry.FindType(StaticType::Record<Record<7>>());
        }
    });
    go = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(fresh.load(), 32);
    EXPECT_EQ(registry.Functions().size(), 16u);
    EXPECT_EQ(registry.Generation(), 16u);
    EXPECT_NE(registry.FindType(StaticType::Record<Record<31>>()), nullptr);
}

// Value trees on two threads meet only in the page pool.
TEST(BindingValueConcurrency, TreesOnTwoThreads) {
    auto work = [] {
        for (int round = 0; round < 20; ++round) {
            BindingValue root;
            for (int i = 0; i < 2000; ++i) {
                root.Field("f" + std::to_string(i)).SetString("v" + std::to_string(i));
            }
            BindingValue copy(root);
            EXPECT_EQ(copy.Size(), 2000u);
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
}

}  // namespace
}  // namespace Tavix::Client
