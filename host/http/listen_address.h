#pragma once
// Where the HTTP front listens: "ADDR:PORT" as given on arx-host's command line, and whether the
// address stays on this machine.

#include <string>
#include <string_view>

namespace Tavix::TestHost {

struct ListenAddress {
    std::string host;
    int port = 0;
    // Set when the text was not an address; nothing else is then.
    std::string error;
};

// "127.0.0.1:8080", "localhost:8080", "[::1]:8080", or ":8080" and "8080" for the loopback
// address. The port is 0 to 65535, 0 meaning any free port.
ListenAddress ParseListenAddress(std::string_view text);

// "localhost", any address of 127.0.0.0/8, "::1", and "::ffff:" followed by an address of
// 127.0.0.0/8. Names other than "localhost" are not looked up, and do not count.
bool IsLoopbackAddress(const std::string& host);

}  // namespace Tavix::TestHost
