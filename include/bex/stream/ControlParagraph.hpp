#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bex/Export.hpp"

namespace bex::stream {

class Place;

/// The fields that describe a package, in order, with names compared without regard to ASCII case.
/// Syntax: deb-control(5), deb822(5). A value of several lines holds "\n" between them; its continuation lines
/// stand as they will be read by people, without the leading blank of the file, and an empty one is "." in the
/// file only. Blanks around the first line are no part of a value.
///
/// A copyable value.
class BEX_EXPORT ControlParagraph {
public:
    struct Field {
        std::string name;
        std::string value;
    };

    /// Reads exactly one paragraph. Throws StreamError (`damaged`) as `NAME:LINE:COLUMN: reason`, counted from
    /// 1 (columns in bytes), where `name` says whose text it is, such as "pkg.bex: control". Refused: a line that
    /// is neither field nor continuation, a doubled field, a field without a name, a second paragraph, no field at
    /// all, a line of blanks alone, a NUL, a carriage return but at the end of a line, where it is left out.
    /// Comment lines (beginning with "#") and empty lines before and after the paragraph are left out; the last
    /// line may lack its newline. Time grows with the length of the text, times the logarithm of the fields'
    /// number.
    static ControlParagraph parse(std::string_view text, std::string_view name);

    /// The text of a control file: every field in order, continuation lines folded back.
    std::string format() const;

    const std::vector<Field>& fields() const noexcept { return fields_; }
    bool empty() const noexcept { return fields_.empty(); }

    /// The value of the field, or null when there is none. Valid until this is changed.
    const std::string* find(std::string_view name) const noexcept;

    /// Replaces the field's value where it stands, or appends the field. Throws StreamError (`invalidInput`)
    /// for a name that deb822(5) does not allow and for a value that would not be read back the same: with a NUL
    /// or carriage return, blanks around its first line, or a further line that is "." or blanks alone.
    void set(std::string_view name, std::string_view value);

    /// Removes the field; false when there is none.
    bool remove(std::string_view name);

    /// What keeps this from being the control paragraph of a binary package: Package, Version, Architecture,
    /// Maintainer and Description must be there and well formed (deb-control(5), deb-version(7)); Source,
    /// Section, Priority, Installed-Size, Essential, Protected, Multi-Arch and the dependency fields, where
    /// present, too. No field may be empty, or other than UTF-8. All that dpkg-deb refuses is a fault, and what
    /// Debian Policy forbids of these fields. One sentence a fault, each naming its field, with values escaped
    /// and long ones cut; empty when all is well.
    std::vector<std::string> faults() const;

private:
    friend ControlParagraph parseParagraph(std::string_view text, const Place& place);

    std::vector<Field> fields_;
};

}  // namespace bex::stream
