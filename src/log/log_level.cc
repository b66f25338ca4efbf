#include "log/log_level.h"

namespace Tavix::Client {

const char* LevelName(LogLevel level) {
    switch (level) {
        case LogLevel::Okay:
            return "  OKAY";
        case LogLevel::Warn:
            return "  WARN";
        case LogLevel::Error:
            return " ERROR";
        case LogLevel::Always:
            return "ALWAYS";
    }
    return "  ????";
}

}  // namespace Tavix::Client
