#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "bex/shlibs/Dependencies.hpp"

namespace bex::shlibs {

/// The dependencies that have been found so far, by the templates that they follow.
class Needs {
public:
    /// Notes that the template, or each of several between commas, is needed in at least the reason's version. The
    /// first reason of the newest version is kept, one with a symbol before one without.
    void add(std::string_view dependencyTemplate, const Reason& reason);

    /// Raises the version where the template is needed at all.
    void raise(std::string_view dependencyTemplate, const std::string& version, const std::string& why);

    /// Writes dependencies and reasons in their order. Throws stream::StreamError (`damaged`) for a template that
    /// is not a dependency.
    void report(Report& report) const;

private:
    std::map<std::string, Reason, std::less<>> reasons_;
};

}  // namespace bex::shlibs
