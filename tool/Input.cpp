#include "Input.hpp"

#include <unistd.h>

namespace bex::tool {

stream::ReadOptions readOptions(const Context& context) {
    stream::ReadOptions options;
    options.limits = context.limits;
    options.threads = context.threads;
    return options;
}

stream::PackageReader openPackage(const std::string& path, const stream::ReadOptions& options) {
    if (path == "-") {
        return {STDIN_FILENO, "standard input", options};
    }
    return stream::PackageReader(path, options);
}

}  // namespace bex::tool
