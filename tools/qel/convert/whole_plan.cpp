// SPDX-License-Identifier: MIT
// The plan of a conversion: its meshes, frames and names.
#include "convert/whole.h"
#include "terminal/text.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace tool::job {

namespace {

constexpr std::size_t max_name_bytes = sizeof(qel_alembic_mesh::name) - 1, max_file_bytes = 200;

/// The end of a text, without a part of a UTF-8 character: the end of a path distinguishes objects.
std::string end_of(const std::string &text, std::size_t size) {
    if (text.size() <= size) return text;
    std::size_t from = text.size() - size;
    while (from < text.size() && (static_cast<unsigned char>(text[from]) & 0xC0u) == 0x80)
        ++from;
    return text.substr(from);
}

/// Makes unique names of bounded length that differ in more than case: some file systems ignore case.
class name_maker {
  public:
    explicit name_maker(std::size_t max_bytes) : max_bytes_(max_bytes) {}

    std::string make(const std::string &wanted) {
        for (unsigned number = 1;; ++number) {
            const std::string mark = number > 1 ? "~" + std::to_string(number) : "";
            std::string name = end_of(wanted, max_bytes_ - mark.size()) + mark, folded = name;
            for (char &letter : folded)
                if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
            if (taken_.insert(folded).second) return name;
        }
    }

  private:
    const std::size_t max_bytes_;
    std::set<std::string> taken_;
};

/// "/crane/arm" as "crane.arm", without bytes that are special in paths, shells or terminals.
std::string file_text(const std::string &path) {
    const bool shown_as_it_is = printable(path) == path;
    std::string text;
    for (const char letter : path.substr(path.find_first_not_of('/') == 0 ? 0 : 1)) {
        const auto byte = static_cast<unsigned char>(letter);
        const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                           (byte >= 'a' && byte <= 'z') || byte == '_' || byte == '-' ||
                           (byte == '.' && !text.empty()) || (byte >= 0x80 && shown_as_it_is);
        text += plain ? letter : letter == '/' && !text.empty() ? '.' : '_';
    }
    return text;
}

std::int32_t number_of(double time, double rate) {
    const double number = std::nearbyint(time * rate);
    return number >= INT_MAX ? INT_MAX : number <= INT_MIN ? INT_MIN : static_cast<std::int32_t>(number);
}

std::vector<frame_at> frames_of(const archive_scene &scene) {
    std::vector<frame_at> frames;
    for (const double time : scene.times())
        frames.push_back({number_of(time, scene.rate()), time});
    return frames;
}

double time_of_frame(const std::vector<frame_at> &frames, std::int32_t wanted, double rate, const input_file &input) {
    if (frames.size() == 1) return frames[0].time; // nothing moves: all frames are equal
    for (const frame_at &frame : frames)
        if (frame.number == wanted) return frame.time;
    if (wanted < frames.front().number || wanted > frames.back().number)
        throw failure(input.name(),
                      format("has the frames %d to %d, not %d", frames.front().number, frames.back().number, wanted));
    return wanted / rate;
}

void keep_range(std::vector<frame_at> &frames, const frame_range &range, const input_file &input) {
    const frame_at first = frames.front(), last = frames.back();
    frames.erase(
        std::remove_if(frames.begin(), frames.end(), [&](const frame_at &frame) { return !range.has(frame.number); }),
        frames.end());
    if (frames.empty())
        throw failure(input.name(),
                      format("has the frames %d to %d, and none in the range", first.number, last.number));
}

/// The first time from `wanted` on, or else the first of all, at which the mesh has points; false if there is none.
bool find_points(const archive_scene &scene, const scene_mesh &mesh, double wanted, double &found) {
    found = wanted;
    if (mesh.info.topology != QEL_ARCHIVE_TOPOLOGY_FACES_CHANGE) return true;
    std::vector<double> times{wanted};
    times.insert(times.end(), std::lower_bound(scene.times().begin(), scene.times().end(), wanted),
                 scene.times().end());
    times.insert(times.end(), scene.times().begin(), scene.times().end());
    std::vector<float> positions;
    for (const double time : times) {
        scene.read_positions(mesh, time, positions);
        found = time;
        if (!positions.empty()) return true;
    }
    return false;
}

/// Fails with the reasons why there is nothing to convert.
[[noreturn]] void nothing_to_convert(const archive_scene &scene, const input_file &input, const scene_choice &choice) {
    std::string why;
    if (scene.empty_count() > 0) why += ", " + std::to_string(scene.empty_count()) + " without points";
    if (scene.hidden_count() > 0) why += ", " + std::to_string(scene.hidden_count()) + " hidden";
    if (scene.other_count() > 0) why += ", " + std::to_string(scene.other_count()) + " to be had with --points";
    throw failure(input.name(),
                  std::string(choice.globs.empty() ? "has no visible mesh with points"
                                                   : "has no visible mesh with points that --mesh names") +
                      (why.empty() ? "" : " (" + why.substr(2) + ")"));
}

} // namespace

whole_plan plan_whole(const archive_scene &scene, const input_file &input, const whole_options &options) {
    if (scene.meshes().empty()) nothing_to_convert(scene, input, options.meshes);
    whole_plan plan;
    plan.rate = scene.rate();
    plan.frames = frames_of(scene);
    if (options.range && plan.frames.size() > 1) keep_range(plan.frames, *options.range, input);
    const double base =
        options.frame ? time_of_frame(plan.frames, *options.frame, plan.rate, input) : plan.frames.front().time;
    name_maker names(max_name_bytes), files(max_file_bytes);
    bool moves = false;
    for (const scene_mesh &mesh : scene.meshes()) {
        double time = base;
        if (!find_points(scene, mesh, base, time)) continue;
        plan.meshes.push_back(
            {&mesh, time, names.make(mesh.path), "meshes/" + files.make(file_text(mesh.path)) + ".qelm"});
        moves = moves || mesh.moves;
        const std::uint64_t triangles = mesh.info.corner_count - std::min(mesh.info.corner_count, 2u);
        plan.vertices += mesh.info.vertex_count;
        plan.memory += scene_array_bytes(mesh.info.vertex_count, triangles);
    }
    if (plan.meshes.empty()) nothing_to_convert(scene, input, options.meshes);
    if (options.frame || !moves) plan.frames.clear();
    return plan;
}

} // namespace tool::job
