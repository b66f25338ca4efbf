#pragma once
// An argument's value from text that came in a URL or a header. Such text has no content type, so
// the text decides: with sniffing, a MessagePack head byte, a JSON container, or a YAML document
// marker makes it a document read by that reader; anything else stays a string, converted to the
// handler's native type later.

#include <string_view>

#include "binding/result.h"
#include "binding/value.h"

namespace Tavix::Client {

// Sets `target` from `text`. With sniffing on, text is MessagePack when its first byte is a
// fixmap, a fixarray, or an array or map head of 16 or 32 bits (128 to 159, 220 to 223); JSON
// when its first byte after any blanks (spaces only) is "{" or "["; YAML when it begins with
// "---" after any blanks. A `contentType` given in front takes precedence over sniffing:
// "application/x-msgpack" (and "-ext"), "application/json", "text/x-yaml", and
// "application/octet-stream", which stores the bytes as a blob. A reader's refusal fails
// `result` with a message naming `argument` and `function`; a failed `result` is left alone.
void AssignText(BindingResult& result, BindingValue& target, std::string_view text, bool sniffing,
                std::string_view argument, std::string_view function,
                std::string_view contentType = {});

// Whether `contentType` begins with `word`, in any case.
bool ContentTypeIs(std::string_view contentType, std::string_view word);

}  // namespace Tavix::Client
