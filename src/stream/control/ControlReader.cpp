#include "bex/stream/ControlReader.hpp"

#include <algorithm>
#include <utility>
#include <vector>

#include "stream/base/FirstFailure.hpp"
#include "stream/base/Place.hpp"
#include "stream/base/Refill.hpp"
#include "stream/control/ParagraphParser.hpp"
#include "stream/control/SignedText.hpp"
#include "stream/system/ByteStream.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kReadBytes = std::size_t{64} << 10;

/// Splits what is read into lines. Holds the line that is read and what came with its end.
class LineReader {
public:
    LineReader(ControlReader::Read read, std::size_t mostBytes)
        : read_(std::move(read)), mostBytes_(std::max(mostBytes, std::size_t{1})) {}

    /// The next line without its newline, valid until the next call; false at the end. Of a line of more than
    /// `mostBytes` bytes it returns a part that is longer, too.
    bool next(std::string_view& line) {
        // From begin_ on: bytes before it were part of lines already given out.
        std::size_t searched = begin_;
        std::size_t end = buffer_.find('\n', searched);
        // Ends with a newline, with the input's end, or with more bytes than a paragraph may have: a line without
        // an end cannot fill the memory.
        while (end == std::string::npos && buffer_.size() - begin_ <= mostBytes_) {
            // Bytes before `searched` hold no newline: a long line is searched once, not once for each read.
            searched = buffer_.size() - begin_;
            if (!refill(buffer_, begin_, kReadBytes, read_)) {
                break;
            }
            end = buffer_.find('\n', searched);
        }
        // Without a newline at the end, what is left is the last line.
        if (end == std::string::npos && begin_ == buffer_.size()) {
            return false;
        }
        const std::size_t length = std::min(end, buffer_.size()) - begin_;
        line = std::string_view(buffer_).substr(begin_, length);
        begin_ = std::min(begin_ + length + 1, buffer_.size());
        return true;
    }

private:
    ControlReader::Read read_;
    std::size_t mostBytes_;
    std::string buffer_;
    std::size_t begin_ = 0;  ///< of the bytes that no line has had
};

ControlReader::Read readerOf(const std::string& path, System& system) {
    // Shared, because a function object must be copyable.
    const std::shared_ptr<ByteStream> stream = openInput(path, system).stream;
    return [stream](char* buffer, std::size_t size) { return stream->read(buffer, size); };
}

}  // namespace

class ControlReader::State {
public:
    State(Read read, std::string_view name, std::size_t paragraphBytes)
        : lines_(std::move(read), paragraphBytes),
          parser_(Place(std::string(name))),
          paragraphBytes_(paragraphBytes) {}

    /// The fields of the next paragraph; none at the end.
    std::vector<ControlParagraph::Field> next() {
        // After a failure a caller that goes on would get wrong line numbers and fields.
        return failure_.guard([this] { return read(); });
    }

private:
    std::vector<ControlParagraph::Field> read() {
        std::string_view line;
        bytes_ = 0;
        // The parser ends at an empty line after a field. The line reader keeps what follows for the next call.
        while (!parser_.ended() && lines_.next(line)) {
            take(line);
        }
        if (!parser_.ended()) {
            // Only at the end of the input: signed text may hold several paragraphs.
            signature_.finish(parser_);
        }
        return parser_.takeFields();
    }

    void take(std::string_view line) {
        bytes_ += line.size();
        if (bytes_ > paragraphBytes_) {
            // Before the line reaches the parser: nothing of a paragraph that is too large is kept beyond the
            // limit.
            parser_.failNext("a paragraph of more than " + std::to_string(paragraphBytes_) + " bytes",
                             ErrorKind::limitExceeded);
        }
        signature_.take(line, parser_);
    }

    LineReader lines_;
    ParagraphParser parser_;
    SignedText signature_;
    std::size_t paragraphBytes_;
    std::size_t bytes_ = 0;  ///< of the paragraph so far, comments before it included
    FirstFailure failure_;
};

ControlReader::ControlReader(Read read, std::string_view name, std::size_t paragraphBytes)
    : state_(std::make_unique<State>(std::move(read), name, paragraphBytes)) {}

ControlReader ControlReader::open(const std::string& path, std::size_t paragraphBytes) {
    return {readerOf(path, System::real()), path, paragraphBytes};
}

ControlReader ControlReader::ofText(std::string_view text, std::string_view name) {
    // The limit is beyond the text: it is in memory already, and need not be bounded again.
    return {readerOfText(text), name, text.size() + 1};
}

ControlReader::~ControlReader() = default;
ControlReader::ControlReader(ControlReader&&) noexcept = default;
ControlReader& ControlReader::operator=(ControlReader&&) noexcept = default;

bool ControlReader::next(ControlParagraph& paragraph) {
    paragraph.fields_ = state_->next();
    return !paragraph.empty();
}

}  // namespace bex::stream
