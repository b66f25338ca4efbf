#pragma once
// JSON text to a value tree and back. Reading drives the value tree straight from the parser's
// events; writing walks the tree with a visitor around the JSON writer.

#include <cstddef>
#include <string>

#include "binding/result.h"
#include "binding/value.h"

namespace Tavix::Client {

class BindingRegistry;

// Reads the NUL-terminated UTF-8 `text` into `result`. Empty or blank text is an empty value and
// no error. A failure reads "Error: <reason> at offset <byte offset>."; a document that nests
// containers deeper than kBindingMaxDepth levels fails the same way instead of recursing on.
void ParseJson(BindingResult& result, const char* text);

// Writes `value` as JSON text; an empty root is the empty text. Compact when `lineBreak` is null
// or empty, otherwise indented by four spaces with `lineBreak` ending each line. Enums are
// written by name when `registry` knows the number, else as numbers; blobs as Base64 strings.
// A NaN or infinite float, which JSON cannot hold, is written as null.
std::string WriteJson(const BindingValue& value, const BindingRegistry* registry,
                      const char* lineBreak);

}  // namespace Tavix::Client
