#include "repo/index/StanzaList.hpp"

#include <algorithm>
#include <optional>
#include <tuple>
#include <utility>

#include "bex/stream/Version.hpp"
#include "repo/base/Failure.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

using stream::Version;

struct WantedField {
    std::string_view name;  ///< in lower case
    std::string_view Stanza::*value;
};

constexpr WantedField kWanted[] = {{"package", &Stanza::package},
                                   {"version", &Stanza::version},
                                   {"architecture", &Stanza::architecture},
                                   {"filename", &Stanza::filename},
                                   {"sha256", &Stanza::sha256}};

std::optional<Version> versionOf(std::string_view text) {
    try {
        return Version::parse(text);
    } catch (const StreamError&) {
        return std::nullopt;
    }
}

void takeField(std::string_view line, Stanza& stanza) {
    // The first letter rules out most lines of an index.
    if (line.empty() || std::string_view("pvafsPVAFS").find(line.front()) == std::string_view::npos) {
        return;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    // deb822(5) allows blanks before the colon.
    const std::string_view name = stream::trimmed(line.substr(0, colon));
    for (const WantedField& field : kWanted) {
        if (stream::equalIgnoringCase(name, field.name)) {
            stanza.*field.value = stream::trimmed(line.substr(colon + 1));
        }
    }
}

}  // namespace

// A version that can't be read must not end a listing or a sort. Such texts come before all versions: compared
// with versions as text, they would make an order in which three can follow each other in a circle.
int compareVersions(std::string_view a, std::string_view b) {
    if (a == b) {
        return 0;
    }
    const auto first = versionOf(a);
    const auto second = versionOf(b);
    if (first && second) {
        return first->compare(*second);
    }
    if (!first && !second) {
        return a.compare(b);
    }
    return first ? 1 : -1;
}

// The order of the stanzas in an index: by bytes, which is cheap, and the same for every reader. It is not the
// order of versions.
bool isBefore(const Stanza& a, const Stanza& b) {
    return std::tie(a.package, a.version, a.architecture) < std::tie(b.package, b.version, b.architecture);
}

bool isSamePackage(const Stanza& a, const Stanza& b) {
    return a.package == b.package && a.version == b.version && a.architecture == b.architecture;
}

// The views lead into `text`, which must outlive the stanza.
Stanza readStanza(std::string_view text) {
    Stanza stanza;
    stanza.text = text;
    stream::forEachLine(text, [&](std::string_view line) { takeField(line, stanza); });
    return stanza;
}

std::vector<Stanza> readStanzas(std::string_view text, const std::string& name) {
    std::vector<Stanza> stanzas;
    while (!text.empty()) {
        const std::size_t end = text.find("\n\n");
        // The text need not end with an empty line; at its end the last stanza takes the rest.
        std::string_view one = text.substr(0, std::min(end, text.size() - 1) + 1);  // with its last newline
        text.remove_prefix(one.size());
        text.remove_prefix(std::min(text.find_first_not_of('\n'), text.size()));
        // These three are what packages are told apart by, so that no list can hold one without them.
        const Stanza stanza = readStanza(one);
        if (stanza.package.empty() || stanza.version.empty() || stanza.architecture.empty()) {
            throw failure(ErrorKind::damaged, "stanza", name,
                          "package " + std::to_string(stanzas.size() + 1) +
                              " lacks one of Package, Version and Architecture");
        }
        stanzas.push_back(stanza);
    }
    return stanzas;
}

}  // namespace bex::repo
