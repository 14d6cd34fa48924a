#include "repo/records/FieldOrder.hpp"

#include <algorithm>
#include <iterator>

#include "stream/base/Ascii.hpp"

namespace bex::repo {

namespace {

// The order of dpkg's Perl modules for an index (Dpkg::Control, CTRL_INDEX_PKG), SHA512 added where it belongs.
constexpr std::string_view kOrder[] = {"Package",
                                       "Package-Type",
                                       "Source",
                                       "Version",
                                       "Kernel-Version",
                                       "Built-For-Profiles",
                                       "Auto-Built-Package",
                                       "Architecture",
                                       "Subarchitecture",
                                       "Installer-Menu-Item",
                                       "Build-Essential",
                                       "Essential",
                                       "Protected",
                                       "Origin",
                                       "Bugs",
                                       "Maintainer",
                                       "Installed-Size",
                                       "Pre-Depends",
                                       "Depends",
                                       "Recommends",
                                       "Suggests",
                                       "Enhances",
                                       "Conflicts",
                                       "Breaks",
                                       "Replaces",
                                       "Provides",
                                       "Built-Using",
                                       "Static-Built-Using",
                                       "Filename",
                                       "Size",
                                       "MD5sum",
                                       "SHA1",
                                       "SHA256",
                                       "SHA512",
                                       "Section",
                                       "Priority",
                                       "Multi-Arch",
                                       "Homepage",
                                       "Description",
                                       "Tag",
                                       "Task"};
constexpr std::size_t kFilename = 28;
constexpr std::size_t kLastDigest = 33;
static_assert(kOrder[kFilename] == "Filename" && kOrder[kLastDigest] == "SHA512");

/// The place in kOrder, or its size for a name that is not there: unknown fields come last.
std::size_t rankOf(std::string_view name) {
    const auto* const place = std::find_if(std::begin(kOrder), std::end(kOrder), [name](std::string_view known) {
        return stream::equalIgnoringCase(known, name);
    });
    return static_cast<std::size_t>(place - std::begin(kOrder));
}

/// Each word of a name that dpkg does not know begins with a capital letter and goes on in small ones.
std::string capitalized(std::string_view name) {
    std::string spelled = stream::lowerCase(name);
    bool atStart = true;
    for (char& c : spelled) {
        if (atStart) {
            c = stream::toUpperCase(c);
        }
        atStart = c == '-';
    }
    return spelled;
}

}  // namespace

FieldPlace placeOf(std::string_view name) {
    const std::size_t rank = rankOf(name);
    if (rank < std::size(kOrder)) {
        return {rank, std::string(kOrder[rank])};
    }
    return {rank, capitalized(name)};
}

bool isIndexField(std::string_view name) {
    const std::size_t rank = rankOf(name);
    return rank >= kFilename && rank <= kLastDigest;
}

std::size_t rankOfFilename() {
    return kFilename;
}

}  // namespace bex::repo
