#pragma once
// Filling the HostResponse of a call that the module answers, and the release function that the
// host calls when it is done with it.

#include <cstdint>

#include "arx/host_boundary.h"
#include "routing/call_result.h"

namespace Tavix::Client {

class BindingRegistry;

namespace Internal {

// Releases what `response` held (through its own release function, when it has one), zeroes it
// and gives it the module's release function.
void StartAnswer(HostResponse& response);

// A failure that never reached a handler: the text (owned by the response) and the status.
void AnswerFailure(HostResponse& response, const char* text, std::uint32_t status);

// Everything the call produced: the error text or the value (enums named by `registry`), then
// flag, mode, status, status text, headers and stream. Takes the stream out of `result`.
void AnswerCall(HostResponse& response, CallResult& result, const BindingRegistry* registry);

// The release function of the module's answers: frees everything the record owns, exactly once,
// and zeroes it.
void ReleaseAnswer(HostResponse* response);

}  // namespace Internal
}  // namespace Tavix::Client
