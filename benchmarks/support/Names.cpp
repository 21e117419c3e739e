#include "benchmarks/support/Names.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <cstdio>
#include <cstring>

#include "benchmarks/support/Session.h"

namespace bench {
namespace {

// The names of the symbols follow the dynamic symbol table, so their address gives the number of
// symbols.
void addNames(const link_map& library, std::vector<std::string>& names) {
    const ElfW(Sym)* symbols = nullptr;
    const char* texts = nullptr;
    for (const ElfW(Dyn)* entry = library.l_ld; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_SYMTAB)
            symbols = reinterpret_cast<const ElfW(Sym)*>(entry->d_un.d_ptr);
        if (entry->d_tag == DT_STRTAB) texts = reinterpret_cast<const char*>(entry->d_un.d_ptr);
    }
    const char* const end = texts;
    for (; reinterpret_cast<const char*>(symbols) < end; ++symbols) {
        const bool isFunction = (symbols->st_info & 0xf) == STT_FUNC && symbols->st_shndx != 0;
        const char* const name = texts + symbols->st_name;
        if (isFunction && std::strncmp(name, "_Z", 2) == 0) names.emplace_back(name);
    }
}

}  // namespace

const std::vector<std::string>& realNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        void* const library = dlopen("libstdc++.so.6", RTLD_NOW | RTLD_NOLOAD);
        require(library != nullptr, "the C++ library");
        const link_map* map = nullptr;
        require(dlinfo(library, RTLD_DI_LINKMAP, &map) == 0, "its symbols");
        addNames(*map, all);
        require(all.size() > 1000, "more than a thousand names");
        return all;
    }();
    return names;
}

std::string rawTrace(std::size_t lines) {
    const std::vector<std::string>& names = realNames();
    std::string trace = "#\n# An unexpected error has occurred (11)\n#\nStack:\n";
    for (std::size_t i = 0; i < lines; ++i) {
        char offset[64];
        std::snprintf(offset, sizeof offset, "+0x%zx)[0x7f3a2c%06zx]\n", i % 977, i % 0xffffff);
        trace += "/opt/designer/lib/lnx64.o/libzeb_mesh.so(" + names[i % names.size()] + offset;
    }
    return trace;
}

}  // namespace bench
