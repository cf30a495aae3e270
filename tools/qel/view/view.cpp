// SPDX-License-Identifier: MIT
// `qel view`: reads a file or folder, packs it within the requested size and writes the page.
#include "commands.h"
#include "files/output.h"
#include "view/page_load.h"
#include "view/page_write.h"

#include <filesystem>
#include <optional>

namespace tool {

namespace {

/// The last part of a path, also of a path that ends in a slash.
std::string title_of(const std::string &name) {
    const std::filesystem::path path(name);
    return (path.has_filename() ? path : path.parent_path()).filename().string();
}

} // namespace

int view(const view_options &wanted) {
    std::optional<input_file> file; // frames are read from it during packing
    page_model model;
    if (std::filesystem::is_directory(wanted.input)) {
        model = load_folder(wanted.input);
    } else {
        file.emplace(wanted.input);
        if (wanted.page != "-") file->must_not_be_at(wanted.page);
        model = load_page(*file, wanted.by_bytes);
    }
    model.title = title_of(file ? file->name() : wanted.input);
    const std::uint64_t bare = bare_page_size(), limit = wanted.megabytes * 1000000;
    const packed_page page = pack_page(model, limit > bare ? limit - bare : 0);
    if (wanted.page == "-") {
        write_page(stdout, model.title, page);
        return 0;
    }
    output_file out(wanted.page);
    write_page(out.stream(), model.title, page);
    out.finish();
    return 0;
}

} // namespace tool
