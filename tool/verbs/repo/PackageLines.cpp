#include "verbs/repo/PackageLines.hpp"

#include "bex/stream/Escape.hpp"
#include "output/Json.hpp"

namespace bex::tool {

Json jsonOf(const repo::PackageId& package) {
    Json object;
    putText(object, "suite", package.suite);
    putText(object, "component", package.component);
    putText(object, "package", package.name);
    putText(object, "version", package.version);
    putText(object, "architecture", package.architecture);
    putText(object, "filename", package.filename);
    return object;
}

Json jsonOf(const std::vector<repo::PackageId>& packages) {
    Json list = Json::array();
    for (const repo::PackageId& package : packages) {
        list.push_back(jsonOf(package));
    }
    return list;
}

std::string lineOf(const repo::PackageId& package) {
    return stream::escapeForDisplay(package.suite + " " + package.component + " " + package.name + " " +
                                    package.version + " " + package.architecture);
}

void printPackages(const std::string& word, const std::vector<repo::PackageId>& packages, Context& context) {
    for (const repo::PackageId& package : packages) {
        context.console.out((word.empty() ? word : word + " ") + lineOf(package) + "\n");
    }
}

void printAddition(const repo::AddResult& result, Context& context) {
    if (context.json) {
        context.console.out(jsonText({{"schema", 1},
                                      {"added", jsonOf(result.added)},
                                      {"present", jsonOf(result.present)},
                                      {"removed", jsonOf(result.removed)}}));
        return;
    }
    printPackages("added", result.added, context);
    printPackages("present", result.present, context);
    printPackages("removed", result.removed, context);
}

}  // namespace bex::tool
