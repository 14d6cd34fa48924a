#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bex/Export.hpp"

namespace bex::stream {

/// The fields that describe a package, in order, with names compared without regard to ASCII case.
/// Syntax: deb-control(5), deb822(5). A value of several lines holds "\n" between them; its continuation lines
/// stand as they will be read by people, without the leading blank of the file, and an empty one is "." in the
/// file only.
///
/// A copyable value.
class BEX_EXPORT ControlParagraph {
public:
    struct Field {
        std::string name;
        std::string value;
    };

    /// Reads exactly one paragraph. Throws StreamError (`damaged`) as `NAME:LINE:COLUMN: reason`, counted from
    /// 1, where `name` says whose text it is, such as "pkg.bex: control". Refused: a line that is neither field
    /// nor continuation, a doubled field, a field without a name, a second paragraph, a NUL. Comment lines
    /// (beginning with "#") are left out. Time grows with the length of the text alone.
    static ControlParagraph parse(std::string_view text, std::string_view name);

    /// The text of a control file: every field in order, continuation lines folded back.
    std::string format() const;

    const std::vector<Field>& fields() const noexcept { return fields_; }
    bool empty() const noexcept { return fields_.empty(); }

    /// The value of the field, or null when there is none. Valid until this is changed.
    const std::string* find(std::string_view name) const noexcept;

    /// Replaces the field's value where it stands, or appends the field. Throws StreamError (`invalidInput`)
    /// for a name that deb822(5) does not allow and for a NUL or carriage return in the value.
    void set(std::string_view name, std::string_view value);

    /// Removes the field; false when there is none.
    bool remove(std::string_view name);

    /// What keeps this from being the control paragraph of a binary package: Package, Version, Architecture,
    /// Maintainer and Description must be there and well formed (deb-control(5), deb-version(7)), Essential and
    /// the like, where present, too. One sentence a fault, each naming its field; empty when all is well.
    /// Dependency fields are kept as they stand.
    std::vector<std::string> faults() const;

private:
    std::vector<Field> fields_;
};

}  // namespace bex::stream
