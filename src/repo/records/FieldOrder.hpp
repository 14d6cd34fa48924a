#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace bex::repo {

/// Where a field stands in a stanza, and how its name is spelled, as dpkg-scanpackages(1) does both.
struct FieldPlace {
    std::size_t rank;  ///< fields are in the order of rank, then of name
    std::string name;
};

/// `name` in any case.
FieldPlace placeOf(std::string_view name);

/// Whether an index says this of a package's file: Filename, Size and the digests.
bool isIndexField(std::string_view name);

/// The rank that Filename and its companions have: fields of a lower one are before them.
std::size_t rankOfFilename();

}  // namespace bex::repo
