#include "verbs/Input.hpp"

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "stream/base/Ascii.hpp"
#include "verbs/SharedLibrary.hpp"

namespace bex::tool {

namespace {

using remote::withoutUser;

/// Where curl(1) looks for the certificates to trust, too; "" for the system's.
std::string certificatesOfEnvironment() {
    for (const char* const name : {"CURL_CA_BUNDLE", "SSL_CERT_FILE"}) {
        const char* const path = std::getenv(name);
        if (path != nullptr && *path != '\0') {
            return path;
        }
    }
    return "";
}

/// The file behind the URL, opened once.
std::shared_ptr<remote::RemoteFile> remoteFile(const std::string& url, Context& context) {
    // One object for each URL, so that what was fetched once serves further readers of the same command.
    std::shared_ptr<remote::RemoteFile>& file = context.remoteFiles[url];
    if (!file) {
        context.remote.certificates = certificatesOfEnvironment();
        // Loaded at the first URL: a library of HTTP would slow the start of every command that reads files.
        functionOf<decltype(bexOpenUrl)>("libbexremote.so.1", "bexOpenUrl")(url, context.remote, file);
    }
    return file;
}

/// The bytes of a source from its begin on.
class FromBegin final : public stream::ForwardSource {
public:
    explicit FromBegin(std::shared_ptr<stream::Source> source) : source_(std::move(source)) {}

    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t count = source_->readAt(position_, buffer, size);
        position_ += count;
        return count;
    }

private:
    const std::shared_ptr<stream::Source> source_;
    std::uint64_t position_ = 0;
};

}  // namespace

/// Other schemes are names of files: a path may hold "://".
bool isUrl(const std::string& package) {
    const std::string_view scheme = std::string_view(package).substr(0, package.find("://"));
    return scheme.size() < package.size() &&
           (stream::equalIgnoringCase(scheme, "http") || stream::equalIgnoringCase(scheme, "https"));
}

stream::ReadOptions readOptions(const Context& context) {
    stream::ReadOptions options;
    options.limits = context.limits;
    options.threads = context.threads;
    return options;
}

/// Escaped, for messages alone: JSON has names as they were given.
std::string nameInMessages(const std::string& path) {
    if (path == "-") {
        return "standard input";
    }
    if (isUrl(path)) {
        return stream::escapeForDisplay(withoutUser(path));
    }
    return stream::escapeForDisplay(path);
}

void requireFile(const std::string& path) {
    if (path == "-") {
        throw UsageError("-: this verb reads files, not standard input");
    }
}

stream::PackageReader openPackage(const std::string& path, const stream::ReadOptions& options) {
    if (path == "-") {
        return {STDIN_FILENO, nameInMessages(path), options};
    }
    return stream::PackageReader(path, options);
}

stream::PackageReader openWhole(const std::string& package, const stream::ReadOptions& options, Context& context) {
    if (!isUrl(package)) {
        return openPackage(package, options);
    }
    // A password in the URL goes to the server alone: the reader's name for the package is in every message.
    return {remoteFile(package, context)->download(), withoutUser(package), options};
}

stream::PackageReader openFields(const std::string& package, stream::ReadOptions options, Context& context) {
    if (!isUrl(package)) {
        return openPackage(package, options);
    }
    // Read forward, since even the header of the data member may lie beyond a large control archive.
    options.controlFileOnly = true;
    return {std::make_unique<FromBegin>(remoteFile(package, context)), withoutUser(package), options};
}

stream::PackageReader openFront(const std::string& package, const stream::ReadOptions& options, Context& context) {
    if (!isUrl(package)) {
        return openPackage(package, options);
    }
    return {std::shared_ptr<stream::Source>(remoteFile(package, context)), withoutUser(package), options};
}

std::unique_ptr<stream::ForwardSource> openBytes(const std::string& package, Context& context) {
    if (isUrl(package)) {
        return remoteFile(package, context)->download();
    }
    return std::make_unique<FromBegin>(stream::Source::ofFile(package));
}

std::vector<stream::Finding> verifyPackage(const std::string& package, const stream::ReadOptions& options,
                                           Context& context) {
    if (package == "-") {
        return stream::verify(STDIN_FILENO, nameInMessages(package), options);
    }
    if (isUrl(package)) {
        return stream::verify(remoteFile(package, context)->download(), withoutUser(package), options);
    }
    return stream::verify(package, options);
}

stream::IndexedPackage openIndexed(const std::string& package, const stream::ReadOptions& options,
                                   Context& context) {
    if (package == "-") {
        throw UsageError("--index needs a file, not standard input");
    }
    if (isUrl(package)) {
        return {std::shared_ptr<stream::Source>(remoteFile(package, context)), withoutUser(package), options};
    }
    return stream::IndexedPackage(package, options);
}

CLI::Option* addIndexOption(CLI::App& verb, bool& index) {
    return verb.add_flag("--index", index, "Trust the package's index; do not read the payload");
}

}  // namespace bex::tool
