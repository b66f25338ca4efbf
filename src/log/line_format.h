#pragma once

#include <cstddef>

#include "log/log_message.h"
#include "platform/local_time.h"

namespace Tavix::Client {

inline constexpr const char* kDefaultLogLayout = "#D| #L| #G| #M";
inline constexpr const char* kConsoleLogLayout = "#E(#T): #L| #M";
inline constexpr const char* kMessageOnlyLogLayout = "#M";

// The size of the stack buffer in which every target renders its line.
inline constexpr std::size_t kLogLineSize = 4096;

// Renders `message` by `layout` into `buffer` as exactly one line ending in a line feed. Codes:
// #D local time, #E executable name, #G group names, #H seconds since the first clock reading,
// #L level text, #M message text, #T thread id; '#' followed by any other character prints that
// character, and a '#' that ends the layout prints nothing. Line ends inside the message are
// kept, and a message that already ends the line gets no second line feed. With a buffer of
// kLogLineSize a text of up to 4092 bytes stays whole; a longer one is cut to 4091.
void FormatLine(char* buffer, std::size_t size, const char* layout, const LogMessage& message);

// "YYYY-MM-DDThh:mm:ss.mmm". Returns the characters stored before the NUL.
int FormatTimestamp(char* buffer, std::size_t size, const Platform::LocalTime& time);

// "YYYY-MM-DDThh-mm-ss": no colons and no milliseconds, so that it can stand in a file name.
int FormatFileTimestamp(char* buffer, std::size_t size, const Platform::LocalTime& time);

}  // namespace Tavix::Client
