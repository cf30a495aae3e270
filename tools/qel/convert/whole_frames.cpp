// SPDX-License-Identifier: MIT
#include "convert/step.h"
#include "convert/whole.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace tool::job {

namespace {

constexpr std::size_t buffer_bytes = std::size_t{1} << 20;

/// A scene file to which frames are appended.
class frame_file {
  public:
    explicit frame_file(const result &file) : file_(file), stream_(std::fopen(file.path.c_str(), "r+b"), std::fclose) {
        if (!stream_ || std::setvbuf(stream_.get(), nullptr, _IOFBF, buffer_bytes) != 0 ||
            std::fseek(stream_.get(), 0, SEEK_END) != 0)
            fail();
    }

    template <class T>
    void put(const T *values, std::size_t count) {
        if (count > 0 && std::fwrite(values, sizeof(T), count, stream_.get()) != count) fail();
        bytes_ += count * sizeof(T);
    }
    std::uint64_t bytes() const { return bytes_; }

    void finish(std::uint32_t frames) {
        if (std::fseek(stream_.get(), long{offsetof(scene_header, frame_count)}, SEEK_SET) != 0 ||
            std::fwrite(&frames, sizeof frames, 1, stream_.get()) != 1 || std::fclose(stream_.release()) != 0)
            fail();
    }

  private:
    [[noreturn]] void fail() const { throw step_failed("frames", file_.place, std::strerror(errno)); }

    const result &file_;
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream_;
    std::uint64_t bytes_ = 0;
};

} // namespace

std::uint64_t append_frames(const archive_scene &scene, const whole_plan &plan, const qel_alembic_file &made,
                            const result &file) {
    frame_file out(file);
    std::vector<float> positions;
    std::size_t done = 0;
    for (const frame_at &frame : plan.frames) {
        const auto seconds = static_cast<float>(frame.time);
        const auto count = static_cast<std::uint32_t>(plan.meshes.size());
        out.put(&frame.number, 1);
        out.put(&seconds, 1);
        out.put(&count, 1);
        for (std::size_t i = 0; i < plan.meshes.size(); ++i) {
            const qel_alembic_mesh &still = made.meshes[i];
            const bool moves = plan.meshes[i].mesh->moves;
            if (moves) scene.read_positions(*plan.meshes[i].mesh, frame.time, positions);
            const auto vertices = moves ? static_cast<std::uint32_t>(positions.size() / 3) : still.vertex_count;
            out.put(&vertices, 1);
            out.put(moves ? positions.data() : still.positions, std::size_t{vertices} * 3);
        }
        advance(++done, plan.frames.size());
    }
    out.finish(static_cast<std::uint32_t>(plan.frames.size()));
    return out.bytes();
}

} // namespace tool::job
