#pragma once

#include <cstdint>

namespace Tavix::Platform {

// Wall-clock time in the process's time zone, as seven numbers. `month` and `day` count from 1.
struct LocalTime {
    std::int32_t year;
    std::int32_t month;
    std::int32_t day;
    std::int32_t hour;
    std::int32_t minute;
    std::int32_t second;
    std::int32_t millisecond;
};

LocalTime CurrentLocalTime();

}  // namespace Tavix::Platform
