#include "verbs/TextSpool.hpp"

#include <cerrno>

#include "output/Failure.hpp"
#include "stream/base/DescriptorBytes.hpp"
#include "stream/base/UnnamedFile.hpp"

namespace bex::tool {

namespace {

stream::PlainDescriptor openIn(const std::string& directory) {
    stream::PlainDescriptor file = stream::openUnnamedFile(directory);
    if (!file) {
        throw systemError(directory, "create a temporary file", errno);
    }
    return file;
}

}  // namespace

TextSpool::TextSpool() : directory_(stream::temporaryDirectory()), file_(openIn(directory_)) {}

TextSpool::Place TextSpool::add(std::string_view text) {
    // Nothing else writes here, so that end_ is where the file ends.
    const Place place{end_, text.size()};
    // text() reads by offset, so that the file's position stays at its end.
    if (const int failure = stream::writeAll(file_.get(), text)) {
        throw systemError(directory_, "write", failure);
    }
    end_ += text.size();
    return place;
}

std::string TextSpool::text(const Place& place) const {
    std::string text(place.size, '\0');
    // Within the file: add() has returned the place.
    if (stream::readAll(file_.get(), text.data(), text.size(), place.offset) < 0) {
        throw systemError(directory_, "read", errno);
    }
    return text;
}

}  // namespace bex::tool
