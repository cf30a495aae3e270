// SPDX-License-Identifier: MIT
#include "view/page_pack.h"

#include "terminal/text.h"

#include <algorithm>
#include <cmath>

namespace tool {

namespace {

using box = std::array<float, 6>;

std::uint64_t size_of(const std::vector<page_block> &blocks) {
    std::uint64_t size = 0;
    for (const page_block &block : blocks)
        size += base64_size(block.bytes.size()) + 200; // 200 for its line in the header
    return size;
}

/// Quantizes to 65,535 steps along each edge of a box; numbers that are not finite become 0.
void quantize(const std::vector<float> &positions, const box &within, std::vector<std::uint16_t> &out) {
    for (std::size_t i = 0; i < positions.size(); ++i) {
        const double low = within[i % 3], span = static_cast<double>(within[i % 3 + 3]) - low;
        const double place = span > 0 ? (static_cast<double>(positions[i]) - low) / span : 0;
        out.push_back(place > 0 ? static_cast<std::uint16_t>(std::lround(std::min(place, 1.0) * 65535.0)) : 0);
    }
}

/// Reads the positions at a frame of the vertices that sampling has kept.
void read_frame(const page_model &model, std::size_t number, std::size_t frame, std::vector<float> &positions) {
    const page_mesh &mesh = model.meshes[number];
    model.positions_at(number, frame, positions);
    if (mesh.numbers.empty()) return;
    for (std::size_t i = 0; i < mesh.numbers.size(); ++i)
        std::copy_n(positions.data() + std::size_t{mesh.numbers[i]} * 3, 3, positions.data() + i * 3);
    positions.resize(mesh.numbers.size() * 3);
}

/// For each mesh the box of its positions at all frames.
std::vector<box> boxes_over_time(const page_model &model) {
    std::vector<box> boxes;
    std::vector<float> positions;
    for (std::size_t i = 0; i < model.meshes.size(); ++i) {
        boxes.push_back(box_of(model.meshes[i].positions));
        for (std::size_t frame = 1; model.meshes[i].moves && frame < model.times.size(); ++frame) {
            read_frame(model, i, frame, positions);
            const box now = box_of(positions);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                boxes[i][axis] = std::min(boxes[i][axis], now[axis]);
                boxes[i][axis + 3] = std::max(boxes[i][axis + 3], now[axis + 3]);
            }
        }
    }
    return boxes;
}

/// The bounds of the finite texture coordinates; all zero if there is none.
std::array<float, 4> span_of(const std::vector<float> &uvs) {
    std::array<float, 4> span{};
    bool any = false;
    for (std::size_t i = 0; i + 1 < uvs.size(); i += 2) {
        if (!std::isfinite(uvs[i]) || !std::isfinite(uvs[i + 1])) continue;
        for (std::size_t axis = 0; axis < 2; ++axis) {
            span[axis] = any ? std::min(span[axis], uvs[i + axis]) : uvs[i + axis];
            span[axis + 2] = any ? std::max(span[axis + 2], uvs[i + axis]) : uvs[i + axis];
        }
        any = true;
    }
    return span;
}

void add_uvs(std::vector<std::uint16_t> &out, const std::vector<float> &uvs) {
    const std::array<float, 4> span = span_of(uvs);
    for (std::size_t i = 0; i < uvs.size(); ++i) {
        const double low = span[i % 2], size = static_cast<double>(span[i % 2 + 2]) - low;
        const double place = size > 0 ? (static_cast<double>(uvs[i]) - low) / size : 0;
        out.push_back(place > 0 ? static_cast<std::uint16_t>(std::lround(std::min(place, 1.0) * 65535.0)) : 0);
    }
}

void add_normals(std::vector<std::int16_t> &out, const std::vector<float> &normals) {
    for (const float part : normals)
        out.push_back(std::isfinite(part)
                          ? static_cast<std::int16_t>(std::lround(std::clamp(part, -1.0f, 1.0f) * 32767.0f))
                          : std::int16_t{0});
}

template <class T, class Record, class Get>
void add_records(std::vector<page_block> &blocks, const char *name, const page_model &model,
                 std::vector<Record> page_mesh::*records, Get get) {
    std::vector<T> values;
    for (const page_mesh &mesh : model.meshes)
        for (const Record &record : mesh.*records)
            values.push_back(get(record));
    blocks.push_back(packed_bytes(name, sizeof(T), values.data(), values.size() * sizeof(T)));
}

struct identity {
    char text[8];
};

/// The tokens of a scene where they differ from what the library computes from the positions.
void add_tokens(std::vector<page_block> &blocks, const page_model &model) {
    const auto vertices = &page_mesh::vertices;
    const auto tokens = &page_mesh::tokens;
    add_records<std::int8_t>(blocks, "levels", model, vertices, [](const auto &v) { return v.k11_level; });
    add_records<std::int8_t>(blocks, "states", model, vertices, [](const auto &v) { return v.i_state; });
    add_records<float>(blocks, "norms", model, vertices, [](const auto &v) { return v.phi_norm; });
    add_records<std::uint8_t>(blocks, "layers", model, tokens, [](const auto &t) { return t.layer; });
    add_records<std::uint64_t>(blocks, "keys", model, tokens, [](const auto &t) { return t.morton; });
    add_records<std::uint64_t>(blocks, "payloads", model, tokens, [](const auto &t) { return t.payload; });
    add_records<identity>(blocks, "identities", model, tokens, [](const auto &t) {
        identity id{};
        std::copy_n(t.hex_id, 8, id.text);
        return id;
    });
}

/// The arrays of the first frame.
std::vector<page_block> pack_still(const page_model &model, const std::vector<box> &boxes) {
    std::vector<std::uint16_t> positions, uvs;
    std::vector<std::uint8_t> cells, continues;
    std::vector<std::uint32_t> triangles, numbers;
    std::vector<std::int16_t> normals;
    bool polygons = false;
    std::uint32_t first = 0;
    for (std::size_t i = 0; i < model.meshes.size(); ++i) {
        const page_mesh &mesh = model.meshes[i];
        quantize(mesh.positions, boxes[i], positions);
        cells.insert(cells.end(), mesh.cells.begin(), mesh.cells.end());
        for (const std::uint32_t corner : mesh.triangles)
            triangles.push_back(first + corner);
        std::vector<std::uint8_t> joined = mesh.continues;
        joined.resize(mesh.triangles.size() / 3);
        continues.insert(continues.end(), joined.begin(), joined.end());
        polygons = polygons || !mesh.continues.empty();
        add_normals(normals, mesh.normals);
        add_uvs(uvs, mesh.uvs);
        numbers.insert(numbers.end(), mesh.numbers.begin(), mesh.numbers.end());
        first += static_cast<std::uint32_t>(mesh.vertex_count());
    }
    std::vector<page_block> blocks{packed("positions", 3, positions), packed("cells", 3, cells),
                                   packed("triangles", 3, triangles)};
    if (polygons) blocks.push_back(packed("continues", 1, continues));
    if (!normals.empty()) blocks.push_back(packed("normals", 3, normals));
    if (!uvs.empty()) blocks.push_back(packed("uvs", 2, uvs));
    if (!numbers.empty()) blocks.push_back(packed("numbers", 1, numbers));
    if (!model.meshes.empty() && !model.meshes[0].tokens.empty()) add_tokens(blocks, model);
    return blocks;
}

/// The moving meshes at one frame. The last frame is kept because only differences are packed.
struct moment {
    std::vector<std::uint16_t> positions;
    std::vector<std::uint8_t> cells;
};

template <class T>
std::vector<T> difference(const std::vector<T> &now, const std::vector<T> &before) {
    std::vector<T> out(now.size());
    for (std::size_t i = 0; i < now.size(); ++i)
        out[i] = static_cast<T>(now[i] - before[i]);
    return out;
}

moment at_first(const page_model &model, const std::vector<box> &boxes) {
    moment first;
    for (std::size_t i = 0; i < model.meshes.size(); ++i) {
        const page_mesh &mesh = model.meshes[i];
        if (!mesh.moves) continue;
        quantize(mesh.positions, boxes[i], first.positions);
        first.cells.insert(first.cells.end(), mesh.cells.begin(), mesh.cells.end());
    }
    return first;
}

/// The cells are those in the boxes of the frame itself, as the library computes them.
moment at_frame(const page_model &model, const std::vector<box> &boxes, std::size_t frame) {
    moment now;
    std::vector<float> positions;
    for (std::size_t i = 0; i < model.meshes.size(); ++i) {
        if (!model.meshes[i].moves) continue;
        model.positions_at(i, frame, positions);
        const box own = box_of(positions);
        read_frame(model, i, frame, positions);
        quantize(positions, boxes[i], now.positions);
        const std::vector<std::uint8_t> cells = cells_of(positions, own);
        now.cells.insert(now.cells.end(), cells.begin(), cells.end());
    }
    return now;
}

/// Adds every `step`th frame until one does not fit; returns the number of added frames.
std::size_t pack_frames(const page_model &model, const std::vector<box> &boxes, std::size_t step, std::uint64_t room,
                        std::vector<page_block> &blocks) {
    moment before = at_first(model, boxes);
    std::size_t done = 0;
    for (std::size_t frame = step; frame < model.times.size(); frame += step) {
        moment now = at_frame(model, boxes, frame);
        const std::string number = std::to_string(done + 1);
        std::vector<page_block> added{packed("positions " + number, 3, difference(now.positions, before.positions)),
                                      packed("cells " + number, 3, difference(now.cells, before.cells))};
        const std::uint64_t size = size_of(added);
        if (size > room) return done;
        room -= size;
        std::move(added.begin(), added.end(), std::back_inserter(blocks));
        before = std::move(now);
        ++done;
    }
    return done;
}

std::string grouped(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t at = text.size(); at > 3; at -= 3)
        text.insert(at - 3, ",");
    return text;
}

