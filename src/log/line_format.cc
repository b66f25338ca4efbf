#include "log/line_format.h"

#include <cstdio>
#include <cstring>

#include "log/log_core.h"
#include "platform/clock.h"
#include "platform/thread_id.h"

namespace Tavix::Client {
namespace {

// Stores at most `room - 1` bytes of `text` and a NUL; returns the bytes stored.
std::size_t PutText(char* at, std::size_t room, const char* text) {
    if (text == nullptr || room == 0) {
        return 0;
    }
    std::size_t length = strnlen(text, room - 1);
    std::memcpy(at, text, length);
    at[length] = '\0';
    return length;
}

// The bytes a bounded print stored, which is less than it reports when it cut the text.
std::size_t Stored(int reported, std::size_t room) {
    if (reported < 0 || room == 0) {
        return 0;
    }
    const auto wanted = static_cast<std::size_t>(reported);
    return wanted < room ? wanted : room - 1;
}

std::size_t PutElapsed(char* at, std::size_t room) {
    // The narrowing to a 32-bit float and the millisecond rule are those of the line layout:
    // whole seconds cut from the float, milliseconds from the float times 1000, modulo 1000.
    const float seconds = static_cast<float>(Platform::SecondsSinceFirstReading());
    const int whole = static_cast<int>(seconds);
    const int milliseconds = static_cast<int>(seconds * 1000.0f) % 1000;
    return Stored(std::snprintf(at, room, "%06d.%03d", whole, milliseconds), room);
}

std::size_t PutCode(char code, char* at, std::size_t room, const LogMessage& message) {
    switch (code) {
        case 'D':
            return Stored(FormatTimestamp(at, room, message.time), room);
        case 'E':
            return PutText(at, room, LogCore::GetExecutableName());
        case 'G':
            return GroupNames(at, room, message.groups);
        case 'H':
            return PutElapsed(at, room);
        case 'L':
            return PutText(at, room, LevelName(message.level));
        case 'M':
            return PutText(at, room, message.text);
        case 'T':
            return Stored(
                std::snprintf(at, room, "%p", reinterpret_cast<void*>(Platform::CurrentThreadId())),
                room);
        default: {
            const char literal[2] = {code, '\0'};
            return PutText(at, room, literal);
        }
    }
}

}  // namespace

void FormatLine(char* buffer, std::size_t size, const char* layout, const LogMessage& message) {
    if (buffer == nullptr || size == 0) {
        return;
    }
    if (size < 2) {
        buffer[0] = '\0';
        return;
    }
    buffer[0] = '\n';
    buffer[1] = '\0';
    char* position = buffer;
    std::size_t room = size - 2;
    const char* walk = layout != nullptr ? layout : "";
    while (*walk != '\0' && room >= 2) {
        if (*walk != '#') {
            *position++ = *walk++;
            --room;
            continue;
        }
        ++walk;
        if (*walk == '\0') {
            break;
        }
        const std::size_t written = PutCode(*walk++, position, room, message);
        position += written;
        room -= written;
    }
    if (room == 1) {
        // The layout filled the buffer: give back two bytes so the line feed always fits.
        position = position - buffer >= 2 ? position - 2 : buffer;
    }
    if (position != buffer && position[-1] == '\n') {
        *position = '\0';
    } else {
        position[0] = '\n';
        position[1] = '\0';
    }
}

int FormatTimestamp(char* buffer, std::size_t size, const Platform::LocalTime& time) {
    if (buffer == nullptr || size == 0) {
        return 0;
    }
    return static_cast<int>(Stored(
        std::snprintf(buffer, size, "%04d-%02d-%02dT%02d:%02d:%02d.%03d", time.year, time.month,
                      time.day, time.hour, time.minute, time.second, time.millisecond),
        size));
}

int FormatFileTimestamp(char* buffer, std::size_t size, const Platform::LocalTime& time) {
    if (buffer == nullptr || size == 0) {
        return 0;
    }
    return static_cast<int>(
        Stored(std::snprintf(buffer, size, "%04d-%02d-%02dT%02d-%02d-%02d", time.year, time.month,
                             time.day, time.hour, time.minute, time.second),
               size));
}

}  // namespace Tavix::Client
