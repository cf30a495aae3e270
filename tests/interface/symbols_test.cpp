// SPDX-License-Identifier: MIT
// A library's visible symbols, the list of its exports and its header's declarations are one set.
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
    for (auto match = std::sregex_iterator(text.begin(), text.end(), expression); match != std::sregex_iterator();
         ++match)
        found.insert((*match)[1]);
    return found;
}

/// A library of the project.
struct library {
    const char *name;
    const char *file;
    const char *exports;
    std::size_t functions;
};

void PrintTo(const library &tested, std::ostream *stream) {
    *stream << tested.name;
}

const library libraries[] = {
    {"qel_unit", QEL_UNIT_LIBRARY, "/src/exports.map", 101},
    {"qel_archive", QEL_ARCHIVE_LIBRARY, "/src/qel_archive/exports.map", 16},
};

names declared(const library &tested) {
    return all_matches("\n" + read_text(QEL_UNIT_INTERFACE), "\n" + std::string(tested.name) + "\\.h (\\w+)");
}

names listed(const library &tested) {
    return all_matches(read_text(std::string(QEL_UNIT_SOURCE) + tested.exports), "\n +(\\w+);");
}

#if defined(_WIN32)
/// The names in the export table of the loaded library.
names exported(const library &tested) {
    names found;
    const auto *const image = reinterpret_cast<const unsigned char *>(LoadLibraryA(tested.file));
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
names exported(const library &tested) {
    std::string text = "\n";
    const std::string command = std::string("nm -D --defined-only '") + tested.file + "'";
    FILE *pipe = popen(command.c_str(), "r");
    char piece[4096];
    for (std::size_t size; (size = std::fread(piece, 1, sizeof piece, pipe)) > 0;)
        text.append(piece, size);
    pclose(pipe);
    return all_matches(text, "\\w (\\S+)\n");
}
#endif

class Symbols : public testing::TestWithParam<library> {};

TEST_P(Symbols, TheHeaderDeclaresSoManyFunctions) {
    EXPECT_EQ(declared(GetParam()).size(), GetParam().functions);
}

TEST_P(Symbols, TheListHoldsTheHeadersDeclarations) {
    EXPECT_EQ(listed(GetParam()), declared(GetParam()));
}

TEST_P(Symbols, TheLibraryExportsTheListAndNothingElse) {
    EXPECT_EQ(exported(GetParam()), listed(GetParam()));
}

TEST_P(Symbols, EveryFunctionResolvesInTheLoadedLibrary) {
#if defined(_WIN32)
    const HMODULE loaded = LoadLibraryA(GetParam().file);
    ASSERT_NE(loaded, nullptr);
    for (const std::string &name : declared(GetParam()))
        EXPECT_NE(GetProcAddress(loaded, name.c_str()), nullptr) << name;
    FreeLibrary(loaded);
#else
    void *loaded = dlopen(GetParam().file, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(loaded, nullptr) << dlerror();
    for (const std::string &name : declared(GetParam()))
        EXPECT_NE(dlsym(loaded, name.c_str()), nullptr) << name;
    dlclose(loaded);
#endif
}

INSTANTIATE_TEST_SUITE_P(Library, Symbols, testing::ValuesIn(libraries),
                         [](const auto &tested) { return tested.param.name; });

} // namespace
