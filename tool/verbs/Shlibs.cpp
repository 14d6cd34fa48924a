#include "verbs/Shlibs.hpp"

#include <utility>

#include "output/Failure.hpp"
#include "verbs/Input.hpp"
#include "verbs/SharedLibrary.hpp"

namespace bex::tool {

shlibs::Report findDependencies(shlibs::Request request, const Context& context) {
    request.reading = readOptions(context);
    shlibs::Report report;
    functionOf<decltype(bexFindDependencies)>("libbexshlibs.so.1", "bexFindDependencies")(request, report);
    return report;
}

ExitStatus reportMissing(const shlibs::Report& report, Context& context) {
    for (const auto& note : report.notes) {
        context.console.note(note);
    }
    for (const auto& missing : report.missing) {
        print({ExitStatus::no, "no-match", missing.message, missing.hint}, context);
    }
    return report.missing.empty() ? ExitStatus::done : ExitStatus::no;
}

}  // namespace bex::tool
