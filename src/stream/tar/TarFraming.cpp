#include "stream/tar/TarFraming.hpp"

#include <algorithm>
#include <charconv>
#include "stream/base/Place.hpp"

namespace bex::stream {
namespace {

constexpr char kLongPath = 'L';
constexpr char kLongLink = 'K';
constexpr char kPaxRecords = 'x';

/// Headers that are no entry, or of which some readers make none: Solaris' and Sun's extensions, global pax
/// headers, volume labels and their like.
constexpr std::string_view kOtherExtensions = "AXgVMND";

/// The shortest way to write one block of a sparse map in the contents: "0\n0\n".
constexpr std::uint64_t kShortestMapEntry = 4;

/// The name or target that a GNU extension carries. The NUL that ends it counts: tar reads on without it.
std::string longText(std::string_view body, const Place& place) {
    const std::string_view text = body.substr(0, std::min(body.find('\0'), body.size()));
    if (text.empty() || text.size() == body.size() || !isZeroBlock(body.substr(text.size()))) {
        place.fail(ErrorKind::damaged, "tar-long", "extended name that is empty, has no NUL or goes on behind it");
    }
    return std::string(text);
}

}  // namespace

bool TarFraming::nextHeaders() {
    headers_.clear();
    given_ = 0;
    longPath_.reset();
    longLink_.reset();
    pax_.reset();
    for (;;) {
        const std::size_t at = headers_.size();
        if (!readBlock()) {
            failTruncated();  // guard(return false): the end marks of tar
        }
        const std::string_view block = std::string_view(headers_).substr(at);
        if (isZeroBlock(block)) {
            if (at != 0) {
                place_.fail(ErrorKind::damaged, "tar-header", "extended header without an entry behind it");
            }
            finish();
            return false;
        }
        TarHeader header = parseTarHeader(block, place_);
        if (header.type != kLongPath && header.type != kLongLink && header.type != kPaxRecords) {
            combine(std::move(header));
            return true;
        }
        takeExtension(header);
    }
}

std::string_view TarFraming::piece() {
    if (given_ < headers_.size()) {
        const std::string_view rest = std::string_view(headers_).substr(given_);
        given_ = headers_.size();
        handedOut_ += rest.size();
        return rest;
    }
    const std::string_view bytes = take(bodyLeft_);
    bodyLeft_ -= bytes.size();
    handedOut_ += bytes.size();
    return bytes;
}

std::uint64_t TarFraming::skip(std::uint64_t size) {
    const std::uint64_t wanted = std::min(size, left());
    const std::uint64_t fromHeaders = std::min<std::uint64_t>(wanted, headers_.size() - given_);
    given_ += static_cast<std::size_t>(fromHeaders);
    const std::uint64_t fromView = std::min<std::uint64_t>(wanted - fromHeaders, view_.size());
    view_.remove_prefix(static_cast<std::size_t>(fromView));
    const std::uint64_t rest = wanted - fromHeaders - fromView;
    if (rest != 0 && bytes_.skip(rest) < rest) {
        failTruncated();
    }
    bodyLeft_ -= fromView + rest;
    handedOut_ += wanted;
    return wanted;
}

/// Up to `size` bytes, at least one unless `size` is 0.
std::string_view TarFraming::take(std::uint64_t size) {
    if (view_.empty() && size != 0) {
        view_ = bytes_.next();
        if (view_.empty()) {
            failTruncated();
        }
    }
    const std::string_view bytes =
        view_.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(size, view_.size())));
    view_.remove_prefix(bytes.size());
    return bytes;
}

/// Appends a block to the headers; false when the stream ends before its first byte.
bool TarFraming::readBlock() {
    if (view_.empty()) {
        view_ = bytes_.next();
        if (view_.empty()) {
            return false;
        }
    }
    const std::size_t end = headers_.size() + kTarBlockBytes;
    while (headers_.size() < end) {
        headers_ += take(end - headers_.size());
    }
    return true;
}

void TarFraming::takeExtension(const TarHeader& header) {
    if (header.type == kPaxRecords) {
        const std::string_view body = readBody(header, limits_.extendedHeaderBytes, "extendedHeaderBytes");
        if (pax_) {
            place_.fail(ErrorKind::damaged, "tar-pax", "two extended headers for one entry");
        }
        pax_ = parsePaxRecords(body, place_);
        return;
    }
    std::optional<std::string>& text = header.type == kLongPath ? longPath_ : longLink_;
    const std::string_view body = readBody(header, limits_.nameBytes + 1, "nameBytes");
    if (text) {  // guard: two long names for one entry
        place_.fail(ErrorKind::damaged, "tar-long", "two extended names for one entry");
    }
    text = longText(body, place_);
}

/// The contents of an extension, which stay in the headers. Valid until more is read.
std::string_view TarFraming::readBody(const TarHeader& header, std::uint64_t limit, const char* what) {
    if (header.size > limit) {  // guard: extended headers
        place_.failLimit(what, "extended header of " + std::to_string(header.size) + " bytes; the limit " + what +
                                   " allows " + std::to_string(limit));
    }
    const std::size_t at = headers_.size();
    for (std::uint64_t blocks = paddedToBlocks(header.size) / kTarBlockBytes; blocks != 0; --blocks) {
        if (!readBlock()) {
            failTruncated();
        }
    }
    return std::string_view(headers_).substr(at, static_cast<std::size_t>(header.size));
}

