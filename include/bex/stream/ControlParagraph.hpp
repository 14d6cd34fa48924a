#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/Export.hpp"

namespace bex::stream {

class Place;

/// The fields that describe a package, in order. Names are compared without regard to ASCII case.
/// Syntax: deb-control(5), deb822(5). A value of several lines holds "\n" between them. Its continuation lines
/// lack the leading blank that they have in the file, and a line that is "." in the file is empty. Blanks around
/// the first line are not part of a value.
///
/// A copyable value. ControlReader reads files of several paragraphs.
class BEX_EXPORT ControlParagraph {
public:
    struct Field {
        std::string name;
        std::string value;
    };

    /// Reads exactly one paragraph. Throws StreamError (`damaged`) as `NAME:LINE:COLUMN: reason`, counted from
    /// 1 (columns in bytes), where `name` says whose text it is, such as "pkg.bex: control". Refuses a line that
    /// is neither field nor continuation, a doubled field, a field without a name, a second paragraph, a text
    /// without a field, a line with only blanks, a byte order mark, a NUL, and a carriage return inside a line.
    /// Skips a carriage return at the end of a line, blanks before the colon, comment lines (beginning with "#"),
    /// and empty lines before and after the paragraph. The last line may lack its newline. Time grows with the
    /// length of the text times the logarithm of the number of fields.
    static ControlParagraph parse(std::string_view text, std::string_view name);

    /// The text of a control file: every field in order, continuation lines folded back.
    std::string format() const;

    const std::vector<Field>& fields() const noexcept { return fields_; }
    bool empty() const noexcept { return fields_.empty(); }

    /// The value of the field, or null when there is none. Valid until this is changed.
    const std::string* find(std::string_view name) const noexcept;

    /// Replaces the field's value in its place, or appends the field. Throws StreamError (`invalidInput`)
    /// for a name that deb822(5) does not allow and for a value that would not be read back the same: with a NUL
    /// or carriage return, blanks around its first line, or a further line that is "." or has only blanks.
    void set(std::string_view name, std::string_view value);

    /// Removes the field; false when there is none.
    bool remove(std::string_view name);

    /// Checks whether this can be the control paragraph of a binary package. Returns one sentence for each fault,
    /// and none for a sound paragraph. Package, Version, Architecture, Maintainer and Description must be present.
    /// They must be well formed (deb-control(5), deb-version(7)), and so must, if present, Source, Section,
    /// Priority, Installed-Size, Essential, Protected, Build-Essential, Multi-Arch, the dependency fields and the
    /// two Built-Using fields. No field may be empty or hold anything but UTF-8. Whatever dpkg-deb refuses is a
    /// fault, and so is what Debian Policy forbids of these fields: a Priority that is not one of its words, an
    /// upper-case letter in the name of a package or an architecture. Each sentence names its field. Values are
    /// escaped, and long ones are shortened.
    std::vector<std::string> faults() const;

private:
    friend class ControlReader;
    friend ControlParagraph parseParagraph(std::string_view text, const Place& place);

    std::vector<Field> fields_;
};

}  // namespace bex::stream
