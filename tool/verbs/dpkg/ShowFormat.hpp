#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "verbs/dpkg/RawParagraph.hpp"

namespace bex::tool {

/// A format of dpkg-deb(1)'s --showformat: text with "\n", "\r", "\t" and "\\", and fields as "${NAME}" or
/// "${NAME;WIDTH}", which are cut and filled to that many bytes, to the left of it where WIDTH is negative.
class ShowFormat {
public:
    /// Throws UsageError for a field that does not end or has no number for its width.
    explicit ShowFormat(std::string_view format);

    std::string show(const RawParagraph& control) const;

private:
    struct Part {
        bool isField;
        std::string text;  ///< or the field's name
        int width = 0;
    };

    void addField(std::string_view field);

    std::vector<Part> parts_;
};

}  // namespace bex::tool
