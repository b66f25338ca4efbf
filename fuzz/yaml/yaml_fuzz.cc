// Reads arbitrary bytes as YAML. A failure carries a message; a document that reads is a tree that
// can be copied, walked and written out, and its aliases never expand it without bound.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "binding/json.h"
#include "binding/yaml.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    Tavix::Client::BindingResult result;
    Tavix::Client::ParseYaml(result, text);
    if (!result.Ok()) {
        if (result.ErrorText().empty()) {
            std::fprintf(stderr, "a failure without a message\n");
            std::abort();
        }
        return 0;
    }
    const Tavix::Client::BindingResult copy(result);
    const std::string written = Tavix::Client::WriteJson(copy, nullptr, nullptr);
    if (written.empty() != result.IsEmpty()) {
        std::fprintf(stderr, "only an empty value writes as the empty text\n");
        std::abort();
    }
    return 0;
}
