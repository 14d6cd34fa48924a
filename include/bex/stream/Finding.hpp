#pragma once

#include <string>

namespace bex::stream {

/// One thing that is wrong with a package.
struct Finding {
    std::string code;    ///< stable, such as "md5-mismatch"; docs/findings.md lists them
    std::string member;  ///< of the ar archive; "" when none is meant
    std::string path;    ///< of the entry, as stored; "" when none is meant
    std::string text;    ///< one sentence for people, names escaped
};

}  // namespace bex::stream
