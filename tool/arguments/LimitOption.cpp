#include "arguments/LimitOption.hpp"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "stream/base/Text.hpp"

namespace bex::tool {

using stream::Limits;

namespace {

/// `largest` is what the field's type or its decoder takes; larger values are refused and not cut.
struct NamedLimit {
    std::string_view name;
    std::string_view field;  ///< of Limits, as StreamError::limit() names it
    void (*set)(Limits&, std::uint64_t);
    std::uint64_t largest;
};

constexpr std::uint64_t unbounded = std::numeric_limits<std::uint64_t>::max();

// The names are part of the command line and stay; scripts use them.
constexpr NamedLimit namedLimits[] = {
    {"control-bytes", "controlBytes", [](Limits& l, std::uint64_t v) { l.controlBytes = v; }, unbounded},
    {"md5sums-bytes", "md5sumsBytes", [](Limits& l, std::uint64_t v) { l.md5sumsBytes = v; }, unbounded},
    {"name-bytes", "nameBytes", [](Limits& l, std::uint64_t v) { l.nameBytes = v; }, unbounded},
    {"header-bytes", "extendedHeaderBytes", [](Limits& l, std::uint64_t v) { l.extendedHeaderBytes = v; },
     unbounded},
    {"expansion-ratio", "expansionRatio", [](Limits& l, std::uint64_t v) { l.expansionRatio = v; }, unbounded},
    {"expansion-free-bytes", "expansionFreeBytes", [](Limits& l, std::uint64_t v) { l.expansionFreeBytes = v; },
     unbounded},
    {"xz-memory", "xzMemoryBytes", [](Limits& l, std::uint64_t v) { l.xzMemoryBytes = v; }, unbounded},
    // The largest window that libzstd decodes on 64-bit machines.
    {"zstd-window-log", "zstdWindowLog", [](Limits& l, std::uint64_t v) { l.zstdWindowLog = static_cast<int>(v); },
     31},
    {"entries", "entries", [](Limits& l, std::uint64_t v) { l.entries = v; }, unbounded},
    {"index-bytes", "indexBytes", [](Limits& l, std::uint64_t v) { l.indexBytes = v; }, unbounded},
};

std::string names() {
    std::string list;
    for (const auto& limit : namedLimits) {
        stream::appendPart(list, ", ", limit.name);
    }
    return list;
}

void setLimit(const std::string& assignment, Limits& limits) {
    const std::size_t equals = assignment.find('=');
    const std::string_view name = std::string_view(assignment).substr(0, equals);
    for (const auto& limit : namedLimits) {
        // Without "=" no name fits, so that the message below tells the form.
        if (limit.name != name || equals == std::string::npos) {
            continue;
        }
        const auto value = stream::parseWhole<std::uint64_t>(std::string_view(assignment).substr(equals + 1));
        // Also "-1" and "1k": a limit that was misread would be no limit, or one that refuses every package.
        if (!value || *value > limit.largest) {
            throw CLI::ValidationError("--limit " + assignment, "the value must be a number within range");
        }
        limit.set(limits, *value);
        return;
    }
    throw CLI::ValidationError("--limit " + assignment, "takes NAME=VALUE, where NAME is one of " + names());
}

}  // namespace

void addLimitOption(CLI::App& program, Limits& limits) {
    program
        .add_option_function<std::vector<std::string>>(
            "--limit",
            [&limits](const std::vector<std::string>& assignments) {
                for (const auto& assignment : assignments) {
                    setLimit(assignment, limits);
                }
            },
            "Change a limit for packages; bex(1) lists the names")
        ->option_text("NAME=VALUE")
        // The program's default, the last one counts, would drop all but one limit.
        ->take_all()
        ->allow_extra_args(false);
}

std::string limitHint(std::string_view field) {
    for (const auto& limit : namedLimits) {
        if (limit.field == field) {
            return "--limit " + std::string(limit.name) + "=N raises it, if you trust the package";
        }
    }
    // Limits of remote files are not of the package: they have options of their own.
    if (field == "maxBytes") {
        return "--max-bytes N raises it";
    }
    if (field == "maxRequests") {
        return "--max-requests N raises it, if you trust the package";
    }
    return "--limit NAME=N raises a limit, if you trust the package; bex(1) lists them";
}

}  // namespace bex::tool
