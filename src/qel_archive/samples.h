// SPDX-License-Identifier: MIT
// The stored samples of scalars and arrays.
#pragma once

#include "qel_archive/container.h"
#include "qel_archive/properties.h"

#include <cstdint>

namespace qel::archives {

/// Where one sample is stored.
struct stored_sample {
    extent values = {};     // without the digest
    extent dimensions = {}; // of size 0 if the array has one dimension
};

/// Finds a sample of a property with samples; a number past the last one means the last one. The number of its values
/// is not checked.
template <class Source>
status locate_sample(Source &source, const property_header &header, std::uint64_t reference, std::uint64_t sample,
                     stored_sample &found);

/// Finds a sample and checks the number of its values against the property's header and the dimensions.
status find_sample(const random_access_file &file, const property_header &header, std::uint64_t reference,
                   std::uint64_t sample, stored_sample &found);

extern template status locate_sample(const random_access_file &source, const property_header &header,
                                     std::uint64_t reference, std::uint64_t sample, stored_sample &found);
extern template status locate_sample(read_ahead &source, const property_header &header, std::uint64_t reference,
                                     std::uint64_t sample, stored_sample &found);

} // namespace qel::archives
