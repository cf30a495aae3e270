// SPDX-License-Identifier: MIT
// Eight threads that query one archive at the same time get the answers that one thread gets.
#include "qel_archive/rich_scene.h"

#include <atomic>
#include <thread>

namespace qel {
namespace {

using namespace test;

template <class T>
void write(bytes &answers, const T &value) {
    append(answers, value);
}

void write(bytes &answers, const char *text) {
    append_bytes(answers, bytes_of_text(text));
    answers.push_back(0);
}

template <class T>
void write(bytes &answers, const T *values, std::size_t count) {
    write(answers, count);
    if (values != nullptr) append_bytes(answers, bytes_of(std::vector<T>(values, values + count)));
}

void ask_properties(const qel_archive *archive, std::uint32_t object, std::uint32_t count, bytes &answers) {
    for (std::uint32_t i = 0; i < count; ++i) {
        qel_archive_property property = {};
        write(answers, qel_archive_get_property(archive, object, i, &property));
        write(answers, property.name);
        write(answers, property.metadata);
        write(answers, qel_archive_find_property(archive, object, property.name));
        for (std::uint64_t sample = 0; sample <= property.sample_count; ++sample) {
            bytes values(10'000);
            std::uint64_t size = 0;
            double seconds = 0;
            write(answers, qel_archive_read_property(archive, object, i, sample, values.data(), values.size(), &size));
            write(answers, qel_archive_property_time(archive, object, i, sample, &seconds));
            write(answers, seconds);
            write(answers, values.data(), size);
        }
    }
}

void ask_mesh(const qel_archive *archive, std::uint32_t object, std::uint64_t sample, bytes &answers) {
    ogawa_polymesh mesh;
    write(answers, qel_archive_read_mesh(archive, object, sample, &mesh));
    write(answers, mesh.path);
    write(answers, mesh.positions, std::size_t{mesh.vertex_count} * 3);
    write(answers, mesh.face_indices, mesh.face_index_count);
    write(answers, mesh.normals, std::size_t{mesh.normal_count} * 3);
    write(answers, mesh.transform, 16);
    for (std::uint32_t set = 0; set < mesh.uv_set_count; ++set)
        write(answers, mesh.uv_sets[set].values, std::size_t{mesh.uv_sets[set].value_count} * 2);
    ogawa_free_polymesh(&mesh);
}

/// Every answer about one object.
bytes answers_about(const qel_archive *archive, std::uint32_t number) {
    bytes answers;
    qel_archive_object object = {};
    write(answers, qel_archive_get_object(archive, number, &object));
    write(answers, object.path);
    write(answers, object.metadata);
    write(answers, qel_archive_find(archive, object.path));
    ask_properties(archive, number, object.property_count, answers);
    for (std::uint64_t sample = 0; sample < 3; ++sample)
        ask_mesh(archive, number, sample, answers);
    double matrix[16] = {};
    std::int32_t visible = 0;
    std::uint64_t sample = 0;
    write(answers, qel_archive_world_transform(archive, number, 0.05, matrix));
    write(answers, matrix, 16);
    write(answers, qel_archive_local_transform(archive, number, 0.05, matrix));
    write(answers, matrix, 16);
    write(answers, qel_archive_is_visible(archive, number, 0.05, &visible));
    write(answers, qel_archive_sample_at(archive, number, 0.05, &sample));
    write(answers, sample);
    return answers;
}

TEST(ArchiveThreads, GiveTheSameAnswersAsOneThread) {
    const archive_builder builder = rich_scene();
    std::vector<bytes> expected;
    {
        const opened_archive alone(builder);
        for (std::uint32_t i = 0; i < alone.info().object_count; ++i)
            expected.push_back(answers_about(alone.get(), i));
    }
    for (int run = 0; run < 20; ++run) {
        const opened_archive opened(builder); // whose texts no call has read yet
        std::atomic<int> waiting{8}, different{0};
        std::vector<std::thread> threads;
        for (std::size_t thread = 0; thread < 8; ++thread)
            threads.emplace_back([&, thread] {
                for (--waiting; waiting > 0;)
                    std::this_thread::yield();
                for (std::size_t i = 0; i < expected.size(); ++i) { // two begin at each place
                    const std::size_t number = (i + thread / 2 * expected.size() / 4) % expected.size();
                    if (answers_about(opened.get(), static_cast<std::uint32_t>(number)) != expected[number])
                        ++different;
                }
            });
        for (std::thread &thread : threads)
            thread.join();
        ASSERT_EQ(different, 0);
    }
}

} // namespace
} // namespace qel
