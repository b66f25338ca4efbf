#include "support/fnv1a.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Tavix::Client {
namespace {

// Published values of the 32-bit FNV-1a function. The texts run from none to two bytes past a
// four-byte step, so that both the stepped and the byte loop of the text form are crossed.
struct KnownHash {
    std::string_view text;
    std::uint32_t hash;
};
constexpr KnownHash kKnownHashes[] = {
    {"", 0x811C9DC5u},      {"a", 0xE40C292Cu},      {"foob", 0x3F5076EFu},
    {"fooba", 0x39AAA18Au}, {"foobar", 0xBF9CF968u},
};

TEST(Fnv1aTest, KnownValuesOfTheFunction) {
    for (const KnownHash& known : kKnownHashes) {
        EXPECT_EQ(Fnv1a(known.text), known.hash) << known.text;
        EXPECT_EQ(Fnv1a(known.text.data(), known.text.size()), known.hash) << known.text;
        EXPECT_EQ(Fnv1aHash{}(std::string(known.text)), known.hash) << known.text;
    }
    static_assert(Fnv1a("foobar") == 0xBF9CF968u);
}

}  // namespace
}  // namespace Tavix::Client
