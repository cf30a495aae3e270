// SPDX-License-Identifier: MIT
// `qel convert`: one archive after the other, and the report of each.
#include "commands.h"
#include "convert/done_record.h"
#include "convert/many.h"
#include "convert/memory.h"
#include "convert/step.h"
#include "convert/whole.h"
#include "convert/work_list.h"
#include "terminal/messages.h"
#include "terminal/progress.h"
#include "terminal/text.h"
#include "terminal/writer.h"

#include <algorithm>
#include <filesystem>
#include <optional>

namespace tool {

namespace {

namespace fs = std::filesystem;

/// Prints the steps on standard error.
class step_printer : public job::step_observer {
  public:
    step_printer(const convert_options &options, bool alone)
        : verbose_(options.verbose), quiet_(options.quiet), progress_(alone && !options.quiet) {
        job::set_observer(this);
    }
    ~step_printer() override { job::set_observer(nullptr); }
    step_printer(const step_printer &) = delete;
    step_printer &operator=(const step_printer &) = delete;

    void begins(const std::string &step) override { progress_.begins(step); }
    void advances(std::uint64_t done, std::uint64_t all) override { progress_.advances(done, all); }
    void done(const std::string &step, double milliseconds, const std::string &outcome) override {
        progress_.done();
        if (verbose_) print_note(format("%-18s %9.2f ms  %s", step.c_str(), milliseconds, outcome.c_str()));
    }
    void note(const std::string &text) override {
        if (verbose_) print_note("  " + text);
    }
    void warns(const std::string &text) override {
        if (!quiet_) print_warning(text);
    }

  private:
    const bool verbose_, quiet_;
    progress progress_;
};

/// The step's message in the form "FILE: what is wrong".
failure failure_of(const job::step_failed &failed, const input_file &file) {
    if (failed.subject() == file.path() && failed.step() != job::folder_step)
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
        const step_printer printer(options, alone);
        made = options.by_bytes ? job::convert_by_bytes(file, item.folder, options.verbose)
                                : job::convert_whole(file, item.folder, options.whole);
    } catch (const job::step_failed &failed) {
        throw failure_of(failed, file);
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    const double megabytes = static_cast<double>(file.size() + bytes_of(made.files)) / 1e6;
    if (options.verbose)
        print_note(format("%s read and written in %s, %.1f MB/s", format("%.2f MB", megabytes).c_str(),
                          format("%.3f s", time.count()).c_str(), megabytes / std::max(time.count(), 1e-9)));
    made.summary = file.name() + ": " + made.summary;
    return made;
}

/// The report of an archive: a line of text, or of JSON with the members that `write` adds.
template <class Write>
std::string line_of(const work &item, const convert_options &options, const std::string &text, Write write) {
    if (!options.json) return text;
    std::string line;
    writer out(line);
    out.open_object();
    out.utf8("archive", item.name);
    out.utf8("folder", item.folder);
    write(out);
    out.close();
    return line;
}

void write_amounts(writer &out, const job::amounts &made, double seconds) {
    const std::pair<const char *, std::uint64_t> counts[] = {{"meshes", made.meshes},
                                                             {"vertices", made.vertices},
                                                             {"triangles", made.triangles},
                                                             {"frames", made.frames},
                                                             {"tokens", made.tokens}};
    for (const auto &[name, count] : counts)
        out.digits(name, std::to_string(count));
    out.digits("seconds", format("%.6f", seconds));
    out.digits("peak_memory", std::to_string(peak_memory()));
}

/// Converts one archive and returns the lines to print: the report, or the paths of the results.
std::vector<std::string> lines_of(const work &item, const convert_options &options, bool alone) {
    std::optional<job::done_record> record;
    if (options.resume) record.emplace(item.name, item.folder, options);
    if (record && record->is_there())
        return {
            line_of(item, options, item.name + ": done before", [](writer &out) { out.boolean("done_before", true); })};
    const auto start = std::chrono::steady_clock::now();
    const job::outcome made = convert_one(item, options, alone);
    if (record) record->write(made);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    if (alone && options.by_bytes && !options.json) return made.files;
    return {line_of(item, options, made.summary + " in " + format("%.3f s", time.count()),
                    [&](writer &out) { write_amounts(out, made.made, time.count()); })};
}

} // namespace

int convert(const convert_options &options) {
    if (!is_for_one(options))
        return run_each(list_work(options), options.processes, !options.quiet,
                        [&](const work &item) { return lines_of(item, options, false).front(); });
    for (const std::string &line : lines_of({options.names[0], options.folder}, options, true))
        if (!options.quiet) print_line(line);
    return 0;
}

} // namespace tool
