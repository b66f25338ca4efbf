#pragma once

#include <cstdint>

namespace Tavix::Client {

// A higher level is more important; a threshold lets through its own level and those above.
enum class LogLevel : std::int32_t {
    Okay = 0,
    Warn = 1,
    Error = 2,
    Always = 3,
};

// The level's text in a line, padded to six characters: "  OKAY", "  WARN", " ERROR", "ALWAYS".
// A number outside the four levels reads "  ????".
const char* LevelName(LogLevel level);

}  // namespace Tavix::Client
