#include <string>

#include "verbs/Input.hpp"
#include "verbs/dpkg/Actions.hpp"
#include "verbs/dpkg/FieldForm.hpp"
#include "verbs/dpkg/ShowFormat.hpp"

namespace bex::tool {

ExitStatus dpkgField(const DpkgRequest& request, Context& context) {
    const auto& arguments = request.arguments;
    const stream::PackageReader reader = openPackage(arguments.front(), readOptions(context));
    const std::string& text = reader.findControlMember("control")->contents;
    if (arguments.size() == 1) {
        context.console.out(text);
        return ExitStatus::done;
    }
    const RawParagraph control(text);
    if (arguments.size() == 2) {
        context.console.out(fieldText(control, arguments[1]).value_or("") + "\n");
        return ExitStatus::done;
    }
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        context.console.out(fieldLine(control, arguments[i]));
    }
    return ExitStatus::done;
}

ExitStatus dpkgShow(const DpkgRequest& request, Context& context) {
    const ShowFormat format(request.showFormat);
    const stream::PackageReader reader = openPackage(request.arguments.front(), readOptions(context));
    context.console.out(format.show(RawParagraph(reader.findControlMember("control")->contents)));
    return ExitStatus::done;
}

}  // namespace bex::tool
