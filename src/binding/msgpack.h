#pragma once
// MessagePack bytes to a value tree.

#include <cstdint>

#include "binding/result.h"

namespace Tavix::Client {

// Reads one MessagePack value from the `length` bytes at `data` into `result`, and stores in
// `consumed` the position at which reading stopped, so that a caller can tell trailing bytes.
void ReadMessagePack(BindingResult& result, std::uint32_t& consumed, const void* data,
                     std::uint32_t length);

}  // namespace Tavix::Client
