#pragma once

#include <cstdint>

namespace Tavix::Platform {

// The kernel's id of the calling thread, widened to a pointer-sized number.
std::uintptr_t CurrentThreadId();

}  // namespace Tavix::Platform
