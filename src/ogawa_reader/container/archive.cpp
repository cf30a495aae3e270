// SPDX-License-Identifier: MIT
// Opens an archive, describes it and releases its memory; the names of schemas.
#include "qel_unit.h"

#include "common/file.h"
#include "common/fixed_text.h"
#include "common/heap.h"
#include "common/text.h"
#include "ogawa_reader/container/container.h"

#include <cstdio>
#include <cstring>

namespace qel {
namespace {

template <class T>
bool read_next(std::FILE *stream, T &value) {
    return std::fread(&value, 1, sizeof value, stream) == sizeof value;
}

/// Reads the header's 16 bytes from the stream's start.
qel_status check_header(std::FILE *stream, std::uint8_t (&version)[2]) {
    char letters[sizeof ogawa::magic];
    if (!read_next(stream, letters)) return OGAWA_OPEN_CANNOT_OPEN;
    if (std::memcmp(letters, ogawa::magic, sizeof letters) != 0) return OGAWA_OPEN_NOT_AN_ARCHIVE;

    std::uint8_t flag;
    if (!read_next(stream, flag) || flag != ogawa::finished) return OGAWA_OPEN_UNFINISHED;
    if (!read_next(stream, version)) return OGAWA_OPEN_NO_VERSION;

    std::uint64_t root; // not kept: every reader reads it again
    return read_next(stream, root) ? QEL_OK : OGAWA_OPEN_NO_ROOT;
}

void free_mesh(ogawa_polymesh *mesh) {
    ogawa_free_polymesh(mesh);
    std::free(mesh);
}

/// Where the release of a tree of objects continues after one object. It is stored in that object's path, which is not
/// read any more, so that a tree of any depth takes neither stack nor memory.
struct release_place {
    ogawa_object *parent; // null at the top
    std::uint32_t next_child;
};

release_place place_of(const ogawa_object &object) {
    release_place place;
    static_assert(sizeof place <= sizeof object.path);
    std::memcpy(&place, object.path, sizeof place);
    return place;
}

void set_place(ogawa_object &object, const release_place &place) {
    std::memcpy(object.path, &place, sizeof place);
}

/// Releases what an object owns, except its children.
void release_contents(const ogawa_object &object) {
    free_mesh(object.polymesh);
    if (object.aux_record == nullptr) return;
    std::free(object.aux_record->aux_buffer);
    std::free(object.aux_record);
}

struct schema_name {
    const char *word;
    ogawa_schema schema;
};

/// If a text contains two of the words, the one earlier in this list is used.
constexpr schema_name schema_names[] = {
    {"PolyMesh", OGAWA_SCHEMA_POLYMESH}, {"SubD", OGAWA_SCHEMA_SUBD},     {"Points", OGAWA_SCHEMA_POINTS},
    {"Xform", OGAWA_SCHEMA_XFORM},       {"Curves", OGAWA_SCHEMA_CURVES}, {"Camera", OGAWA_SCHEMA_CAMERA},
};

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

int ogawa_open(const char *path, ogawa_archive *archive) {
    if (path == nullptr || archive == nullptr) return OGAWA_OPEN_CANNOT_OPEN;
    std::memset(archive, 0, sizeof *archive);
    copy_text(archive->path, path);

    file_stream stream(std::fopen(path, "rb"));
    if (!stream) return OGAWA_OPEN_CANNOT_OPEN;
    const qel_status status = check_header(stream.get(), archive->version);
    if (status != QEL_OK) return status;

    stream_length(stream.get()); // leaves the stream at its end: every reader seeks first
    archive->file = stream.release();
    archive->time_start = 0.0; // time samplings are not read; these three values are fixed
    archive->time_end = 1.0;
    archive->fps = 24.0;
    return QEL_OK;
}

void ogawa_get_info(const ogawa_archive *archive, char *buffer, int size) {
    if (buffer == nullptr || size <= 0 || archive == nullptr) return;
    static_assert(sizeof archive->path == 1024, "the precision below keeps to the field");
    std::snprintf(buffer, static_cast<std::size_t>(size),
                  "Ogawa Archive\n=============\nPath: %.1024s\nVersion: %d.%d\nObjects: %u\n"
                  "PolyMeshes: %u\nTime Range: %s - %s sec\nFPS: %s",
                  archive->path, archive->version[0], archive->version[1], archive->object_count,
                  archive->polymesh_count, fixed(archive->time_start, 3).text, fixed(archive->time_end, 3).text,
                  fixed(archive->fps, 2).text);
}

void ogawa_close(ogawa_archive *archive) {
    if (archive == nullptr) return;
    if (archive->file != nullptr) std::fclose(archive->file);
    if (archive->polymeshes != nullptr) {
        for (std::uint32_t i = 0; i < archive->polymesh_count; ++i)
            free_mesh(archive->polymeshes[i]);
        std::free(archive->polymeshes);
    }
    if (archive->objects != nullptr) {
        for (std::uint32_t i = 0; i < archive->object_count; ++i)
            ogawa_free_object(archive->objects[i]);
        std::free(archive->objects);
    }
    std::memset(archive, 0, sizeof *archive);
}

void ogawa_free_object(ogawa_object *object) {
    const auto enter = [](ogawa_object *entered, ogawa_object *parent) {
        release_contents(*entered);
        set_place(*entered, {parent, 0});
        return entered;
    };
    if (object != nullptr) enter(object, nullptr);
    while (object != nullptr) {
        release_place place = place_of(*object);
        if (object->children != nullptr && place.next_child < object->child_count) {
            ogawa_object *const child = object->children[place.next_child++];
            set_place(*object, place);
            if (child != nullptr) object = enter(child, object);
        } else {
            std::free(object->children);
            std::free(object);
            object = place.parent;
        }
    }
}

ogawa_schema ogawa_schema_from_string(const char *text) {
    if (text == nullptr) return OGAWA_SCHEMA_UNKNOWN;
    for (const schema_name &name : schema_names) {
        if (std::strstr(text, name.word) != nullptr) return name.schema;
    }
    return OGAWA_SCHEMA_UNKNOWN;
}

const char *ogawa_schema_to_string(ogawa_schema schema) {
    for (const schema_name &name : schema_names) {
        if (name.schema == schema) return name.word;
    }
    return "Unknown"; // values 6 and 7 have no name either
}

} // extern "C"
