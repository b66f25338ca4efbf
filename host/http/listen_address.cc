#include "http/listen_address.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <charconv>

namespace Tavix::TestHost {

namespace {

constexpr const char* kLoopback = "127.0.0.1";

ListenAddress Invalid(std::string_view text, const std::string& why) {
    ListenAddress address;
    address.error = "\"" + std::string(text) + "\" is not an address to listen on: " + why;
    return address;
}

}  // namespace

ListenAddress ParseListenAddress(std::string_view text) {
    std::string_view host;
    std::string_view port = text;
    if (text.starts_with('[')) {
        const std::size_t close = text.find(']');
        if (close == std::string_view::npos || close + 1 >= text.size() || text[close + 1] != ':') {
            return Invalid(text, "an IPv6 address goes as [ADDR]:PORT");
        }
        host = text.substr(1, close - 1);
        port = text.substr(close + 2);
    } else if (const std::size_t colon = text.rfind(':'); colon != std::string_view::npos) {
        host = text.substr(0, colon);
        port = text.substr(colon + 1);
        if (host.find(':') != std::string_view::npos) {
            return Invalid(text, "an IPv6 address goes as [ADDR]:PORT");
        }
    }
    ListenAddress address;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), address.port);
    if (port.empty() || error != std::errc() || end != port.data() + port.size() ||
        address.port < 0 || address.port > 65535) {
        return Invalid(text, "the port must be a number from 0 to 65535");
    }
    address.host = host.empty() ? kLoopback : std::string(host);
    return address;
}

bool IsLoopbackAddress(const std::string& host) {
    if (host == "localhost") {
        return true;
    }
    in_addr v4{};
    if (inet_pton(AF_INET, host.c_str(), &v4) == 1) {
        return (ntohl(v4.s_addr) >> 24) == 127;
    }
    in6_addr v6{};
    if (inet_pton(AF_INET6, host.c_str(), &v6) == 1) {
        if (IN6_IS_ADDR_LOOPBACK(&v6)) {
            return true;
        }
        return IN6_IS_ADDR_V4MAPPED(&v6) && v6.s6_addr[12] == 127;
    }
    return false;
}

}  // namespace Tavix::TestHost
