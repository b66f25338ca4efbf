#pragma once

namespace Tavix::Platform {

// Linux has no debugger console: a write goes nowhere unless an observer is installed, which
// receives each text as it would have been written.
using DebuggerConsoleObserver = void (*)(const char* text, void* context);

void SetDebuggerConsoleObserver(DebuggerConsoleObserver observer, void* context);

void WriteDebuggerConsole(const char* text);

}  // namespace Tavix::Platform
