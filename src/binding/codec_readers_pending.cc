// Stand-ins for the MessagePack and YAML readers until they are built: every read fails with a
// text that says so, which the dispatcher passes on like any reader's failure. This file goes
// away, whole, when the readers arrive.

#include <cstdint>
#include <string_view>

#include "binding/msgpack.h"
#include "binding/result.h"
#include "binding/yaml.h"

namespace Tavix::Client {

void ReadMessagePack(BindingResult& result, std::uint32_t& consumed, const void*, std::uint32_t) {
    consumed = 0;
    result.SetError("The MessagePack reader is not built");
}

void ParseYaml(BindingResult& result, std::string_view) {
    result.SetError("The YAML reader is not built");
}

}  // namespace Tavix::Client
