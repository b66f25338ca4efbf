#pragma once
// What the host itself can be asked to do over HTTP beside the module's functions: the simulated
// platform's actions, each a button on the page and a path of the API document.

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "http/api_forwarding.h"

namespace Tavix::TestHost {

// One of the host's own actions, served at its method and path.
struct HostAction {
    using Parameters = std::map<std::string, std::string>;

    std::string method = "POST";
    std::string path;
    // What the page's button says.
    std::string title;
    // The query parameters it reads, each with its default, for the page's inputs.
    std::vector<std::pair<std::string, std::string>> parameters;
    // Runs on the host's thread with the request's query parameters.
    std::function<HttpReplyText(const Parameters& parameters)> run;
};

}  // namespace Tavix::TestHost
