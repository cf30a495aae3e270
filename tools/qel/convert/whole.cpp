// SPDX-License-Identifier: MIT
#include "convert/whole.h"

#include "convert/step.h"
#include "terminal/text.h"

#include <algorithm>
#include <filesystem>

namespace tool::job {

namespace {

constexpr std::uint64_t gibibyte = std::uint64_t{1} << 30;
constexpr std::uint8_t layer = 1;

class whole_conversion {
  public:
    whole_conversion(const input_file &input, const std::string &output, const whole_options &options)
        : input_(input), options_(options), scene_(input, options.meshes), plan_(plan_whole(scene_, input, options)),
          folder_(output, checked_names(output)) {}

    outcome run() {
        read_meshes();
        if (wants(part_tokens | part_scene)) complete_scene();
        if (wants(part_tokens)) export_unit(made_, folder_);
        if (wants(part_scene)) save_scene();
        if (wants(part_agents)) record_run(folder_, vertices_);
        return {folder_.keep(), summary(), made()};
    }

  private:
    bool wants(unsigned part) const { return (options_.parts & part) != 0; }
    std::vector<std::string> checked_names(const std::string &output) const;
    void warn_of_memory() const;
    void read_meshes();
    void add_to_scene(const ogawa_polymesh &mesh, std::size_t number);
    void complete_scene();
    void save_scene();
    std::string summary() const;
    amounts made() const;

    const input_file &input_;
    const whole_options &options_;
    const archive_scene scene_;
    const whole_plan plan_;
    result_folder folder_;
    scene_record made_;
    std::uint64_t vertices_ = 0, triangles_ = 0;
};

/// The names of all results; fails if one of them may not be written.
std::vector<std::string> whole_conversion::checked_names(const std::string &output) const {
    std::vector<std::string> names;
    if (wants(part_tokens)) names.emplace_back(unit_name);
    if (wants(part_scene)) names.emplace_back(scene_name);
    if (wants(part_agents)) names.emplace_back(agents_name);
    for (const whole_plan::entry &entry : plan_.meshes)
        if (wants(part_cache)) names.push_back(entry.cache);
    check_places(input_, output, names);
    if (wants(part_agents)) check_agents_path(output);
    warn_of_memory();
    return names;
}

void whole_conversion::warn_of_memory() const {
    if (!wants(part_tokens | part_scene) || plan_.memory < gibibyte) return;
    warn("%s: the scene's record holds all meshes at once, about %.1f GiB; frames are written one by one",
         input_.name().c_str(), static_cast<double>(plan_.memory) / static_cast<double>(gibibyte));
}

/// Each mesh is read once, for the cache and the scene.
void whole_conversion::read_meshes() {
    step reading(wants(part_cache) ? "caches" : "meshes");
    const std::size_t count = plan_.meshes.size();
    if (wants(part_tokens | part_scene))
        allocate_meshes("meshes", input_.name(), static_cast<std::uint32_t>(count), made_);
    for (std::size_t i = 0; i < count; ++i) {
        const whole_plan::entry &entry = plan_.meshes[i];
        polymesh_record mesh;
        scene_.read(*entry.mesh, entry.time, *mesh.get());
        float box[6] = {};
        ogawa_compute_bounds(mesh->positions, mesh->vertex_count, box);
        std::copy_n(box, 3, mesh->bounds_min);
        std::copy_n(box + 3, 3, mesh->bounds_max);
        vertices_ += mesh->vertex_count;
        if (made_->mesh_count > 0) add_to_scene(*mesh.get(), i);
        if (wants(part_cache)) write_cache(*mesh.get(), entry.mesh->path, folder_.file(entry.cache), folder_);
        advance(i + 1, count);
    }
    reading.done("%s with %s", counted(count, "mesh").c_str(), counted(vertices_, "vertex").c_str());
}

void whole_conversion::add_to_scene(const ogawa_polymesh &mesh, std::size_t number) {
    const std::vector<std::uint32_t> triangles = fan_triangles(mesh);
    triangles_ += triangles.size() / 3;
    qel_alembic_mesh &made = made_->meshes[number];
    const std::string &name = plan_.meshes[number].name;
    check("meshes", name,
          load_raw(mesh.positions, mesh.vertex_count, triangles.data(),
                   static_cast<std::uint32_t>(triangles.size() / 3), name.c_str(), made),
          load_raw_meanings);
    for (std::uint32_t i = 0; number > 0 && i < made.vertex_count; ++i) // their identities contain the mesh's number
        qel_alembic_generate_token(&made.vertices[i], layer, static_cast<std::uint32_t>(number), i, &made.tokens[i]);
}

/// Sets the totals, as qel_alembic_build_hash_table would with an index of 32 MiB.
void whole_conversion::complete_scene() {
    made_->version = 1;
    made_->fps = static_cast<float>(plan_.rate);
    made_->total_faces = triangles_;
    made_->total_vertices = made_->total_tokens = vertices_;
    if (!plan_.frames.empty()) {
        made_->time_start = static_cast<float>(plan_.frames.front().time);
        made_->time_end = static_cast<float>(plan_.frames.back().time);
    }
}

void whole_conversion::save_scene() {
    step saving("save scene");
    const result file = folder_.file(scene_name);
    check("save scene", file.place, qel_alembic_save(file.path.c_str(), made_.get()), scene_save_meanings);
    std::uint64_t expected = scene_file_bytes(*made_.get());
    folder_.written("save scene", file, expected); // frames after missing bytes would be read in their place
    if (!plan_.frames.empty()) expected += append_frames(scene_, plan_, *made_.get(), file);
    const std::uint64_t size = folder_.written("save scene", file, expected);
    saving.done("%llu bytes in %s, %s", static_cast<unsigned long long>(size), file.place.c_str(),
                counted(plan_.frames.size(), "frame").c_str());
}

amounts whole_conversion::made() const {
    return {plan_.meshes.size(), vertices_, triangles_, wants(part_scene) ? plan_.frames.size() : 0,
            wants(part_tokens) ? vertices_ : 0};
}

std::string whole_conversion::summary() const {
    std::string text = counted(plan_.meshes.size(), "mesh") + ", " + counted(vertices_, "vertex");
    if (wants(part_tokens | part_scene)) text += ", " + counted(triangles_, "triangle");
    if (wants(part_scene)) text += ", " + counted(plan_.frames.size(), "frame");
    if (wants(part_tokens)) text += ", " + counted(vertices_, "token");
    const std::uint64_t empty = scene_.empty_count() + scene_.meshes().size() - plan_.meshes.size();
    if (scene_.hidden_count() > 0) text += format("; %u hidden", scene_.hidden_count());
    if (empty > 0) text += format("; %llu without points", static_cast<unsigned long long>(empty));
    return text;
}

} // namespace

outcome convert_whole(const input_file &input, const std::string &output, const whole_options &options) {
    return whole_conversion(input, output, options).run();
}

} // namespace tool::job
