#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <string>
#include <vector>

#include "bex/stream/IndexedPackage.hpp"
#include "bex/stream/PackageReader.hpp"
#include "bex/stream/Verify.hpp"
#include "output/Context.hpp"

namespace bex::tool {

/// The options of a reader as the command line set them.
stream::ReadOptions readOptions(const Context& context);

/// Whether the package is named by a URL of the scheme http or https.
bool isUrl(const std::string& package);

/// The package as messages name it: of a URL, without user and password.
std::string nameInMessages(const std::string& path);

/// Refuses "-" for a verb that has to read a package more than once. Throws UsageError.
void requireFile(const std::string& path);

/// Opens a package by path; "-" is standard input.
stream::PackageReader openPackage(const std::string& path, const stream::ReadOptions& options);

/// Opens a package by path or URL to read it from front to back: of a URL, all of it by one request.
stream::PackageReader openWhole(const std::string& package, const stream::ReadOptions& options, Context& context);

/// Opens a package by path or URL for its fields. Of a URL no more is fetched than what leads to them: what stands
/// after them is not checked.
stream::PackageReader openFields(const std::string& package, stream::ReadOptions options, Context& context);

/// Opens a package by path or URL for its members and control archive: of a URL, only the front is fetched.
stream::PackageReader openFront(const std::string& package, const stream::ReadOptions& options, Context& context);

/// The bytes of a package, or of any file, by path or URL, to be read once. Throws StreamError (`inputOutput`) for
/// what is not a regular file.
std::unique_ptr<stream::ForwardSource> openBytes(const std::string& package, Context& context);

/// Verifies a package by path or URL; "-" is standard input.
std::vector<stream::Finding> verifyPackage(const std::string& package, const stream::ReadOptions& options,
                                           Context& context);

/// Opens a package by path or URL to read it by its index. Throws UsageError for "-".
stream::IndexedPackage openIndexed(const std::string& package, const stream::ReadOptions& options,
                                   Context& context);

/// The option --index of verbs that can believe the index of a package.
CLI::Option* addIndexOption(CLI::App& verb, bool& index);

}  // namespace bex::tool
