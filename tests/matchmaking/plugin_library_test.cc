// The built plug-in library as a host sees it: one exported symbol, and a whole life of load,
// attach and shutdown through dlopen.

#include <elf.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "core/host.h"
#include "core/module.h"

namespace {

// The names of the defined symbols that the library's dynamic symbol table offers to others.
std::vector<std::string> ExportedSymbols(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> image((std::istreambuf_iterator<char>(file)),
                                  std::istreambuf_iterator<char>());
    std::vector<std::string> names;
    if (image.size() < sizeof(Elf64_Ehdr)) {
        ADD_FAILURE() << "not an ELF file: " << path;
        return names;
    }
    Elf64_Ehdr header;
    std::memcpy(&header, image.data(), sizeof header);
    auto section = [&](std::size_t index) {
        Elf64_Shdr s;
        std::memcpy(&s, image.data() + header.e_shoff + index * header.e_shentsize, sizeof s);
        return s;
    };
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
        const Elf64_Shdr symbols = section(i);
        if (symbols.sh_type != SHT_DYNSYM) {
            continue;
        }
        const Elf64_Shdr strings = section(symbols.sh_link);
        for (std::size_t at = 0; at + sizeof(Elf64_Sym) <= symbols.sh_size;
             at += sizeof(Elf64_Sym)) {
            Elf64_Sym symbol;
            std::memcpy(&symbol, image.data() + symbols.sh_offset + at, sizeof symbol);
            const unsigned binding = ELF64_ST_BIND(symbol.st_info);
            if (symbol.st_shndx == SHN_UNDEF || binding == STB_LOCAL) {
                continue;
            }
            names.emplace_back(image.data() + strings.sh_offset + symbol.st_name);
        }
    }
    return names;
}

TEST(PluginLibraryTest, ExportsOnlyTheLoadFunction) {
    EXPECT_EQ(ExportedSymbols(ARX_PLUGIN_PATH), std::vector<std::string>{"load_arx_matchmaking"});
}

TEST(PluginLibraryTest, LoadsAttachesAndShutsDownThroughDlopen) {
    Tavix::TestHost::Host host;
    Tavix::TestHost::LoadResult loaded = Tavix::TestHost::OpenModule(host, ARX_PLUGIN_PATH);
    ASSERT_TRUE(loaded.module) << loaded.error;
    EXPECT_EQ(loaded.module->ShortName(), "arx-matchmaking");
    ASSERT_TRUE(loaded.module->Attach());

    auto texts = [&host] {
        std::vector<std::string> result;
        for (const auto& line : host.Calls().LogLines()) {
            result.push_back(line.text);
        }
        return result;
    };
    EXPECT_EQ(texts(), (std::vector<std::string>{"Matchmaking: entering state 'Matchmaking'",
                                                 "Matchmaking: entering state 'Available'"}));
    EXPECT_EQ(host.Calls().LogLines().front().level, 3);

    const Tavix::Client::MemoryCounters counters = loaded.module->ReadMemoryCounters();
    EXPECT_GT(counters.allocations, 0u);
    EXPECT_GE(counters.allocations, counters.frees);

    host.Calls().Clear();
    EXPECT_TRUE(loaded.module->Shutdown().empty());
    EXPECT_EQ(texts(), (std::vector<std::string>{"Matchmaking: exiting state 'Available'",
                                                 "Matchmaking: exiting state 'Matchmaking'"}));
}

}  // namespace
