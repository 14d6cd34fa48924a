#include "bex/repo/RecordReader.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "repo/base/Failure.hpp"
#include "stream/base/Ascii.hpp"
#include "stream/base/Refill.hpp"
#include "stream/base/Text.hpp"

namespace bex::repo {

namespace {

constexpr std::size_t kReadBytes = std::size_t{256} << 10;

struct NamedField {
    const char* name;
    std::string PackageRecord::*own;
    std::string Digests::*digest;
};

// Kept as lines, too, are the first three: they belong to the control paragraph.
constexpr NamedField kNamed[] = {
    {"Package", &PackageRecord::package, nullptr},
    {"Version", &PackageRecord::version, nullptr},
    {"Architecture", &PackageRecord::architecture, nullptr},
    {"Filename", &PackageRecord::filename, nullptr},
    {"Size", nullptr, nullptr},
    {"MD5sum", nullptr, &Digests::md5},
    {"SHA1", nullptr, &Digests::sha1},
    {"SHA256", nullptr, &Digests::sha256},
    {"SHA512", nullptr, &Digests::sha512},
};
// Places in kNamed.
constexpr std::size_t kControlFields = 3;
constexpr std::size_t kSize = 4;

/// One stanza on its way into a record.
class StanzaParser {
public:
    StanzaParser(PackageRecord& record, const std::string& name, std::size_t line)
        : record_(record), name_(name), line_(line) {}

    void parse(std::string_view stanza) {
        // No field can hold them, and a program that takes either for an end would read another stanza than this
        // one.
        if (stanza.find('\0') != std::string_view::npos || stanza.find('\r') != std::string_view::npos) {
            fail("the stanza holds a NUL or a carriage return");
        }
        const std::size_t first = line_;
        stream::forEachLine(stanza, [this](std::string_view line) {
            take(line);
            ++line_;
        });
        // Faults below are of the stanza as a whole, so that messages name its first line.
        line_ = first;
        if (!seen_[kSize]) {
            fail("the stanza has no Size");
        }
    }

private:
    void take(std::string_view line) {
        if (stream::isBlank(line.front())) {
            continueField(line);
            return;
        }
        const std::size_t colon = line.find(':');
        // deb822(5): a name begins neither with "#", a comment, nor with "-", as in the lines around a signature.
        if (colon == 0 || colon == std::string_view::npos || line.front() == '#' || line.front() == '-') {
            fail("is neither a field nor a continuation");
        }
        const std::string_view name = stream::trimmed(line.substr(0, colon));
        const auto* const field =
            std::find_if(std::begin(kNamed), std::end(kNamed),
                         [name](const NamedField& known) { return stream::equalIgnoringCase(known.name, name); });
        const auto index = static_cast<std::size_t>(field - std::begin(kNamed));
        named_ = index < std::size(kNamed);
        // Package, Version and Architecture are kept in both ways.
        const bool isControl = !named_ || index < kControlFields;
        if (named_) {
            takeNamed(index, stream::trimmed(line.substr(colon + 1)));
        }
        if (isControl) {
            lines().append(line).append("\n");
        } else {
            afterFilename_ = true;
        }
    }

    void takeNamed(std::size_t index, std::string_view value) {
        const NamedField& field = kNamed[index];
        // Of two lines, different readers would believe different ones.
        if (seen_[index]) {
            fail(std::string(field.name) + " occurs twice");
        }
        seen_[index] = true;
        if (field.own != nullptr) {
            record_.*field.own = value;
        } else if (field.digest != nullptr) {
            record_.digests.*field.digest = value;
        } else if (const auto size = stream::parseWhole<std::uint64_t>(value)) {
            record_.size = *size;
        } else {
            fail("Size " + quoted(std::string(value)) + " is not a number of bytes");
        }
    }

    void continueField(std::string_view line) {
        // The fields of kNamed have one line each, and a stanza can't begin with a continuation.
        if (named_ || lines().empty() || stream::trimmed(line).empty()) {
            fail("is a continuation of nothing that has several lines");
        }
        lines().append(line).append("\n");
    }

    std::string& lines() {
        if (afterFilename_) {
            return record_.after;
        }
        return record_.before;
    }

    [[noreturn]] void fail(std::string reason) const {
        throw failure(ErrorKind::damaged, "stanza", name_, std::move(reason), line_);
    }

    PackageRecord& record_;
    const std::string& name_;
    std::size_t line_;
    bool named_ = true;  // the field of the last line is one that the record names
    bool afterFilename_ = false;
    bool seen_[std::size(kNamed)] = {};
};

}  // namespace

RecordReader::RecordReader(Read read, std::string name) : read_(std::move(read)), name_(std::move(name)) {}

RecordReader RecordReader::ofText(std::string_view text, std::string name) {
    return {stream::readerOfText(text), std::move(name)};
}

bool RecordReader::fill() {
    if (ended_) {
        return false;
    }
    // No real stanza is so long: the text may be hostile, and memory is bounded.
    if (buffer_.size() - begin_ > kStanzaBytes) {
        throw failure(ErrorKind::limitExceeded, "limit", name_,
                      "a stanza has more than " + std::to_string(kStanzaBytes) + " bytes", line_);
    }
    ended_ = !stream::refill(buffer_, begin_, kReadBytes, read_);
    return !ended_;
}

/// The next stanza without the empty line after it; empty at the end of the text.
std::string_view RecordReader::takeStanza() {
    line_ = nextLine_;
    // The empty lines before a stanza may go on in the next bytes.
    do {
        while (begin_ < buffer_.size() && buffer_[begin_] == '\n') {
            ++begin_;
            ++line_;
        }
    } while (begin_ == buffer_.size() && fill());
    std::size_t end = buffer_.find("\n\n", begin_);
    for (std::size_t searched = 0; end == std::string::npos && fill();) {
        end = buffer_.find("\n\n", begin_ + searched);
        searched = std::max<std::size_t>(buffer_.size() - begin_, 1) - 1;  // the first "\n" may be there already
    }
    end = std::min(end, buffer_.size());
    const std::string_view stanza = std::string_view(buffer_).substr(begin_, end - begin_);
    begin_ = end;
    nextLine_ = line_ + static_cast<std::size_t>(std::count(stanza.begin(), stanza.end(), '\n'));
    return stanza;
}

bool RecordReader::next(PackageRecord& record) {
    record = PackageRecord();
    const std::string_view stanza = takeStanza();
    if (stanza.empty()) {
        return false;
    }
    StanzaParser(record, name_, line_).parse(stanza);
    try {
        checkRecord(record, name_);
    } catch (const StreamError& e) {
        // checkRecord() knows no lines; the one where the stanza begins is added.
        stream::ErrorRecord located = e.record();
        located.line = line_;
        throw StreamError(std::move(located));
    }
    return true;
}

}  // namespace bex::repo
