// SPDX-License-Identifier: MIT
// The page is one text: its frame, style and script, and the model as base64 arrays in a block of JSON.
#include "commands.h"
#include "output.h"
#include "page.h"
#include "text.h"
#include "view_model.h"

#include <cmath>
#include <filesystem>

namespace tool {

namespace {

std::string base64(const void *bytes, std::size_t size) {
    static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto *in = static_cast<const unsigned char *>(bytes);
    std::string text;
    text.reserve((size + 2) / 3 * 4);
    for (std::size_t i = 0; i < size; i += 3) {
        const std::size_t left = size - i;
        const std::uint32_t group = std::uint32_t{in[i]} << 16 |
                                    (left > 1 ? std::uint32_t{in[i + 1]} << 8 : 0u) |
                                    (left > 2 ? std::uint32_t{in[i + 2]} : 0u);
        text += digits[group >> 18];
        text += digits[group >> 12 & 63];
        text += left > 1 ? digits[group >> 6 & 63] : '=';
        text += left > 2 ? digits[group & 63] : '=';
    }
    return text;
}

/// For a block of JSON inside a page: no bracket can end the block.
std::string json_text(const std::string &value) {
    std::string text = "\"";
    for (const char c : printable(value))
        text += c == '"' || c == '\\' || c == '<' || c == '>' || c == '&'
                    ? format("\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)))
                    : std::string(1, c);
    return text + "\"";
}

template <class T>
std::string array_text(const char *name, const std::vector<T> &values) {
    return std::string(",\n\"") + name + "\": \"" + base64(values.data(), values.size() * sizeof(T)) + "\"";
}

template <class T, class Get>
std::string gather(const char *name, const std::vector<qel_alembic_vertex> &vertices, Get get) {
    std::vector<T> values;
    values.reserve(vertices.size());
    for (const qel_alembic_vertex &vertex : vertices)
        values.push_back(get(vertex));
    return array_text(name, values);
}

/// Normals as 16-bit fractions: a third of their size, and no eye sees the difference.
std::string normals_text(const std::vector<float> &normals) {
    std::vector<std::int16_t> packed;
    packed.reserve(normals.size());
    for (const float component : normals)
        packed.push_back(static_cast<std::int16_t>(std::lround(component * 32767.0f)));
    return array_text("normals", packed);
}

/// A token made from vertex i has the text of i as its identity and the code of its cell as its key; only what
/// differs is stored.
bool has_usual_tokens(const view_model &model) {
    for (const view_model::part &part : model.parts)
        for (std::uint32_t i = 0; i < part.count; ++i) {
            const qel_alembic_token &token = model.tokens[part.first + i];
            const qel_alembic_vertex &vertex = model.vertices[part.first + i];
            const std::string usual = format("%08X", i & 0xFFFFFFu);
            if (std::memcmp(token.hex_id, usual.data(), 8) != 0) return false;
            if (token.morton !=
                qel_matrix_48_morton_encode(vertex.matrix_x, vertex.matrix_y, vertex.matrix_z))
                return false;
        }
    return true;
}

std::string token_arrays(const view_model &model) {
    std::vector<std::uint8_t> layers;
    layers.reserve(model.tokens.size());
    for (const qel_alembic_token &token : model.tokens)
        layers.push_back(token.layer);
    std::string text = array_text("layers", layers);
    if (has_usual_tokens(model)) return text;
    std::vector<std::uint64_t> keys;
    std::vector<char> ids;
    for (const qel_alembic_token &token : model.tokens) {
        keys.push_back(token.morton);
        ids.insert(ids.end(), token.hex_id, token.hex_id + 8);
    }
    return text + array_text("keys", keys) + array_text("identities", ids);
}

std::string data_text(const view_model &model, const std::string &title) {
    std::string text = "{\"title\": " + json_text(title) + ", \"parts\": [";
    for (const view_model::part &part : model.parts)
        text += (part.first > 0 ? ", " : "") + std::string("{\"name\": ") + json_text(part.name) +
                ", \"first\": " + std::to_string(part.first) + ", \"count\": " + std::to_string(part.count) +
                "}";
    text += "]";
    text += array_text("positions", model.positions) + normals_text(model.normals) +
            array_text("triangles", model.triangles);
    std::vector<std::uint8_t> cells;
    cells.reserve(model.positions.size());
    for (const qel_alembic_vertex &vertex : model.vertices)
        cells.insert(cells.end(), {vertex.matrix_x, vertex.matrix_y, vertex.matrix_z});
    text += array_text("cells", cells);
    text +=
        gather<std::int8_t>("levels", model.vertices, [](const auto &vertex) { return vertex.k11_level; });
    text += gather<std::int8_t>("states", model.vertices, [](const auto &vertex) { return vertex.i_state; });
    text += gather<float>("norms", model.vertices, [](const auto &vertex) { return vertex.phi_norm; });
    return text + token_arrays(model) + "}";
}

std::string escaped(const std::string &text) {
    std::string html;
    for (const char c : printable(text))
        html += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : std::string(1, c);
    return html;
}

/// The frame with each @NAME@ in it replaced.
void write_page(std::FILE *out, const std::string &title, const std::string &data) {
    std::string_view rest = page_html;
    const auto put = [&](std::string_view text) { std::fwrite(text.data(), 1, text.size(), out); };
    for (;;) {
        const std::size_t start = rest.find('@');
        const std::size_t end = start == std::string_view::npos ? start : rest.find('@', start + 1);
        if (end == std::string_view::npos) break;
        const std::string_view name = rest.substr(start + 1, end - start - 1);
        put(rest.substr(0, start));
        put(name == "STYLE"    ? page_css
            : name == "SCRIPT" ? page_js
            : name == "DATA"   ? std::string_view(data)
                               : std::string_view(escaped(title)));
        rest = rest.substr(end + 1);
    }
    put(rest);
}

} // namespace

int view(const std::string &name, const std::string &page) {
    const input_file file(name);
    if (page != "-") file.must_not_be_at(page);
    const view_model model = load_view(file);
    const std::string title = std::filesystem::path(file.name()).filename().string();
    const std::string data = data_text(model, title);
    if (page == "-") {
        write_page(stdout, title, data);
        return 0;
    }
    output_file out(page);
    write_page(out.stream(), title, data);
    out.finish();
    return 0;
}

} // namespace tool
