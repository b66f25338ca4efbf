#include "platform/thread_id.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace Tavix::Platform {

std::uintptr_t CurrentThreadId() {
    // A system call per log line would be the dearest part of a line; the id never changes.
    thread_local const std::uintptr_t id = static_cast<std::uintptr_t>(syscall(SYS_gettid));
    return id;
}

}  // namespace Tavix::Platform
