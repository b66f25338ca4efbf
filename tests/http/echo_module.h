#pragma once
// A module with one function, "/echo/{+rest}" for any method, written from the boundary header
// alone: it answers with what the host handed its call entry, so a test sees exactly what the
// HTTP front forwarded. Paths under /echo/ choose the answer:
//   /echo/fail?status=N   a failure with the text "refused" and status N (0 when not given)
//   /echo/none            success without a value
//   /echo/stream          a streamed body "streamed text" with a content type of its own
//   anything else         {"method", "url", "headers": [[name, value], ...], "contentType",
//                          "body"}, with a header "x-echo: yes" and status 0
// Every answer carries a release function; the module counts its calls.

#include <cstddef>

#include "arx/host_boundary.h"

namespace Tavix::TestHost::Http {

void LoadEchoModule(Client::PluginLoadBlock* block);

// Release calls since the process started.
std::size_t EchoReleases();
// Answers handed out since the process started.
std::size_t EchoAnswers();

}  // namespace Tavix::TestHost::Http
