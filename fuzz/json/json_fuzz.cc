// Reads arbitrary bytes as JSON. Whatever parses must come back as the same tree after being
// written compact or indented and read again.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "binding/binding_string.h"
#include "binding/json.h"

namespace {

using Tavix::Client::BindingResult;
using Tavix::Client::BindingString;
using Tavix::Client::BindingValue;
using Tavix::Client::BindingValueKind;

// The reader's normal-precision path may land a few units in the last place away from the
// shortest text the writer produced.
bool CloseEnough(double a, double b) {
    if (a == b) {
        return true;
    }
    const double scale = std::fmax(std::fabs(a), std::fabs(b));
    return std::fabs(a - b) <= scale * 1e-15 || scale < 1e-300;
}

bool SameTree(const BindingValue& a, const BindingValue& b) {
    // Every non-negative integer is read as unsigned, so a signed 0 (from "-0") comes back so.
    if (a.Kind() == BindingValueKind::Signed && b.Kind() == BindingValueKind::Unsigned) {
        return a.GetSigned() >= 0 && static_cast<std::uint64_t>(a.GetSigned()) == b.GetUnsigned();
    }
    if (a.Kind() != b.Kind()) {
        return false;
    }
    switch (a.Kind()) {
        case BindingValueKind::Empty:
            return true;
        case BindingValueKind::Bool:
            return a.GetBool() == b.GetBool();
        case BindingValueKind::Signed:
            return a.GetSigned() == b.GetSigned();
        case BindingValueKind::Unsigned:
            return a.GetUnsigned() == b.GetUnsigned();
        case BindingValueKind::Float:
            return CloseEnough(a.GetFloat(), b.GetFloat());
        case BindingValueKind::String:
            return a.GetString() == b.GetString();
        case BindingValueKind::Collection: {
            if (a.Size() != b.Size()) {
                return false;
            }
            for (std::size_t i = 0; i < a.Size(); ++i) {
                if (!SameTree(a.GetAt(i), b.GetAt(i))) {
                    return false;
                }
            }
            return true;
        }
        case BindingValueKind::Structure: {
            if (a.Size() != b.Size()) {
                return false;
            }
            bool same = true;
            a.ForEachField([&](const BindingString& name, const BindingValue& field) {
                same = same && b.HasField(name.View()) && SameTree(field, b.GetField(name.View()));
            });
            return same;
        }
        default:
            // A parse never yields blobs or enums.
            return false;
    }
}

void CheckRoundTrip(const BindingResult& first, const char* lineBreak) {
    const std::string written = Tavix::Client::WriteJson(first, nullptr, lineBreak);
    BindingResult second;
    Tavix::Client::ParseJson(second, written.c_str());
    if (!second.Ok() || !SameTree(first, second)) {
        std::fprintf(stderr, "round trip changed the tree\nwritten: %s\nerror: %s\n",
                     written.c_str(), std::string(second.ErrorText()).c_str());
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The reader stops at the first NUL, as it does for every caller.
    const std::string text(reinterpret_cast<const char*>(data), size);
    BindingResult first;
    Tavix::Client::ParseJson(first, text.c_str());
    if (!first.Ok()) {
        if (first.ErrorText().rfind("Error: ", 0) != 0) {
            std::abort();
        }
        return 0;
    }
    CheckRoundTrip(first, nullptr);
    CheckRoundTrip(first, "\r\n");
    return 0;
}
