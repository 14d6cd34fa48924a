#pragma once

#include <CLI/App.hpp>
#include <functional>

#include "bex/stream/Compression.hpp"

namespace bex::tool {

/// Adds `--compression KIND` and `--level N`, with dpkg-deb's letters for them.
void addCompressionOptions(CLI::App& app, const std::function<void(stream::Compression)>& setKind,
                           const std::function<void(int)>& setLevel);

}  // namespace bex::tool
