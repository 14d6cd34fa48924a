#include "stream/Comparison.hpp"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/PackageReader.hpp"
#include "stream/base/Place.hpp"

namespace bex::stream {

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
    Place("").at(path).fail(ErrorKind::damaged, "differs", reason);
}

/// The attribute in which the entry that was read differs; null when there is none.
const char* differenceOf(const Entry& meant, const Entry& found) {
    const struct {
        bool same;
        const char* what;
    } attributes[] = {
        {meant.path == found.path, "path"},
        {meant.type == found.type, "type"},
        {meant.mode == found.mode, "mode"},
        {meant.size == found.size, "size"},
        {meant.mtime == found.mtime, "time"},
        {meant.uid == found.uid && meant.gid == found.gid, "owner"},
        {meant.owner == found.owner && meant.group == found.group, "owner's name"},
        {meant.linkTarget == found.linkTarget, "link target"},
    };
    for (const auto& attribute : attributes) {
        if (!attribute.same) {
            return attribute.what;
        }
    }
    return nullptr;
}

/// Holds the bytes of the reader's current entry against pieces of what they were made from.
class ContentComparison {
public:
    ContentComparison(PackageReader& package, const std::string& path) : package_(package), path_(path) {}

    void take(std::string_view piece) {
        while (!piece.empty()) {
            const std::size_t count = package_.read(buffer_.data(), std::min(buffer_.size(), piece.size()));
            if (count == 0 || piece.substr(0, count) != std::string_view(buffer_.data(), count)) {
                fail(path_, "what was written differs from its source");
            }
            piece.remove_prefix(count);
        }
    }

private:
    PackageReader& package_;
    const std::string& path_;
    std::vector<char> buffer_ = std::vector<char>(std::size_t{256} << 10);
};

}  // namespace

void compareWithSources(PackageReader& package, const Plan& plan, FileReader sources) {
    Entry found;
    for (std::size_t i = 0; i < plan.size(); ++i) {
        const Entry meant = plan.entry(i);
        if (!package.next(found)) {
            fail(meant.path, "is missing in what was written");
        }
        if (const char* what = differenceOf(meant, found)) {
            fail(meant.path, std::string("was written with another ") + what);
        }
        if (meant.type == EntryType::file) {
            ContentComparison comparison(package, meant.path);
            sources.read(plan.source(i), [&](std::string_view piece) { comparison.take(piece); });
        }
    }
    if (package.next(found)) {
        fail(found.path, "was written without being meant");
    }
}

}  // namespace bex::stream
