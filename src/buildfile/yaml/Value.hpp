#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace bex::buildfile {

/// A place in the build file, counted from 1, the column in characters.
struct Spot {
    std::size_t line = 0;
    std::size_t column = 0;
};

struct Member;

/// One value of a YAML document. Scalars are text as it is written: "1.10", "0644" and "no" mean what they look
/// like.
struct Value {
    enum class Kind { null, scalar, list, map };

    Kind kind = Kind::null;
    Spot at;
    std::string text;             ///< of a scalar
    std::vector<Value> items;     ///< of a list
    std::vector<Member> members;  ///< of a map, in order, each name once

    /// The value of that name in a map; null where there is none or it is empty.
    const Value* find(std::string_view name) const noexcept;
};

struct Member {
    std::string name;
    Spot at;
    Value value;
};

/// Throws StreamError (`invalidInput`): `FILE:LINE:COLUMN: reason`. Names within the reason are escaped.
[[noreturn]] void fail(const std::string& file, Spot at, const std::string& reason);

/// The same (`inputOutput`) for a file on this machine that the system's call failed on.
[[noreturn]] void failSystem(const std::string& file, Spot at, const std::string& path, int errorNumber);

/// The text in quotes, escaped and cut where it is long.
std::string quotedText(std::string_view text);

}  // namespace bex::buildfile
