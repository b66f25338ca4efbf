#pragma once
// A value at the host boundary: `BindingValue` trees to `HostValue` records and back.

#include <string_view>

#include "arx/host_boundary.h"
#include "binding/result.h"
#include "binding/value.h"

namespace Tavix::Client {

class BindingRegistry;

// Whether the texts of a HostValue are its own copies or views of the tree it was made from.
enum class HostTexts { Owned, Borrowed };

// Fills `target` from `value` after releasing what it held. Everything it holds afterwards is
// owned and comes from the tracked allocator: strings (tag 6), blobs (tag 8), arrays, and every
// structure key (marked as owned). Fields come in name order. An enum becomes the string of its
// enumerator's name when `registry` knows one, else a signed value of its number. Returns false
// when part of the value lay beyond kBindingMaxDepth and was written as tag 0.
//
// With borrowed texts, strings, blobs, enumerator names and keys point into `value`'s tree (or
// the registry) instead (tags 5 and 7, keys not owned), which spares a copy of each; `value` must
// then outlive `target`. Arrays are owned either way, so ReleaseHostValue frees both forms.
bool ToHostValue(const BindingValue& value, HostValue& target, const BindingRegistry* registry,
                 HostTexts texts = HostTexts::Owned);

// Fills `target` from `source`; a collection or structure that `target` already is keeps its
// content, and fields are found or created by name. Does nothing on a failed `result`. A tag
// above 10, or nesting beyond kBindingMaxDepth, fails `result` with a message that names
// `name`. Returns `result`'s ok.
bool FromHostValue(BindingResult& result, BindingValue& target, const HostValue& source,
                   std::string_view name);

}  // namespace Tavix::Client