/// Leaves out frames until the rest fits, and drops the times of omitted frames.
void fit_frames(page_model &model, const std::vector<box> &boxes, std::uint64_t room, std::vector<page_block> &blocks) {
    const std::size_t all = model.times.size();
    if (all < 2) return;
    std::size_t step = 1;
    std::vector<page_block> frames;
    for (;;) {
        frames.clear();
        const std::size_t wanted = (all - 1) / step, done = pack_frames(model, boxes, step, room, frames);
        if (done == wanted) break;
        step = std::max(step + 1, static_cast<std::size_t>(std::ceil(static_cast<double>(step * wanted) /
                                                                     (static_cast<double>(done) + 0.5))));
    }
    std::move(frames.begin(), frames.end(), std::back_inserter(blocks));
    if (step == 1) return;
    std::vector<double> times;
    for (std::size_t frame = 0; frame < all; frame += step)
        times.push_back(model.times[frame]);
    model.times.swap(times);
    for (page_mesh &mesh : model.meshes) {
        mesh.shown_from = (mesh.shown_from + step - 1) / step;
        mesh.shown_to = (mesh.shown_to + step - 1) / step;
    }
    model.notes.push_back(format("Shows %s of %s frames, so that the page stays within its size.",
                                 grouped(model.times.size()).c_str(), grouped(all).c_str()));
}

