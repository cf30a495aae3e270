// SPDX-License-Identifier: MIT
#include "view/page_block.h"

#include <stdexcept>
#include <type_traits>
#include <utility>
#ifdef QEL_WITH_ZLIB
#include <zlib.h>
#endif

namespace tool {

namespace {

#ifdef QEL_WITH_ZLIB
/// Compresses in one stream, with level 6 or, for speed, level 3 for large blocks.
std::string deflated(const std::string &plain) {
    z_stream stream{};
    if (deflateInit(&stream, plain.size() < (std::size_t{16} << 20) ? 6 : 3) != Z_OK) throw std::bad_alloc();
    std::string out;
    std::vector<char> room(std::size_t{1} << 18);
    std::size_t taken = 0;
    int status = Z_OK;
    while (status == Z_OK) {
        if (stream.avail_in == 0 && taken < plain.size()) { // zlib counts in 32 bits
            const std::size_t some = std::min(plain.size() - taken, std::size_t{1} << 30);
            stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(plain.data() + taken));
            stream.avail_in = static_cast<uInt>(some);
            taken += some;
        }
        stream.next_out = reinterpret_cast<Bytef *>(room.data());
        stream.avail_out = static_cast<uInt>(room.size());
        status = deflate(&stream, taken == plain.size() ? Z_FINISH : Z_NO_FLUSH);
        out.append(room.data(), room.size() - stream.avail_out);
    }
    deflateEnd(&stream);
    if (status != Z_STREAM_END) throw std::runtime_error("the page's arrays cannot be compressed");
    return out;
}
#endif

void compress(page_block &block) {
#ifdef QEL_WITH_ZLIB
    std::string smaller = deflated(block.bytes);
    if (smaller.size() >= block.bytes.size()) return;
    block.bytes = std::move(smaller);
    block.deflated = true;
#else
    (void)block;
#endif
}

} // namespace

template <class Number>
page_block packed(std::string name, unsigned stride, const std::vector<Number> &numbers) {
    using whole = std::make_unsigned_t<Number>;
    constexpr unsigned bits = sizeof(whole) * 8;
    page_block block{std::move(name), sizeof(whole), stride, numbers.size(), false, {}};
    block.bytes.resize(numbers.size() * sizeof(whole));
    std::size_t place = 0;
    for (unsigned part = 0; part < stride; ++part) {
        whole before = 0;
        for (std::size_t i = part; i < numbers.size(); i += stride, ++place) {
            const auto number = static_cast<whole>(numbers[i]);
            const auto step = static_cast<whole>(number - before);
            const auto sign = static_cast<whole>(step >> (bits - 1) != 0 ? ~whole{0} : 0);
            const auto folded = static_cast<whole>(static_cast<whole>(step << 1) ^ sign);
            for (unsigned byte = 0; byte < sizeof(whole); ++byte)
                block.bytes[byte * numbers.size() + place] = static_cast<char>(folded >> (8 * byte) & 0xFF);
            before = number;
        }
    }
    compress(block);
    return block;
}

template page_block packed(std::string, unsigned, const std::vector<std::uint8_t> &);
template page_block packed(std::string, unsigned, const std::vector<std::int16_t> &);
template page_block packed(std::string, unsigned, const std::vector<std::uint16_t> &);
template page_block packed(std::string, unsigned, const std::vector<std::uint32_t> &);

page_block packed_bytes(std::string name, unsigned width, const void *bytes, std::size_t size) {
    page_block block{std::move(name), width, 0, size / width, false, {}};
    block.bytes.assign(static_cast<const char *>(bytes), size);
    compress(block);
    return block;
}

std::string base64(const char *bytes, std::size_t size) {
    static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto *in = reinterpret_cast<const unsigned char *>(bytes);
    std::string text;
    text.reserve(base64_size(size));
    for (std::size_t i = 0; i < size; i += 3) {
        const std::size_t left = size - i;
        const std::uint32_t group = std::uint32_t{in[i]} << 16 | (left > 1 ? std::uint32_t{in[i + 1]} << 8 : 0u) |
                                    (left > 2 ? std::uint32_t{in[i + 2]} : 0u);
        text += digits[group >> 18];
        text += digits[group >> 12 & 63];
        text += left > 1 ? digits[group >> 6 & 63] : '=';
        text += left > 2 ? digits[group & 63] : '=';
    }
    return text;
}

} // namespace tool
