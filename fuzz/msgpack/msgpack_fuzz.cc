// Reads arbitrary bytes as MessagePack. A read stops inside the input with one of the reader's own
// messages; a successful one reads the same from the bytes it consumed alone, and its tree, which
// may nest far deeper than any walk of the value model follows, holds only the kinds the format
// gives and is released without recursion.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "binding/binding_string.h"
#include "binding/msgpack.h"

namespace {

using Tavix::Client::BindingResult;
using Tavix::Client::BindingString;
using Tavix::Client::BindingValue;
using Tavix::Client::BindingValueKind;

void Fail(const char* what, const BindingResult& result) {
    std::fprintf(stderr, "%s\nerror: %s\n", what, std::string(result.ErrorText()).c_str());
    std::abort();
}

// Walks the tree with a stack of its own; an enum never comes out of the format.
bool OnlyFormatKinds(const BindingValue& root) {
    std::vector<const BindingValue*> pending{&root};
    while (!pending.empty()) {
        const BindingValue& value = *pending.back();
        pending.pop_back();
        if (value.Kind() == BindingValueKind::Enum) {
            return false;
        }
        for (const BindingValue& element : value.Elements()) {
            pending.push_back(&element);
        }
        value.ForEachField(
            [&](const BindingString&, const BindingValue& field) { pending.push_back(&field); });
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto length = static_cast<std::uint32_t>(size);
    BindingResult first;
    std::uint32_t consumed = 0;
    Tavix::Client::ReadMessagePack(first, consumed, data, length);
    if (consumed > length) {
        Fail("consumed more than the input", first);
    }
    if (!first.Ok()) {
        if (!first.ErrorText().starts_with("Invalid MessagePack data")) {
            Fail("a failure without the reader's message", first);
        }
        return 0;
    }
    BindingResult again;
    std::uint32_t consumedAgain = 0;
    Tavix::Client::ReadMessagePack(again, consumedAgain, data, consumed);
    if (!again.Ok() || consumedAgain != consumed) {
        Fail("the consumed bytes alone read differently", again);
    }
    if (!OnlyFormatKinds(first)) {
        Fail("a kind that the format does not give", first);
    }
    return 0;
}
