#include "verbs/Input.hpp"

#include <unistd.h>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"

namespace bex::tool {

stream::ReadOptions readOptions(const Context& context) {
    stream::ReadOptions options;
    options.limits = context.limits;
    options.threads = context.threads;
    return options;
}

std::string nameInMessages(const std::string& path) {
    if (path == "-") {
        return "standard input";
    }
    return stream::escapeForDisplay(path);
}

void requireFile(const std::string& path) {
    if (path == "-") {
        throw UsageError("-: this verb takes files, not standard input");
    }
}

stream::PackageReader openPackage(const std::string& path, const stream::ReadOptions& options) {
    if (path == "-") {
        return {STDIN_FILENO, nameInMessages(path), options};
    }
    return stream::PackageReader(path, options);
}

}  // namespace bex::tool
