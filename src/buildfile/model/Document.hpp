#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "buildfile/model/Description.hpp"
#include "buildfile/model/Expansion.hpp"
#include "buildfile/yaml/Value.hpp"

namespace bex::buildfile {

/// nfpm's name for Debian packages: the key of their section, of their overrides, and the value of `packager`.
constexpr const char* kFormat = "deb";

/// A build file that checkDocument() has let through, as Debian packages see it: what overrides a key, and values
/// with the environment's variables in them. So every value is of the kind that the vocabulary gives its key, and
/// the functions take that for granted; a null value stands for a key that is not there.
class Document {
public:
    /// Both must outlive this.
    Document(const Value& root, const std::string& file);

    const std::string& file() const noexcept { return file_; }

    const Value* find(std::string_view key) const { return root_.find(key); }
    /// What overrides the key for Debian packages, or else the key's value.
    const Value* overridable(std::string_view key) const;
    /// The maps of that name, what overrides first, for keys that are overridden one by one. Either may be null.
    std::vector<const Value*> layers(std::string_view key) const;
    /// The key in the section `deb`, or in the one that overrides it.
    const Value* inDeb(std::string_view key) const;

    /// The text with its variables replaced; nothing for a key that is not there, which is not the same as an
    /// empty text. Throws as expanded().
    std::optional<std::string> text(const Value* value, Expansion expansion = Expansion::shell) const;
    /// The texts of a list that are not empty.
    std::vector<std::string> texts(const Value* list) const;
    std::optional<NamedPath> path(const Value* value) const;
    std::vector<NamedPath> paths(const Value* list) const;
    /// Permission bits. Throws at the value's place for a text that is not a mode.
    std::uint32_t mode(const Value& value) const;
    /// Seconds since 1970. Throws at the value's place for a text that is not a time.
    std::int64_t time(const Value& value) const;

    /// Where the value stands; a value that is missing has no place, and the document's begin stands for it.
    Spot spotOf(const Value* value) const noexcept;

private:
    const Value& root_;
    const std::string& file_;
    const Value* overrides_ = nullptr;
};

/// The value of the key in the map; null where either is missing.
const Value* memberOf(const Value* map, std::string_view key);

}  // namespace bex::buildfile