/// Samples points until the first frame fits.
std::vector<page_block> fit_still(page_model &model, const std::vector<box> &boxes, std::uint64_t room) {
    std::vector<page_block> blocks = pack_still(model, boxes);
    std::uint64_t all = 0, left = 0;
    for (const page_mesh &mesh : model.meshes)
        all += mesh.vertex_count();
    double factor = 1;
    for (int attempt = 0; attempt < 8 && size_of(blocks) > room; ++attempt) {
        factor = std::max(1.1, 1.05 * static_cast<double>(size_of(blocks)) / static_cast<double>(room));
        sample_points(model, factor);
        blocks = pack_still(model, boxes);
    }
    for (const page_mesh &mesh : model.meshes)
        left += mesh.vertex_count();
    if (left < all)
        model.notes.push_back(format("Shows %s of %s vertices, so that the page stays within its size.",
                                     grouped(left).c_str(), grouped(all).c_str()));
    return blocks;
}

/// A JSON string inside HTML: no bracket can end the block.
std::string json_text(const std::string &value) {
    std::string text = "\"";
    for (const char c : printable(value))
        text += c == '"' || c == '\\' || c == '<' || c == '>' || c == '&'
                    ? format("\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)))
                    : std::string(1, c);
    return text + "\"";
}

template <class List, class Write>
std::string json_list(const List &list, Write write) {
    std::string text = "[";
    for (const auto &entry : list)
        text += (text.size() > 1 ? ",\n " : "") + write(entry);
    return text + "]";
}

std::string numbers_text(const float *numbers, std::size_t count) {
    std::string text = "[";
    for (std::size_t i = 0; i < count; ++i)
        text += (i > 0 ? "," : "") + format("%.9g", static_cast<double>(numbers[i]));
    return text + "]";
}

std::string mesh_text(const page_mesh &mesh, const box &within) {
    std::string text = format("{\"object\":%u,\"vertices\":%zu,\"triangles\":%zu,\"layer\":%u,\"low\":", mesh.object,
                              mesh.vertex_count(), mesh.triangles.size() / 3, unsigned{mesh.layer});
    text += numbers_text(within.data(), 3) + ",\"high\":" + numbers_text(within.data() + 3, 3);
    if (mesh.moves) text += ",\"moves\":true";
    if (mesh.named > 0) text += ",\"named\":" + std::to_string(mesh.named);
    if (mesh.shown_to > 0) text += format(",\"frames\":[%zu,%zu]", mesh.shown_from, mesh.shown_to);
    if (!mesh.normals.empty()) text += ",\"normals\":true";
    if (!mesh.uvs.empty()) text += ",\"uvs\":" + numbers_text(span_of(mesh.uvs).data(), 4);
    if (!mesh.numbers.empty()) text += ",\"of\":" + std::to_string(mesh.original_count);
    return text + "}";
}

std::string header_text(const page_model &model, const std::vector<box> &boxes, const std::vector<page_block> &blocks) {
    std::string text = "{\"format\":2,\"title\":" + json_text(model.title) + ",\"kind\":" + json_text(model.kind);
    text += format(",\"rate\":%.9g,\"times\":", model.rate) +
            json_list(model.times, [](double time) { return format("%.9g", time); });
    text += ",\"notes\":" + json_list(model.notes, json_text);
    text += ",\n\"objects\":" + json_list(model.objects, [](const page_object &object) {
                return "{\"name\":" + json_text(object.name) + ",\"parent\":" + std::to_string(object.parent) +
                       ",\"kind\":" + json_text(object.kind) + "}";
            });
    std::size_t number = 0;
    text += ",\n\"meshes\":" +
            json_list(model.meshes, [&](const page_mesh &mesh) { return mesh_text(mesh, boxes[number++]); });
    return text + ",\n\"blocks\":" +
           json_list(blocks,
                     [](const page_block &block) {
                         return format("{\"name\":\"%s\",\"width\":%u,\"stride\":%u,\"count\":%llu,"
                                       "\"deflated\":%s,\"bytes\":%zu}",
                                       block.name.c_str(), block.width, block.stride,
                                       static_cast<unsigned long long>(block.count), block.deflated ? "true" : "false",
                                       block.bytes.size());
                     }) +
           "}";
}

} // namespace

packed_page pack_page(page_model &model, std::uint64_t room) {
    const std::vector<box> boxes = boxes_over_time(model);
    packed_page page;
    page.blocks = fit_still(model, boxes, room);
    const std::uint64_t taken = size_of(page.blocks);
    fit_frames(model, boxes, room > taken ? room - taken : 0, page.blocks);
    page.header = header_text(model, boxes, page.blocks);
    return page;
}

} // namespace tool
