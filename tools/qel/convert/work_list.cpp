// SPDX-License-Identifier: MIT
#include "convert/work_list.h"

#include "files/failure.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>

namespace tool {

namespace {

namespace fs = std::filesystem;

std::string read_list(const std::string &name) {
    std::ifstream file;
    if (name != "-") file.open(name, std::ios::binary);
    if (!file) throw system_failure(name);
    return {std::istreambuf_iterator<char>(name == "-" ? std::cin : file), {}};
}

/// Adds the names of a list, one a line. If the list has a zero byte, zero bytes end the names, and these may contain
/// line ends.
void add_listed(std::vector<std::string> &names, const std::string &list) {
    const std::string text = read_list(list);
    const char end = text.find('\0') == std::string::npos ? '\n' : '\0';
    const std::size_t before = names.size();
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t after = std::min(text.find(end, at), text.size());
        const std::string name = text.substr(at, after - at);
        if (!name.empty()) names.push_back(name == "-" ? "./-" : name); // in a list "-" is a file name
        at = after + 1;
    }
    if (names.size() == before) throw failure(list == "-" ? "standard input" : list, "names no archive");
}

/// Adds the archives of a folder and of the folders inside, in the order of their names.
void add_folder(std::vector<work> &all, const std::string &name, const fs::path &output) {
    std::vector<fs::path> paths;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(name, error), end; !error && entry != end; entry.increment(error))
        if (entry->path().extension() == ".abc" && !entry->is_directory(error)) paths.push_back(entry->path());
    if (error) throw failure(name, error.message());
    if (paths.empty()) throw failure(name, "has no archive (*.abc) in it");
    std::sort(paths.begin(), paths.end());
    for (const fs::path &path : paths) {
        const fs::path inside = path.lexically_relative(name);
        all.push_back({path.string(), (output / inside.parent_path() / inside.stem()).string()});
    }
}

/// Archives of the same name get numbers.
void number_duplicates(std::vector<work> &all) {
    std::set<std::string> taken;
    for (work &item : all) {
        const std::string wanted = item.folder;
        for (unsigned number = 2; !taken.insert(item.folder).second; ++number)
            item.folder = wanted + "-" + std::to_string(number);
    }
}

} // namespace

bool is_for_one(const convert_options &options) {
    return options.lists.empty() && options.shards == 1 && options.names.size() == 1 &&
           !fs::is_directory(options.names[0]);
}

std::vector<work> list_work(const convert_options &options) {
    std::vector<std::string> names = options.names;
    for (const std::string &list : options.lists)
        add_listed(names, list);
    std::vector<work> all;
    for (const std::string &name : names) {
        std::error_code ignored;
        const fs::path called(name == "-" ? "stdin" : name);
        if (fs::is_directory(name, ignored))
            add_folder(all, name, options.folder);
        else
            all.push_back({name, (fs::path(options.folder) / called.stem()).string()});
    }
    number_duplicates(all);
    std::vector<work> part;
    for (std::size_t i = options.shard - 1; i < all.size(); i += options.shards)
        part.push_back(all[i]);
    return part;
}

} // namespace tool
