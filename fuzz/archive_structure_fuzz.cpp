// SPDX-License-Identifier: MIT
// Archives of any bytes, read by their structure: every result of the 16 functions is compared with the model's; also
// with short or interrupted reads, with failing reads and allocations, and with a file that shrinks.
#include "archive_answers.h"
#include "faulty_reads.h"
#include "harness.h"

#include "model/archive_comparison.h"
#include "support/random_archive.h"

#include <fuzzer/FuzzedDataProvider.h>

using namespace qel;
using namespace qel::fuzz;

namespace {

constexpr std::uint32_t max_compared = 150; // objects and properties: the model computes each result anew

/// Opens an archive and calls every function. The first answer is that of opening.
std::vector<archive_answer> open_and_ask(const char *path) {
    qel_archive *archive = reinterpret_cast<qel_archive *>(1);
    const std::int32_t status = qel_archive_open(path, &archive);
    require((archive != nullptr) == (status == QEL_ARCHIVE_OK));
    std::vector<archive_answer> answers;
    if (archive != nullptr) answers = ask_everything(archive);
    answers.insert(answers.begin(), {status, 0});
    qel_archive_close(archive);
    return answers;
}

/// Requires each answer to equal that without the fault, or to report the failure. If opening failed there are no
/// others; if an object's name is not available, its properties are not queried.
void require_alike(const std::vector<archive_answer> &faulty, const std::vector<archive_answer> &sound,
                   std::int32_t fault) {
    require(faulty.front() == sound.front() || faulty.front().status == fault);
    if (faulty.front().status != QEL_ARCHIVE_OK) return;
    if (faulty.size() == sound.size()) {
        for (std::size_t i = 0; i < faulty.size(); ++i)
            require(faulty[i] == sound[i] || faulty[i].status == fault);
    } else {
        require(fault == QEL_ARCHIVE_NO_MEMORY && faulty.size() < sound.size());
    }
}

/// Under MemorySanitizer only the library runs: the builder of archives and the model use parts of the standard library
/// that are not instrumented. The archives are then the inputs themselves, and two runs are compared.
#if __has_feature(memory_sanitizer)
constexpr bool alone = true;
#else
constexpr bool alone = false;
#endif

/// Whether the model runs as well: not for archives that the fuzzer's heap limits refuse or that take minutes.
bool is_comparable(const char *path) {
    qel_archive *archive = nullptr;
    const std::int32_t status = qel_archive_open(path, &archive);
    if (archive == nullptr) return status != QEL_ARCHIVE_NO_MEMORY;
    qel_archive_info info = {};
    qel_archive_get_info(archive, &info);
    std::uint64_t total = info.object_count;
    for (std::uint32_t i = 0; i < info.object_count && total <= max_compared; ++i) {
        qel_archive_object object = {};
        require(qel_archive_get_object(archive, i, &object) == QEL_ARCHIVE_OK);
        total += object.property_count;
    }
    qel_archive_close(archive);
    return total <= max_compared;
}

void compare(const memory_file &file) {
    if (alone) require(open_and_ask(file.path()) == open_and_ask(file.path()));
    if (alone) return;
    if (!is_comparable(file.path())) return;
    const std::string difference = model::first_difference(file.path());
    if (!difference.empty()) std::fprintf(stderr, "%s\n", difference.c_str());
    require(difference.empty());
}

void read_with_failing_memory(const memory_file &file, std::uint64_t n, bool all_later) {
    const std::vector<archive_answer> sound = open_and_ask(file.path());
    const failing_heap failing = failing_heap::at(n, all_later);
    require_alike(open_and_ask(file.path()), sound, QEL_ARCHIVE_NO_MEMORY);
}

void read_with_failing_reads(const memory_file &file, std::uint64_t n, bool all_later) {
    const std::vector<archive_answer> sound = open_and_ask(file.path());
    faulty_reads faults;
    faults.fail_at = n;
    faults.all_later = all_later;
    require_alike(open_and_ask(file.path()), sound, QEL_ARCHIVE_CANNOT_OPEN);
}

/// Requires the same answers with short and interrupted reads.
void read_in_pieces(const memory_file &file, std::size_t max_bytes, std::uint64_t interrupt_each) {
    const std::vector<archive_answer> sound = open_and_ask(file.path());
    faulty_reads faults;
    faults.max_bytes = max_bytes;
    faults.interrupt_each = interrupt_each;
    require(open_and_ask(file.path()) == sound);
}

/// Data past the end are damaged, except normals and UVs: a mesh then has fewer of them.
void read_while_it_shrinks(const memory_file &file, std::size_t size) {
    qel_archive *archive = nullptr;
    if (qel_archive_open(file.path(), &archive) != QEL_ARCHIVE_OK) return;
    const std::vector<archive_answer> sound = ask_everything(archive);
    require(truncate(file.path(), static_cast<off_t>(size)) == 0);
    const std::vector<archive_answer> shrunk = ask_everything(archive);
    qel_archive_close(archive);
    require(shrunk.size() == sound.size());
    for (std::size_t i = 0; i < shrunk.size(); ++i)
        require(shrunk[i] == sound[i] || shrunk[i].status == QEL_ARCHIVE_DAMAGED || shrunk[i].status < sound[i].status);
}

/// Changes bytes of an archive at positions that the fuzzer chooses.
void patch(FuzzedDataProvider &fuzz, bytes &content) {
    for (int count = fuzz.ConsumeIntegralInRange(0, 6); count > 0 && !content.empty(); --count) {
        const std::size_t at = fuzz.ConsumeIntegral<std::uint32_t>() % content.size();
        content[at] = fuzz.ConsumeIntegral<std::uint8_t>();
    }
}

/// An archive with every kind of content, built from the fuzzer's numbers, sound or damaged.
bytes archive_of_choices(FuzzedDataProvider &fuzz) {
    const int damage = fuzz.ConsumeIntegralInRange(0, 3);
    bytes patches = fuzz.ConsumeBytes<std::uint8_t>(fuzz.ConsumeIntegralInRange<std::size_t>(0, 40));
    const auto seed = fuzz.ConsumeIntegral<std::uint16_t>();
    std::vector<std::uint16_t> list;
    while (fuzz.remaining_bytes() > 1 && list.size() < 2000)
        list.push_back(fuzz.ConsumeIntegral<std::uint16_t>());
    test::chance chances(std::move(list), seed);
    test::archive_builder archive = test::random_archive(chances);
    if (damage == 1) test::damage_fields(archive, chances);
    const test::built_archive built = archive.build();
    if (damage == 2) return test::damaged_bytes(built, chances);
    bytes content = built.content;
    FuzzedDataProvider places(patches.data(), patches.size());
    if (damage == 3) patch(places, content);
    return content;
}

/// A header followed by bytes, the root's position among them.
bytes archive_of_bytes(FuzzedDataProvider &fuzz) {
    bytes content = {'O', 'g', 'a', 'w', 'a', 0xFF, 0, 1};
    append(content, std::uint64_t{16} + fuzz.ConsumeIntegral<std::uint8_t>());
    const bytes rest = fuzz.ConsumeRemainingBytes<std::uint8_t>();
    content.insert(content.end(), rest.begin(), rest.end());
    return content;
}

/// An input that begins with an archive's header is used as a whole: bytes after an archive are ignored.
bytes make_archive(FuzzedDataProvider &fuzz, int form, const bytes &input) {
    if (input.size() > 5 && std::memcmp(input.data(), "Ogawa", 5) == 0) return input;
    if (form == 0) return fuzz.ConsumeRemainingBytes<std::uint8_t>();
    return form == 1 || alone ? archive_of_bytes(fuzz) : archive_of_choices(fuzz);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider fuzz(data, size);
    const heap_ledger heap;
    const int way = fuzz.ConsumeIntegralInRange(0, 7), form = fuzz.ConsumeIntegralInRange(0, 7);
    const auto n = std::uint64_t{1} + fuzz.ConsumeIntegral<std::uint8_t>();
    const bool all_later = fuzz.ConsumeBool();
    {
        const memory_file file(make_archive(fuzz, form, bytes(data, data + size)));
        switch (way) {
        case 0:
            read_with_failing_memory(file, n, all_later);
            break;
        case 1:
            read_with_failing_reads(file, n, all_later);
            break;
        case 2:
            read_in_pieces(file, static_cast<std::size_t>(n), 2 + n % 5);
            break;
        case 3:
            read_while_it_shrinks(file, static_cast<std::size_t>(n) * 8);
            break;
        default:
            compare(file);
        }
    }
    require(heap.live() == 0);
    return 0;
}
