#include "stream/ar/ArReader.hpp"

#include <array>
#include <string_view>

#include "stream/ar/ArFormat.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Text.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kNameBytes = 16;
constexpr std::string_view kHeaderEnd = "`\n";

std::string_view withoutTrailing(std::string_view text, char filler) {
    return text.substr(0, text.find_last_not_of(filler) + 1);  // npos + 1 is 0: all of it
}

/// Digits of the base, blanks after them. The longest field has 12, which 64 bits hold.
std::optional<std::uint64_t> parseNumber(std::string_view field, int base) {
    // guard(return 0): numbers in headers of ar
    return parseWhole<std::uint64_t>(withoutTrailing(field, ' '), base);
}

/// One header, cut into its fields.
class Header {
public:
    // bytes_ is declared before place_, and so set when name() reads it here.
    Header(std::string_view bytes, const Place& place) : bytes_(bytes), place_(place.in(name())) {}

    /// Without the filling blanks and the one "/" that may end it.
    std::string name() const {
        std::string_view name = withoutTrailing(bytes_.substr(0, kNameBytes), ' ');
        // GNU ar ends names with "/"; "/" alone and "//" are its tables, which member() refuses.
        if (name.size() > 1 && name.back() == '/' && name != "//") {
            name.remove_suffix(1);
        }
        return std::string(name);
    }

    Member member(std::uint64_t offset) const {
        // Meant: what other tools fill with blanks when they know no owner or time is read as 0.
        number("owner", 28, 6, 10, true);
        number("group", 34, 6, 10, true);
        number("mode", 40, 8, 8, true);
        Member member;
        member.name = name();
        member.offset = offset;
        member.mtime = static_cast<std::int64_t>(number("time", 16, 12, 10, true));
        member.size = number("size", 48, 10, 10, false);
        if (member.name.empty() || member.name.find('/') != std::string::npos) {  // guard: names of members
            place_.fail(ErrorKind::unsupported, "ar-name",
                        "the name is empty, contains a \"/\" or refers to a table of names");
        }
        return member;
    }

private:
    std::uint64_t number(const char* what, std::size_t at, std::size_t width, int base, bool mayBeBlank) const {
        // Within the header's 60 bytes, as all callers give the constants of ar(5).
        const std::string_view field = bytes_.substr(at, width);
        if (mayBeBlank && withoutTrailing(field, ' ').empty()) {
            return 0;
        }
        const std::optional<std::uint64_t> value = parseNumber(field, base);
        if (!value) {
            place_.fail(ErrorKind::damaged, "ar-header",
                        std::string(what) + " " + quotedName(field) + " in the header is not a number");
        }
        return *value;
    }

    std::string_view bytes_;
    Place place_;
};

}  // namespace

std::optional<Member> ArReader::next(bool complete) {
    // Only at the beginning: afterwards the offset is at least that of the magic.
    if (offset_ == 0) {
        readMagic();
    }
    passOver();
    std::array<char, kArHeaderBytes> bytes{};
    const std::string_view header(bytes.data(), readFully(source_, bytes.data(), bytes.size()));
    // The end of the file between two members is the archive's end.
    if (header.empty()) {
        return std::nullopt;
    }
    const bool whole = header.size() == kArHeaderBytes;
    // The last two bytes of the 60 are the mark of a header.
    if (complete && (!whole || header.substr(58) != kHeaderEnd)) {  // guard: bytes after the last member
        place_.fail(ErrorKind::damaged, "ar-trailing",
                    "bytes after the last member, from offset " + std::to_string(offset_));
    }
    if (!whole) {
        failTruncated(header);
    }
    if (header.substr(58) != kHeaderEnd) {  // guard: the end of a header of ar
        place_.fail(ErrorKind::damaged, "ar-header", "no member header at offset " + std::to_string(offset_));
    }
    offset_ += kArHeaderBytes;
    current_ = Header(header, place_).member(offset_);
    // Bounded by the size that the header gives: nobody can read into the next header.
    contents_.emplace(source_, current_->size, place_.in(current_->name));
    return current_;
}

void ArReader::readMagic() {
    std::array<char, kArMagic.size()> bytes{};
    const std::string_view magic(bytes.data(), readFully(source_, bytes.data(), bytes.size()));
    if (magic != kArMagic) {  // guard: the magic of ar
        place_.fail(ErrorKind::damaged, "ar-magic", "no package: does not begin with \"!<arch>\\n\"");
    }
    offset_ = kArMagic.size();
}

void ArReader::failTruncated(std::string_view header) const {
    Place at = place_;
    // A name that is complete helps to find the place, even where the rest of the header is missing.
    if (header.size() >= kNameBytes) {
        at = place_.in(Header(header, place_).name());
    }
    at.fail(ErrorKind::damaged, "ar-truncated",
            "header at offset " + std::to_string(offset_) + " ends after " + std::to_string(header.size()) +
                " of " + std::to_string(kArHeaderBytes) + " bytes");
}

void ArReader::passOver() {
    if (!current_) {
        return;
    }
    // Throws where the member is cut off.
    contents_->skip(contents_->left());
    offset_ = current_->offset + current_->size;
    // ar(5): members begin at even offsets. The last one may lack its byte, so that skipping fewer is accepted.
    if (current_->size % 2 != 0) {
        offset_ += source_.skip(1);
    }
    current_.reset();
}

}  // namespace bex::stream