void TarFraming::combine(TarHeader header) {
    if ((pax_ && pax_->path && longPath_) || (pax_ && pax_->link && longLink_)) {
        place_.fail(ErrorKind::damaged, "tar-pax", "two kinds of extended names for one entry");
    }
    const bool isLink = header.type == '1' || header.type == '2';
    entry_ = std::move(header);
    const PaxRecords records = pax_.value_or(PaxRecords());
    entry_.path = longPath_.value_or(records.path.value_or(std::move(entry_.path)));
    entry_.link = isLink ? longLink_.value_or(records.link.value_or(std::move(entry_.link))) : std::string();
    entry_.size = records.size.value_or(entry_.size);
    sparse_ = entry_.type == 'S' || records.sparse;
    checkEntry();
    bodyLeft_ = paddedToBlocks(entry_.size);
    if (entry_.type == 'S') {
        readSparseMap(entry_.sparseContinues);
    } else if (records.mapInBody) {
        checkMapInBody();
    }
}

void TarFraming::checkEntry() {
    const bool isFile = entry_.type == '0' || entry_.type == '\0' || entry_.type == 'S';
    const bool isDirectory = entry_.type == '5' || (isFile && !entry_.path.empty() && entry_.path.back() == '/');
    // guard: global pax headers and their like
    if (kOtherExtensions.find(entry_.type) != std::string_view::npos) {
        place_.at(entry_.path)
            .fail(ErrorKind::unsupported, "tar-type",
                  "header of type " + quotedName({entry_.type}) + " is not supported");
    }
    // Readers disagree on whether anything is stored behind such a header.
    // guard: sizes of what has no contents
    if (entry_.size != 0 && (isDirectory || (entry_.type >= '1' && entry_.type <= '6'))) {
        place_.at(entry_.path)
            .fail(ErrorKind::damaged, "tar-size",
                  "a size of " + std::to_string(entry_.size) + " for what has no contents");
    }
    if (sparse_ && (isDirectory || (entry_.type != '0' && entry_.type != 'S'))) {
        place_.at(entry_.path).fail(ErrorKind::damaged, "tar-sparse", "sparse, but no file");
    }
    if (pax_) {
        place_.at(entry_.path).note("pax-header", "has an extended header (pax), which dpkg does not read");
    }
    if (sparse_) {
        place_.at(entry_.path).note("sparse", "is stored sparse, which dpkg does not read");
    }
}

void TarFraming::readSparseMap(bool continues) {
    std::uint64_t bytes = 0;
    while (continues) {
        bytes += kTarBlockBytes;
        holdMapAgainstLimit(bytes);
        const std::size_t at = headers_.size();
        if (!readBlock()) {
            failTruncated();
        }
        continues = sparseMapContinues(std::string_view(headers_).substr(at));
    }
}

/// The decoder keeps as many blocks of the map as the first line of the contents says.
void TarFraming::checkMapInBody() {
    if (bodyLeft_ == 0 || !readBlock()) {
        failTruncated();
    }
    bodyLeft_ -= kTarBlockBytes;
    const std::string_view first = std::string_view(headers_).substr(headers_.size() - kTarBlockBytes);
    std::uint64_t count = 0;
    const auto [stop, error] = std::from_chars(first.data(), first.data() + first.size(), count);
    if (error != std::errc() || stop == first.data() + first.size() || *stop != '\n') {
        place_.at(entry_.path).fail(ErrorKind::damaged, "tar-sparse", "sparse map without a length");
    }
    holdMapAgainstLimit(count > limits_.extendedHeaderBytes ? count : count * kShortestMapEntry);
}

void TarFraming::holdMapAgainstLimit(std::uint64_t bytes) const {
    if (bytes > limits_.extendedHeaderBytes) {  // guard: lengths of sparse maps
        place_.at(entry_.path)
            .failLimit("extendedHeaderBytes", "sparse map that is longer than the limit extendedHeaderBytes, " +
                                                  std::to_string(limits_.extendedHeaderBytes) + " bytes");
    }
}

/// Reads what is left behind the first end mark: another one and padding, and perhaps what nobody extracts.
void TarFraming::finish() {
    headers_.clear();
    if (!readBlock()) {
        place_.note("tar-end", "ends after one block of zeros instead of two");
    } else if (!isZeroBlock(headers_)) {
        place_.note("tar-trailing", "bytes behind the end mark, which are never extracted");
    }
    headers_.clear();
    bool clean = isZeroBlock(view_);
    while (!(view_ = bytes_.next()).empty()) {
        clean = clean && isZeroBlock(view_);
    }
    if (!clean) {
        place_.note("tar-trailing", "bytes behind the end marks, which are never extracted");
    }
}

void TarFraming::failTruncated() const {
    place_.fail(ErrorKind::damaged, "tar-truncated", "the archive ends before its end marks");
}

}  // namespace bex::stream
