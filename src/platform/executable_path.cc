#include "platform/executable_path.h"

#include <unistd.h>

namespace Tavix::Platform {

std::size_t ReadExecutablePath(char* buffer, std::size_t size) {
    if (buffer == nullptr || size == 0) {
        return 0;
    }
    const ssize_t length = readlink("/proc/self/exe", buffer, size - 1);
    if (length <= 0) {
        buffer[0] = '\0';
        return 0;
    }
    // readlink neither terminates nor reports a cut; a full buffer simply ends one byte early.
    buffer[length] = '\0';
    return static_cast<std::size_t>(length);
}

const char* FileNamePart(const char* path) {
    if (path == nullptr) {
        return nullptr;
    }
    const char* name = path;
    for (const char* at = path; *at != '\0'; ++at) {
        if (*at == '/' || *at == '\\') {
            name = at + 1;
        }
    }
    return name;
}

}  // namespace Tavix::Platform
