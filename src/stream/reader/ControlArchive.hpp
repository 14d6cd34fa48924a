#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "bex/stream/ControlParagraph.hpp"
#include "bex/stream/Member.hpp"
#include "stream/reader/EntryReader.hpp"

namespace bex::stream {

struct ControlArchive {
    std::vector<ControlMember> members;
    std::optional<Entry> root;  ///< the first directory named "./"
};

/// Reads a control archive whole into memory: regular files that stand in no directory, each once, one of them
/// "control". Directories named "./" are passed over. Anything else is refused. `entries` is bounded by
/// Limits::controlBytes; the contents of "md5sums" may come on top of that, as far as their own limit allows.
/// `controlFileOnly`: stop after the file "control".
ControlArchive readControlArchive(EntryReader& entries, const Limits& limits, const Place& place,
                                  bool controlFileOnly);

/// The member of that name, "./" not counted, or null. Valid as long as the vector is not changed.
const ControlMember* findMember(const std::vector<ControlMember>& members, std::string_view name);

/// The paragraph of the member "control", which an archive that was read has. Throws StreamError about the place
/// of the package, as ControlParagraph::parse().
ControlParagraph parseControl(const std::vector<ControlMember>& members, const Place& package);

}  // namespace bex::stream
