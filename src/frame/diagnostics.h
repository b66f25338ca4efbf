#pragma once
// The frame's debug messages: conversions that failed, events handled, subscriptions made. The
// product installs no sink, so the texts go nowhere and cost only a test of the sink; a test
// installs one to read them.

#include <cstdarg>

namespace Tavix::Client {

using FrameDiagnosticSink = void (*)(void* context, const char* format, std::va_list arguments);

// The one hook through which every debug message of the frame passes, with a printf format.
void FrameDiagnostic(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Lets callers skip building an argument (a JSON rendering, say) when nobody listens.
bool IsFrameDiagnosticSinkInstalled();

// Replaces the sink, or removes it with a null sink. Not synchronised: install it before the
// module runs.
void SetFrameDiagnosticSink(FrameDiagnosticSink sink, void* context);

}  // namespace Tavix::Client
