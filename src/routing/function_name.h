#pragma once
// Identifiers derived from routes: "GET" and "/arx-matchmaking/v1/search/errors/{id}" give
// "GetArxMatchmakingV1SearchErrorsById"; an empty method and "arx-matchmaking" give the plug-in's
// API namespace "ArxMatchmaking".

#include <string>
#include <string_view>

namespace Tavix::Client {

std::string FunctionNameFromRoute(std::string_view method, std::string_view path);

}  // namespace Tavix::Client
