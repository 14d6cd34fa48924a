#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bex::tool {

/// The fields of a control paragraph with their values as the file has them: the line breaks and the first
/// character of continuation lines are kept, blanks around the whole value are not.
class RawParagraph {
public:
    struct Field {
        std::string_view name;
        std::string_view value;
    };

    /// The text must outlive this. It is one paragraph that has been parsed without an error.
    explicit RawParagraph(std::string_view text);

    /// The field's value, or null. Names are compared without regard to ASCII case.
    const Field* find(std::string_view name) const noexcept;

private:
    std::vector<Field> fields_;
};

/// Without blanks, tabs and line breaks at both ends.
std::string_view trimmed(std::string_view text) noexcept;

}  // namespace bex::tool
