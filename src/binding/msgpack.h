#pragma once
// MessagePack bytes to a value tree. There is no writer: nothing in the module sends MessagePack.

#include <cstdint>

#include "binding/result.h"

namespace Tavix::Client {

// Reads the first MessagePack object of `data` into `result`, and stores in `consumed` the offset
// at which reading stopped: right behind that object, at the failure, or at `length` when the
// input ends first. Input that ends inside an array or map is no error; the elements and fields
// that never came are absent. Map keys must be strings; ext formats and the unused byte 0xC1 are
// refused. Nesting has no limit here, since the reader keeps its own stack of open containers.
void ReadMessagePack(BindingResult& result, std::uint32_t& consumed, const void* data,
                     std::uint32_t length);

}  // namespace Tavix::Client
