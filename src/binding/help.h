#pragma once
// The registry describing itself, in two forms:
//
//   Full     the registered "BindingFull..." records (binding/builtin_types.h), converted to values
//            like any other record, so that they leave through the host boundary as they are
//   Epytext  one text per item in the Epytext documentation markup, lines ending in "\r\n"
//
// Either way the target gets the fields "functions", "types" and "events", each item of a list
// in ascending byte order of its name. In Full form a list is a collection of the item records; in
// Epytext form a structure from item name to text. A list without items leaves its field empty.
//
// Descriptors are read without the registry's lock; the registry must not change meanwhile.

#include <string>
#include <string_view>
#include <vector>

#include "binding/builtin_types.h"
#include "binding/descriptors.h"
#include "binding/value.h"

namespace Tavix::Client {

class BindingRegistry;

// How a reference reads in Full form: the kind's text, or the name of its enum or record ("enum"
// or "struct" without a descriptor); for a vector or map, "vector" or "map" with the element's
// type as `elementType`.
BindingFullTypeIdentifier TypeIdentifier(const BindingTypeRef& reference);

// How a reference reads in Epytext: the kind's text, "bytearray", "callback", "L{Name}" for an
// enum or record, "list[...]" and "dict[...]" around the element's text; empty for no kind.
std::string TypeText(const BindingTypeRef& reference);

// "E{lb}" and "E{rb}" for the braces, and "E{-}" for a "-" that opens the text, which Epytext
// would otherwise read as a list item.
std::string EscapeEpytext(std::string_view text);

// Describes the given items into `target`, which becomes a structure. In Full form the records
// are converted under the Full descriptors that `registry` knows; a list whose record has been
// removed from the registry gets no items, and an item whose conversion fails stays empty.
void BuildHelp(const BindingRegistry& registry, BindingValue& target,
               std::vector<const BindingFunctionDescriptor*> functions,
               std::vector<const BindingTypeDescriptor*> types,
               std::vector<const BindingEventDescriptor*> events, BindingHelpFormat format);

// Everything that `registry` holds, its tables copied under its lock.
void BuildHelp(const BindingRegistry& registry, BindingValue& target, BindingHelpFormat format);

}  // namespace Tavix::Client
