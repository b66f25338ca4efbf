#include "routing/function_name.h"

#include <cctype>

namespace Tavix::Client {

std::string FunctionNameFromRoute(std::string_view method, std::string_view path) {
    std::string working;
    if (!method.empty()) {
        working.push_back(method.front());
        for (char c : method.substr(1)) {
            working.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
        }
        working.push_back('/');
    }
    working.append(path);

    std::string result;
    result.reserve(working.size());
    bool nextUpper = true;
    for (char c : working) {
        switch (c) {
            case '!':
            case '+':
            case '-':
            case '.':
            case '/':
            case '_':
                nextUpper = true;
                break;
            case '{':
                result += "By";
                nextUpper = true;
                break;
            case '}':
                break;
            default:
                result.push_back(
                    nextUpper ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c);
                nextUpper = false;
                break;
        }
    }
    return result;
}

}  // namespace Tavix::Client
