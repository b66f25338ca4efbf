#pragma once
// A replaceable sink for debug texts that the product discards. Each subsystem that has such
// texts keeps one hook: with no sink installed a report costs one test, and a test installs a
// sink to read them.

#include <cstdarg>

namespace Tavix::Client {

class DiagnosticHook {
public:
    using Sink = void (*)(void* context, const char* format, std::va_list arguments);

    // Hands the text to the sink, if there is one.
    void Report(const char* format, std::va_list arguments) const {
        if (sink_ != nullptr) {
            sink_(context_, format, arguments);
        }
    }

    // Lets callers skip building an argument (an event's text, say) when nobody listens.
    bool IsInstalled() const { return sink_ != nullptr; }

    // Replaces the sink, or removes it with a null sink. Not synchronised: install it before the
    // code that reports runs.
    void Install(Sink sink, void* context) {
        sink_ = sink;
        context_ = sink != nullptr ? context : nullptr;
    }

private:
    Sink sink_ = nullptr;
    void* context_ = nullptr;
};

}  // namespace Tavix::Client
