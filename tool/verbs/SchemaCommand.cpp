#include <memory>
#include <string>

#include "bex/buildfile/BuildFile.hpp"
#include "verbs/SharedLibrary.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

namespace {

struct SchemaArguments {};

ExitStatus runSchema(SchemaArguments&, Context& context) {
    std::string schema;
    functionOf<decltype(bexBuildFileSchema)>("libbexbuildfile.so.1", "bexBuildFileSchema")(schema);
    context.console.out(schema);
    return ExitStatus::done;
}

}  // namespace

void addSchema(CLI::App* verb, Action& chosen) {
    verb->footer("Example: bex schema >build-file.schema.json");
    onChosen(*verb, std::make_shared<SchemaArguments>(), chosen, runSchema);
}

}  // namespace bex::tool
