#pragma once

#include <string>

#include "Shell.hpp"
#include "TemporaryDirectory.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "stream/system/Surroundings.hpp"
#include "stream/system/System.hpp"

namespace bex::test {

/// A writer whose control paragraph is sound.
stream::PackageWriter soundWriter(stream::System& system = stream::System::real());

/// Options with a time limit of 2001-09-09 01:46:40 UTC, so that listings are the same every day.
stream::WriteOptions datedOptions();

/// The package as bytes; its temporary files go to `folder`.
std::string written(const stream::PackageWriter& writer, const TemporaryDirectory& folder,
                    const stream::WriteOptions& options = datedOptions());

}  // namespace bex::test
