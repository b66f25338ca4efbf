#pragma once
// The one reading of a URL template, shared by the text of its regular expression and by the
// matcher that stands in for that expression, so that the two cannot disagree on a template.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "routing/url_template.h"

namespace Tavix::Client::Internal {

// Calls `sink.Literal(byte)` for each byte of the literal parts and `sink.Capture(kind, name)` at
// each "}", in template order.
template <typename Sink>
void ReadUrlTemplate(std::string_view text, Sink& sink) {
    std::uint32_t state = 0;
    std::string name;
    for (const char c : text) {
        if (c == '{') {
            state = 1;
        } else if (c == '}') {
            sink.Capture(static_cast<RouteCaptureKind>(state), std::move(name));
            name.clear();
            state = 0;
        } else if (state == 0) {
            sink.Literal(c);
        } else if (state == 1 && name.empty() && c == '+') {
            state = 2;
        } else if (state == 1 && name.empty() && c == '#') {
            state = 3;
        } else {
            name.push_back(c);
        }
    }
}

}  // namespace Tavix::Client::Internal
