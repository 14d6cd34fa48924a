#include "verbs/ForEachPackage.hpp"

#include <algorithm>
#include <exception>

#include "bex/stream/StreamError.hpp"
#include "output/Failure.hpp"

namespace bex::tool {

ExitStatus forEachPackage(const std::vector<std::string>& packages, Context& context,
                          const std::function<ExitStatus(const std::string&)>& work) {
    ExitStatus status = ExitStatus::done;
    for (const auto& package : packages) {
        try {
            status = std::max(status, work(package));
        } catch (const stream::StreamError& e) {
            if (e.kind() == stream::ErrorKind::cancelled) {
                throw;
            }
            context.console.flush();
            status = std::max(status, reportFailure(std::current_exception(), context));
        }
    }
    return status;
}

}  // namespace bex::tool
