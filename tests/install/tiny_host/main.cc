// Loads the installed plug-in by its export, reads its name and its functions, and shuts it down.

#include <dlfcn.h>

#include <cstdio>

#include "arx/host_boundary.h"

int main() {
    using namespace Tavix::Client;
    void* library = dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        std::fprintf(stderr, "tiny host: %s\n", dlerror());
        return 1;
    }
    const auto load = reinterpret_cast<PluginExportFunction>(dlsym(library, kPluginExportName));
    if (load == nullptr) {
        std::fprintf(stderr, "tiny host: no %s\n", kPluginExportName);
        return 1;
    }
    PluginLoadBlock block{};
    block.major = 18;
    load(&block);
    if (block.operations == nullptr || block.shortName == nullptr ||
        block.apiDescription == nullptr) {
        std::fprintf(stderr, "tiny host: the plug-in did not fill its block\n");
        return 1;
    }
    std::printf("tiny host: loaded %s from %s\n", block.shortName, PLUGIN_PATH);
    block.operations->Shutdown(block.module);
    return dlclose(library) == 0 ? 0 : 1;
}
