#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Entry.hpp"
#include "bex/stream/WriteOptions.hpp"
#include "output/Json.hpp"

namespace bex::tool {

/// What `bex build --dry-run` prints: lines of entries, or all that goes into the package as a JSON object.
class BuildPlan {
public:
    /// Sets the callbacks of the options, which refer to this until the writing ends.
    void collectFrom(stream::WriteOptions& options);

    /// A line for each entry of the payload.
    std::string lines() const;
    /// `target`: the path that a build would write, or "". `trailing`: the members after the data member.
    std::string json(const std::string& target, const std::vector<stream::TrailingMember>& trailing,
                     const stream::WriteResult& result) const;

private:
    void takeControlFile(const stream::Entry& entry, std::string_view contents);

    std::vector<stream::Entry> entries_;
    std::set<std::string> conffiles_;  ///< paths as entries have them
    Json fields_ = Json::object();
    Json control_ = Json::array();
};

}  // namespace bex::tool
