#include "platform/local_time.h"

#include <ctime>

namespace Tavix::Platform {

LocalTime CurrentLocalTime() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    // The calendar fields change once a second at most, and their conversion is the dear part of
    // a reading: each thread keeps the last second it converted.
    thread_local time_t cachedSecond = -1;
    thread_local tm cachedFields{};
    if (now.tv_sec != cachedSecond) {
        tm fields{};
        if (localtime_r(&now.tv_sec, &fields) == nullptr) {
            return LocalTime{1970, 1, 1, 0, 0, 0, 0};
        }
        cachedFields = fields;
        cachedSecond = now.tv_sec;
    }
    return LocalTime{cachedFields.tm_year + 1900,
                     cachedFields.tm_mon + 1,
                     cachedFields.tm_mday,
                     cachedFields.tm_hour,
                     cachedFields.tm_min,
                     cachedFields.tm_sec,
                     static_cast<std::int32_t>(now.tv_nsec / 1'000'000)};
}

}  // namespace Tavix::Platform
