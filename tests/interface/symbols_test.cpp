// SPDX-License-Identifier: MIT
// The library's visible symbols, the list in src/exports.map and the header's declarations are one set.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

using names = std::set<std::string>;

std::string read_text(const std::string &path) {
    std::ifstream stream(path);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

/// What the first group of a pattern matches, everywhere in a text.
names all_matches(const std::string &text, const std::string &pattern) {
    names found;
    const std::regex expression(pattern);
    for (auto match = std::sregex_iterator(text.begin(), text.end(), expression);
         match != std::sregex_iterator(); ++match)
        found.insert((*match)[1]);
    return found;
}

names declared() {
    std::string text = read_text(QEL_UNIT_SOURCE "/include/qel_unit.h");
    return all_matches(text, "\nQEL_API [^(]*\\b(\\w+)\\(");
}

names listed() {
    return all_matches(read_text(QEL_UNIT_SOURCE "/src/exports.map"), "\n +(\\w+);");
}

#if defined(_WIN32)
/// The names in the export table of the loaded library.
names exported() {
    names found;
    const auto *const image = reinterpret_cast<const unsigned char *>(LoadLibraryA(QEL_UNIT_LIBRARY));
    if (image == nullptr) return found;
    const auto *const start = reinterpret_cast<const IMAGE_DOS_HEADER *>(image);
    const auto *const headers = reinterpret_cast<const IMAGE_NT_HEADERS *>(image + start->e_lfanew);
    const IMAGE_DATA_DIRECTORY &place = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    const auto *const table = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY *>(image + place.VirtualAddress);
    const auto *const places = reinterpret_cast<const DWORD *>(image + table->AddressOfNames);
    for (DWORD i = 0; i < table->NumberOfNames; ++i)
        found.insert(reinterpret_cast<const char *>(image + places[i]));
    return table->NumberOfFunctions == table->NumberOfNames ? found : names();
}
#else
/// The dynamic symbols that the library defines, as nm prints them.
names exported() {
    std::string text = "\n";
    FILE *pipe = popen("nm -D --defined-only '" QEL_UNIT_LIBRARY "'", "r");
    char piece[4096];
    for (std::size_t size; (size = std::fread(piece, 1, sizeof piece, pipe)) > 0;)
        text.append(piece, size);
    pclose(pipe);
    return all_matches(text, "\\w (\\S+)\n");
}
#endif

TEST(Symbols, TheHeaderDeclaresOneHundredAndOneFunctions) {
    EXPECT_EQ(declared().size(), 101u);
}

TEST(Symbols, TheListHoldsTheHeadersDeclarations) {
    EXPECT_EQ(listed(), declared());
}

TEST(Symbols, TheLibraryExportsTheListAndNothingElse) {
    EXPECT_EQ(exported(), listed());
}

TEST(Symbols, EveryFunctionResolvesInTheLoadedLibrary) {
#if defined(_WIN32)
    const HMODULE library = LoadLibraryA(QEL_UNIT_LIBRARY);
    ASSERT_NE(library, nullptr);
    for (const std::string &name : declared())
        EXPECT_NE(GetProcAddress(library, name.c_str()), nullptr) << name;
    FreeLibrary(library);
#else
    void *library = dlopen(QEL_UNIT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    for (const std::string &name : declared())
        EXPECT_NE(dlsym(library, name.c_str()), nullptr) << name;
    dlclose(library);
#endif
}

} // namespace
