#pragma once

#include <string>
#include <string_view>

#include "support/format.h"

namespace Tavix::Client {

// Codes of the fatal report, one per site: "ALE-" and eight upper-case hexadecimal digits.
// A future raised a future error while a handler awaited it.
inline constexpr char kFatalFutureErrorInAwait[] = "ALE-6D828C10";
// The plug-in's API version is not compatible with the core's.
inline constexpr char kFatalIncompatiblePluginApi[] = "ALE-EECF0606";
// A MaybeType was asked for the alternative that it does not hold.
inline constexpr char kFatalMaybeTypeWrongAlternative[] = "ALE-4A7E21C3";
// Neither the system nor the heap gave the slab pool a region.
inline constexpr char kFatalSlabPoolOutOfMemory[] = "ALE-9B0D5F18";
// A slab allocation asked for more than the largest size class.
inline constexpr char kFatalSlabSizeOutOfRange[] = "ALE-2C61E8A4";
// A string entry lies at an address above 48 bits, which no platform we build for hands out.
inline constexpr char kFatalAddressBeyond48Bits[] = "ALE-5E3A9D27";
// A route's handler does not fit its function: it is empty, or the function was declared before
// with another number of arguments.
inline constexpr char kFatalRouteHandlerMismatch[] = "ALE-3B7E0D91";

// A host operation was asked for before the host attached the module (a call of a function
// record, say, between load and attach).
inline constexpr char kFatalHostCallBeforeAttach[] = "ALE-7C2F4A61";

// The messages logged before their codes, for `FatalReportWithMessage`.
inline constexpr char kFutureErrorInAwaitMessage[] =
    "Caught std::future_error in AppModule::Await: (%1) %2";
inline constexpr char kIncompatiblePluginApiMessage[] =
    "%1 which supports plugin API %2 is not compatible with core's plugin API %3";
inline constexpr char kEmptyRouteHandlerMessage[] = "Route %1 was declared with an empty handler";
inline constexpr char kRouteArgumentCountMessage[] =
    "Route %1 has a handler of %2 arguments, but its function '%3' was declared with %4";

// Ends the process after a programming or deployment fault: the assertion report carries `code`
// as its expression (file, function and description empty, line 0), goes to the log, and then
// the process aborts.
[[noreturn]] void FatalReport(const char* code);

// Logs `text` as an error, alone on its line.
void LogFatalMessage(const std::string& text);

// Logs the site's own message, rendered by `Format`, and then reports `code`.
template <typename... Arguments>
[[noreturn]] void FatalReportWithMessage(const char* code, std::string_view pattern,
                                         const Arguments&... arguments) {
    LogFatalMessage(Format(pattern, arguments...));
    FatalReport(code);
}

}  // namespace Tavix::Client
