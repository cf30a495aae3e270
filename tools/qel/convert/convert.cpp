// SPDX-License-Identifier: MIT
// `qel convert`: which archives go into which folders, and what is told of it.
#include "commands.h"
#include "convert/many.h"
#include "convert/step.h"
#include "convert/whole.h"
#include "terminal/messages.h"
#include "terminal/progress.h"
#include "terminal/text.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace tool {

namespace {

namespace fs = std::filesystem;

class ear : public job::listener {
  public:
    ear(const convert_options &options, bool alone)
        : verbose_(options.verbose), quiet_(options.quiet), progress_(alone && !options.quiet) {
        job::listen(this);
    }
    ~ear() override { job::listen(nullptr); }
    ear(const ear &) = delete;
    ear &operator=(const ear &) = delete;

    void begins(const std::string &step) override { progress_.begins(step); }
    void advances(std::uint64_t done, std::uint64_t all) override { progress_.advances(done, all); }
    void done(const std::string &step, double milliseconds, const std::string &outcome) override {
        progress_.done();
        if (verbose_) remark(format("%-18s %9.2f ms  %s", step.c_str(), milliseconds, outcome.c_str()));
    }
    void note(const std::string &text) override {
        if (verbose_) remark("  " + text);
    }
    void warns(const std::string &text) override {
        if (!quiet_) warn(text);
    }

  private:
    const bool verbose_, quiet_;
    progress progress_;
};

/// The step's own words, but in the form "FILE: what is wrong".
failure told(const job::step_failed &failed, const input_file &file) {
    if (failed.subject() == file.path() && failed.step() != "output folder")
        return {file.name(), failed.step() + ": " + failed.meaning()};
    return {file.name(), failed.step() + ": " + failed.subject() + ": " + failed.meaning()};
}

std::uint64_t bytes_of(const std::vector<std::string> &files) {
    std::uint64_t bytes = 0;
    std::error_code ignored;
    for (const std::string &file : files) {
        const std::uint64_t size = fs::file_size(file, ignored);
        bytes += ignored ? 0 : size;
    }
    return bytes;
}

job::outcome convert_one(const work &item, const convert_options &options, bool alone) {
    const auto start = std::chrono::steady_clock::now();
    const input_file file(item.name);
    file.must_be(file_kind::archive, "convert");
    job::outcome made;
    try {
        const ear hearing(options, alone);
        made = options.by_bytes ? job::convert_by_bytes(file, item.folder, options.verbose)
                                : job::convert_whole(file, item.folder, options.whole);
    } catch (const job::step_failed &failed) {
        throw told(failed, file);
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    const double megabytes = static_cast<double>(file.size() + bytes_of(made.files)) / 1e6;
    if (options.verbose)
        remark(format("%s read and written in %s, %.1f MB/s", format("%.2f MB", megabytes).c_str(),
                      format("%.3f s", time.count()).c_str(), megabytes / std::max(time.count(), 1e-9)));
    made.summary = file.name() + ": " + made.summary + " in " + format("%.3f s", time.count());
    return made;
}

/// A folder's archives, those in the folders inside it too, in the order of their names.
void add_folder(std::vector<work> &all, const std::string &name, const fs::path &output) {
    std::vector<fs::path> paths;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(name, error), end; !error && entry != end;
         entry.increment(error))
        if (entry->path().extension() == ".abc" && !entry->is_directory(error))
            paths.push_back(entry->path());
    if (error) throw failure(name, error.message());
    if (paths.empty()) throw failure(name, "has no archive (*.abc) in it");
    std::sort(paths.begin(), paths.end());
    for (const fs::path &path : paths) {
        const fs::path inside = path.lexically_relative(name);
        all.push_back({path.string(), (output / inside.parent_path() / inside.stem()).string()});
    }
}

/// Each archive with the folder of its own. Those that are called the same get numbers.
std::vector<work> list_work(const convert_options &options) {
    std::vector<work> all;
    for (const std::string &name : options.names) {
        if (fs::is_directory(name))
            add_folder(all, name, options.folder);
        else
            all.push_back(
                {name, (fs::path(options.folder) / fs::path(name == "-" ? "stdin" : name).stem()).string()});
    }
    std::set<std::string> taken;
    for (work &item : all) {
        const std::string wanted = item.folder;
        for (unsigned number = 2; !taken.insert(item.folder).second; ++number)
            item.folder = wanted + "-" + std::to_string(number);
    }
    return all;
}

} // namespace

int convert(const convert_options &options) {
    if (options.names.size() == 1 && !fs::is_directory(options.names[0])) {
        const job::outcome made = convert_one({options.names[0], options.folder}, options, true);
        if (options.by_bytes && !options.quiet)
            for (const std::string &path : made.files)
                say(path);
        else if (!options.quiet)
            say(made.summary);
        return 0;
    }
    return do_each(list_work(options), options.processes, !options.quiet,
                   [&](const work &item) { return convert_one(item, options, false).summary; });
}

} // namespace tool
