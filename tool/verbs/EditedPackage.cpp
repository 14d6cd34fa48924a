#include "verbs/EditedPackage.hpp"

#include <filesystem>
#include <system_error>

#include "bex/stream/Escape.hpp"
#include "output/Failure.hpp"
#include "output/Json.hpp"
#include "verbs/PackageNotes.hpp"

namespace bex::tool {

namespace fs = std::filesystem;

/// What all verbs that edit have in common; each adds its own.
stream::EditOptions editOptions(const Context& context) {
    stream::EditOptions options;
    options.limits = context.limits;
    options.threads = context.threads;
    // Digests cost a pass over both files, and only JSON shows them.
    options.digests = context.json;
    return options;
}

void requirePackageFile(const std::string& path, const char* what) {
    if (path == "-") {
        throw UsageError(std::string(what) + " is -: this verb reads and writes files");
    }
}

/// The package's own ending where it is one that Debian uses, so that an edited .deb stays a .deb.
std::string packageSuffix(const std::string& path) {
    const std::string ending = fs::path(path).extension().string();
    for (const char* suffix : {"deb", "udeb", "ddeb"}) {
        if (ending == std::string(".") + suffix) {
            return suffix;
        }
    }
    return "bex";
}

void requireOther(const std::string& target, const std::string& package) {
    std::error_code ignored;
    // By device and inode, so that other spellings and links are seen. A target that is not there is another file.
    if (fs::equivalent(target, package, ignored)) {
        throw UsageError(stream::escapeForDisplay(target) + " is the package itself: say --in-place or --out OUT");
    }
}

void printEdited(const std::string& target, const stream::EditResult& result, bool several, Context& context) {
    if (context.json) {
        Json object = {{"schema", 1}};
        putText(object, "package", target);
        object["packageBytes"] = result.packageBytes;
        object["payloadCopied"] = result.payloadCopied;
        object["sha256"] = {{"before", result.digestBefore}, {"after", result.digestAfter}};
        object["notes"] = notesJson(result.notes);
        context.console.out(jsonObject(object, several));
    } else {
        context.console.out(target + "\n");
    }
    printNotes(target, result.notes, context);
}

}  // namespace bex::tool
