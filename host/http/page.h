#pragma once
// The page the HTTP front serves at "/": one HTML document with its script and style inside,
// kept as page/index.html in the sources and built into the program as it is.

#include <string_view>

namespace Tavix::TestHost {

std::string_view PageHtml();

}  // namespace Tavix::TestHost
