// Reads arbitrary bytes as a scenario file, as YAML or as JSON by the first byte. A file either
// reads into steps, each with its line, or gives one line of error that names the file.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "scenario/scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string file = (data[0] & 1) != 0 ? "fuzz.json" : "fuzz.yaml";
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    const Tavix::TestHost::ScenarioRead read = Tavix::TestHost::ReadScenario(text, file);
    if (!read.scenario) {
        if (read.error.rfind(file + ":", 0) != 0 || read.error.find('\n') != std::string::npos) {
            std::fprintf(stderr, "an error that is not one line naming the file: %s\n",
                         read.error.c_str());
            std::abort();
        }
        return 0;
    }
    int number = 0;
    for (const Tavix::TestHost::Step& step : read.scenario->steps) {
        if (step.number != ++number || step.line < 1 || step.name.empty()) {
            std::fprintf(stderr, "step %d is numbered %d, on line %d\n", number, step.number,
                         step.line);
            std::abort();
        }
    }
    return 0;
}
