// A host as small as one can be, built from the public header alone: a copy of that header is
// the only one of the module on the include path, and no library of the module is linked in.
// It loads the plug-in by its export and uses every function the header declares, so that one a
// host cannot link breaks this build; a function added to the header gets its use here.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>

#include "arx/host_boundary.h"

namespace {

using namespace Tavix::Client;

TEST(PublicHeaderHost, LoadsThePlugInWithNothingButTheHeader) {
    void* library = dlopen(ARX_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto load = reinterpret_cast<PluginExportFunction>(dlsym(library, kPluginExportName));
    ASSERT_NE(load, nullptr) << kPluginExportName;

    PluginLoadBlock block{};
    block.major = 18;
    load(&block);
    ASSERT_NE(block.operations, nullptr);
    EXPECT_STREQ(block.shortName, "arx-matchmaking");
    EXPECT_NE(block.apiDescription, nullptr);

    MemoryCounters counters{};
    block.operations->GetMemoryCounters(block.module, &counters);
    EXPECT_GT(counters.allocations, 0u);
    EXPECT_EQ(counters.reserved, 0u);

    block.operations->Shutdown(block.module);
    EXPECT_EQ(dlclose(library), 0);
}

TEST(PublicHeaderHost, MethodNamesNeedNoLibrary) {
    EXPECT_STREQ(HostMethodText(kMethodPost), "POST");
    EXPECT_STREQ(HostMethodText(kMethodNamed), "");
    static_assert(std::strlen(HostMethodText(kMethodDelete)) == 6);
}

}  // namespace
