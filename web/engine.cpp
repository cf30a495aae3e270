// SPDX-License-Identifier: MIT
// The functions that the page's worker calls: they make a page of files, or files of an archive or a scene. Paths are
// in the worker's own file system, where dropped files are read in slices. The functions return 0, or 1 with the reason
// in engine_message().
#include "convert/step.h"
#include "convert/whole.h"
#include "examine/examined.h"
#include "files/output.h"
#include "join.h"
#include "unit_page.h"
#include "view/page_load.h"
#include "view/page_write.h"

#include <emscripten/emscripten.h>

#include <memory>
#include <sstream>

EM_JS(void, tell_step, (const char *step, double done, double all), { Module.onStep(UTF8ToString(step), done, all); })

namespace {

std::string message;
std::vector<std::unique_ptr<tool::input_file>> inputs; ///< frames are read from them while a page is packed

template <class Job>
int outcome_of(Job job) {
    message.clear();
    try {
        job();
        return 0;
    } catch (const std::bad_alloc &) {
        message = tool::no_memory;
    } catch (const std::exception &failed) {
        message = failed.what();
    }
    return 1;
}

class step_forwarder : public tool::job::step_observer {
  public:
    step_forwarder() { tool::job::set_observer(this); }
    ~step_forwarder() override { tool::job::set_observer(nullptr); }
    step_forwarder(const step_forwarder &) = delete;
    step_forwarder &operator=(const step_forwarder &) = delete;
    void begins(const std::string &step) override {
        step_ = step;
        tell_step(step_.c_str(), 0, 0);
    }
    void advances(std::uint64_t done, std::uint64_t all) override {
        tell_step(step_.c_str(), static_cast<double>(done), static_cast<double>(all));
    }
    void done(const std::string &, double, const std::string &) override {}
    void note(const std::string &) override {}
    void warns(const std::string &) override {}

  private:
    std::string step_;
};

tool::page_model load(const tool::input_file &file) {
    return file.kind() == tool::file_kind::unit ? web::load_unit_page(file) : tool::load_page(file, false);
}

tool::page_model load_all(const std::string &names) {
    std::vector<web::named_model> parts;
    std::istringstream lines(names);
    for (std::string name; std::getline(lines, name);) {
        tell_step(("Reading " + name).c_str(), 0, 0);
        inputs.push_back(std::make_unique<tool::input_file>(name));
        parts.push_back({name, load(*inputs.back())});
    }
    if (parts.size() > 1) return web::join(std::move(parts));
    parts[0].model.title = parts[0].name;
    return std::move(parts[0].model);
}

void show(const std::string &names, const std::string &page, std::uint64_t room) {
    inputs.clear();
    tool::page_model model = load_all(names);
    tell_step("Packing", 0, 0);
    const std::uint64_t bare = tool::bare_page_size();
    const tool::packed_page packed = tool::pack_page(model, room > bare ? room - bare : 0);
    tool::output_file out(page);
    tool::write_page(out.stream(), model.title, packed);
    out.finish();
}

void convert_archive(const tool::input_file &file, const std::string &folder) {
    try {
        const step_forwarder forwarder;
        tool::job::convert_whole(file, folder, {});
    } catch (const tool::job::step_failed &failed) {
        throw tool::failure(file.name(), failed.step() + ": " + failed.meaning());
    }
}

void convert_scene(const tool::input_file &file, const std::string &path) {
    const tool::examined from(file);
    from.must_be_usable();
    if (qel_alembic_export_file_qel(from.scene.get(), path.c_str()) != QEL_OK)
        throw tool::failure(file.name(), "its tokens cannot be written");
}

} // namespace

extern "C" {

const char *engine_message() {
    return message.c_str();
}

/// `names`: one per line; several files are shown in one space. `room`: the most bytes of the page.
int engine_show(const char *names, const char *page, double room) {
    return outcome_of([&] { show(names, page, static_cast<std::uint64_t>(room)); });
}

/// Converts an archive like `qel convert`, and a scene to its unit. The folder exists.
int engine_convert(const char *name, const char *folder) {
    return outcome_of([&] {
        const tool::input_file file(name);
        if (file.kind() == tool::file_kind::scene)
            convert_scene(file, std::string(folder) + "/" + tool::job::unit_name);
        else
            convert_archive(file, folder);
    });
}

} // extern "C"
