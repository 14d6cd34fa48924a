#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

#include "bex/buildfile/BuildFile.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

namespace {

struct InitArguments {
    std::string file = "nfpm.yaml";
};

/// A file that is there already is not replaced; one that cannot be written to its end is removed.
void writeNewFile(const std::string& path, const std::string& text) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        throw systemError(path, "make it", errno);
    }
    std::size_t written = 0;
    ssize_t count = 0;
    while (written < text.size() && count >= 0) {
        count = write(descriptor, text.data() + written, text.size() - written);
        written += static_cast<std::size_t>(count < 0 ? 0 : count);
    }
    const int writing = count < 0 ? errno : 0;
    const int closing = close(descriptor) != 0 ? errno : 0;
    if (writing != 0 || closing != 0) {
        unlink(path.c_str());
        throw systemError(path, "write", writing != 0 ? writing : closing);
    }
}

ExitStatus runInit(InitArguments& arguments, Context& context) {
    std::string text;
    functionOf<decltype(bexInitialBuildFile)>("libbexbuildfile.so.1", "bexInitialBuildFile")(".", text);
    if (arguments.file == "-") {
        context.console.out(text);
        return ExitStatus::done;
    }
    writeNewFile(arguments.file, text);
    if (context.json) {
        Json object = {{"schema", 1}};
        putText(object, "buildFile", arguments.file);
        context.console.out(jsonText(object));
    } else {
        context.console.out(arguments.file + "\n");
    }
    return ExitStatus::done;
}

}  // namespace

void addInit(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<InitArguments>();
    verb->add_option("FILE", arguments->file, "The new build file (nfpm.yaml); - is standard output");
    verb->footer("Example: bex init && bex build -f nfpm.yaml --dry-run");
    onChosen(*verb, arguments, chosen, runInit);
}

}  // namespace bex::tool
