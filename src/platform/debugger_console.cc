#include "platform/debugger_console.h"

#include <atomic>

namespace Tavix::Platform {
namespace {

// Installed by tests on one thread before they log; writers only read it.
std::atomic<DebuggerConsoleObserver> observerFunction{nullptr};
std::atomic<void*> observerContext{nullptr};

}  // namespace

void SetDebuggerConsoleObserver(DebuggerConsoleObserver observer, void* context) {
    observerContext.store(context, std::memory_order_relaxed);
    observerFunction.store(observer, std::memory_order_release);
}

void WriteDebuggerConsole(const char* text) {
    const DebuggerConsoleObserver observer = observerFunction.load(std::memory_order_acquire);
    if (observer != nullptr && text != nullptr) {
        observer(text, observerContext.load(std::memory_order_relaxed));
    }
}

}  // namespace Tavix::Platform
