#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Pattern.hpp"

namespace bex::buildfile {

/// A glob(7) pattern for files on this machine, in which "*" and "?" do not match "/", a component "**" stands for
/// any number of components, and "{a,b}" for either. Names that begin with a dot are names like others.
class Glob {
public:
    /// Whether the path has a character with a meaning.
    static bool isGlob(const std::string& path) noexcept;

    /// Throws std::length_error for braces that stand for more than a thousand patterns.
    explicit Glob(const std::string& pattern);

    /// The directory that everything that matches is below: what stands before the first component with a
    /// wildcard.
    const std::string& root() const noexcept { return root_; }

    /// Whether the path, relative to root(), or a directory above it matches.
    bool takes(const std::string& path) const;
    /// Whether the path itself matches; it begins where the pattern does, and both are plain.
    bool matches(std::string_view path) const;
    /// Whether something below the directory may match.
    bool mayBeBelow(const std::string& directory) const;

private:
    struct Component {
        bool isAnyDepth;  ///< "**"
        stream::Pattern pattern;
    };
    using Alternative = std::vector<Component>;
    struct Answer {
        bool matches = false;
        bool takes = false;
        bool mayBeBelow = false;
    };
    static Answer answer(const Alternative& alternative, const std::string& path);
    /// Whether this part of the answer is true for one of the alternatives.
    bool any(bool Answer::*part, const std::string& path) const;

    std::string root_;
    std::vector<Alternative> alternatives_;
};

}  // namespace bex::buildfile
