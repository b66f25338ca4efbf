#pragma once

#include <cstddef>

namespace Tavix::Platform {

inline constexpr std::size_t kExecutablePathSize = 1024;

// Writes the full path of the running executable into `buffer`, NUL-terminated and cut to
// `size - 1` bytes. Returns the number of bytes stored before the NUL; 0 when the path cannot be
// read (then `buffer` holds the empty text).
std::size_t ReadExecutablePath(char* buffer, std::size_t size);

// The part of `path` behind its last separator, `/` or `\`; the whole path if it has none.
const char* FileNamePart(const char* path);

}  // namespace Tavix::Platform
