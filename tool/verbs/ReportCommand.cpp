#include <memory>
#include <string>
#include <utility>

#include "output/Failure.hpp"
#include "output/Interrupt.hpp"
#include "output/ProgressBar.hpp"
#include "report/Page.hpp"
#include "verbs/Input.hpp"
#include "verbs/TextFile.hpp"
#include "verbs/Verb.hpp"

namespace bex::tool {

namespace {

struct ReportArguments {
    std::string package;
    std::string other;
    std::string page;
};

/// Reads the package twice: verifying goes on after errors, and so does not say what is in it.
PackageFigures readFigures(const std::string& package, Context& context) {
    requireFile(package);
    ProgressBar progress(context, "reading");
    stream::ReadOptions reading = readOptions(context);
    reading.progress = progress.callback();
    PackageFigures figures = figuresOf(openBytes(package, context), nameInMessages(package), reading);
    figures.findings = verifyPackage(package, reading, context);
    return figures;
}

std::string pageOf(const ReportArguments& arguments, Context& context) {
    const PackageFigures package = readFigures(arguments.package, context);
    if (arguments.other.empty()) {
        return pageAbout(package);
    }
    return pageAbout(package, readFigures(arguments.other, context));
}

ExitStatus runReport(ReportArguments& arguments, Context& context) {
    catchInterrupts();
    const std::string page = pageOf(arguments, context);
    deliver({"page", arguments.page, page}, replaceFile, context);
    return ExitStatus::done;
}

}  // namespace

void addReport(CLI::App* verb, Action& chosen) {
    const auto arguments = std::make_shared<ReportArguments>();
    verb->add_option("PKG", arguments->package, "The package or its URL")->required();
    verb->add_option("OTHER", arguments->other, "A later package, to show what grew and shrank");
    verb->add_option("-o,--out", arguments->page, "The HTML page to write; - is standard output")
        ->option_text("FILE")
        ->required();
    verb->footer("Example: bex report hello_1.0_amd64.bex hello_1.1_amd64.bex -o hello.html");
    onChosen(*verb, arguments, chosen, runReport);
}

}  // namespace bex::tool
