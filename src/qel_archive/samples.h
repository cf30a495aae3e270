// SPDX-License-Identifier: MIT
// The stored samples of scalars and arrays.
#pragma once

#include "qel_archive/container.h"
#include "qel_archive/properties.h"

#include <cstdint>

namespace qel::archives {

/// Where one sample stands.
struct stored_sample {
    extent values;     // without the digest
    extent dimensions; // size 0 where there is one, as long as the values
};

/// Finds a sample, which is below the number of samples. How many values there are is not looked at.
template <class Source>
status locate_sample(Source &source, const property_header &header, std::uint64_t place, std::uint64_t sample,
                     stored_sample &found);

/// Finds a sample and checks that its values are as many as the property's header and its dimensions say.
status find_sample(const random_access_file &file, const property_header &header, std::uint64_t place,
                   std::uint64_t sample, stored_sample &found);

extern template status locate_sample(const random_access_file &source, const property_header &header,
                                     std::uint64_t place, std::uint64_t sample, stored_sample &found);
extern template status locate_sample(read_ahead &source, const property_header &header, std::uint64_t place,
                                     std::uint64_t sample, stored_sample &found);

} // namespace qel::archives
