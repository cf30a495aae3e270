// SPDX-License-Identifier: MIT
#include "ogawa_reader/mesh/payload_kind.h"

#include "common/bytes.h"
#include "common/file.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace qel {
namespace {

constexpr std::uint64_t min_triples_size = 10'001;
constexpr std::uint64_t min_faces_size = 1001;
constexpr std::uint64_t max_face_counts_size = 499'999;
constexpr float min_position = 1.5f;       // the largest of the first six floats is above it
constexpr float max_normal = 1.1f;         // the largest of the first six floats of unit vectors, with a margin
constexpr float max_coordinate = 50000.0f; // in magnitude

/// The first twelve words of a payload, each readable as a float or an unsigned integer.
class payload_head {
  public:
    explicit payload_head(const std::uint8_t *bytes) { std::memcpy(bytes_, bytes, size); }

    /// Replaces the first bytes; those beyond `count` stay.
    void replace(const std::uint8_t *bytes, std::size_t count) { std::memcpy(bytes_, bytes, std::min(count, size)); }

    float real(std::size_t i) const { return load<float>(bytes_ + i * 4); }
    std::uint32_t word(std::size_t i) const { return load<std::uint32_t>(bytes_ + i * 4); }

    /// False for a NaN and for magnitudes above max_coordinate.
    bool is_coordinate(std::size_t i) const { return std::fabs(real(i)) <= max_coordinate; }

    bool are_coordinates(std::size_t first, std::size_t end) const {
        for (std::size_t i = first; i < end; ++i) {
            if (!is_coordinate(i)) return false;
        }
        return true;
    }

    /// The largest magnitude of six coordinates.
    float largest_of_six(std::size_t first) const {
        float largest = 0.0f;
        for (std::size_t i = first; i < first + 6; ++i)
            largest = std::max(largest, std::fabs(real(i)));
        return largest;
    }

    static constexpr std::size_t size = 48;

  private:
    std::uint8_t bytes_[size];
};

/// A payload begins with a digest if at least two of its first four words are not coordinates, or if its size without a
/// digest is a whole number of triples and positions follow the digest.
bool begins_with_digest(const payload_head &head, std::uint64_t size) {
    int noise_words = 0;
    for (std::size_t i = 0; i < 4; ++i)
        noise_words += !head.is_coordinate(i);
    if (noise_words >= 2) return true;
    const std::uint64_t rest = size - ogawa::digest_size;
    return rest % ogawa::triple_size == 0 && rest >= min_triples_size && head.are_coordinates(4, 10) &&
           head.largest_of_six(4) > min_position;
}

bool like_face_counts(const payload_head &head) {
    int in_range = 0;
    for (std::size_t i = 0; i < 10; ++i)
        in_range += head.word(i) >= 3 && head.word(i) <= 8;
    return in_range >= 8;
}

bool like_face_indices(const payload_head &head) {
    int changes = 0;
    for (std::size_t i = 0; i < 10; ++i) {
        if (head.word(i) > 99'999) return false;
        if (i > 0) changes += head.word(i) != head.word(i - 1);
    }
    return changes >= 5;
}

void weigh_triples(const payload_head &head, const ogawa::extent &payload, mesh_extents &best) {
    if (payload.size % ogawa::triple_size != 0 || !head.are_coordinates(0, 6)) return;
    const float largest = head.largest_of_six(0);
    if (largest > min_position)
        keep_larger(best.positions, payload);
    else if (largest <= max_normal)
        keep_larger(best.normals, payload);
    // Between the two limits the payload is neither.
}

void weigh_faces(const payload_head &head, const ogawa::extent &payload, mesh_extents &best) {
    if (payload.size < min_faces_size || payload.size % 4 != 0) return;
    if (payload.size <= max_face_counts_size && like_face_counts(head)) keep_larger(best.face_counts, payload);
    if (payload.size >= min_triples_size && like_face_indices(head)) keep_larger(best.face_indices, payload);
}

} // namespace

/// The first 48 bytes, or those after a digest, decide. If the file ends before the last of them, the missing words
/// keep the values read with the digest.
void classify_payload(std::FILE *stream, const ogawa::extent &payload, mesh_extents &best) {
    std::uint8_t bytes[payload_head::size + ogawa::digest_size];
    const std::size_t held = read_at(stream, payload.at, bytes, sizeof bytes);
    if (held < payload_head::size) return;
    payload_head head(bytes);
    ogawa::extent values = payload;
    if (begins_with_digest(head, payload.size)) {
        values = {payload.at + ogawa::digest_size, payload.size - ogawa::digest_size};
        head.replace(bytes + ogawa::digest_size, held - std::size_t{ogawa::digest_size});
    }
    if (values.size >= min_triples_size) weigh_triples(head, values, best);
    weigh_faces(head, values, best);
}

} // namespace qel
