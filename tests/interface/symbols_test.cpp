// SPDX-License-Identifier: MIT
// The library's visible symbols, the list in src/exports.map and the header's declarations are one set.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

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
    void *library = dlopen(QEL_UNIT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    for (const std::string &name : declared())
        EXPECT_NE(dlsym(library, name.c_str()), nullptr) << name;
    dlclose(library);
}

} // namespace
