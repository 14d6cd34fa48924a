#include "Failure.hpp"
#include "Target.hpp"
#include "stream/MemoryStream.hpp"
#include "stream/ar/ArReader.hpp"

namespace bex::fuzz {
namespace {

using Kind = test::MemoryStream::Kind;

/// Every member as a line, its contents behind; then what ended the walk.
std::string walk(std::string_view input, std::size_t step, Kind kind, bool readContents) {
    test::MemoryStream source(std::string(input), step, kind);
    stream::ArReader reader(source, stream::Place("p"));
    std::string told;
    std::uint64_t end = 8;
    const std::string failure = test::failureOf([&] {
        while (const std::optional<stream::Member> member = reader.next(false)) {
            require(member->offset == end + 60, "headers stand at even offsets, one behind the other");
            require(member->offset <= input.size(), "contents begin in the file");
            end = member->offset + member->size + member->size % 2;
            told += member->name + '|' + std::to_string(member->size) + '|' + std::to_string(member->mtime) + '\n';
            if (readContents) {
                std::string contents(input.size() + 1, '\0');
                contents.resize(readFully(reader.contents(), contents.data(), contents.size()));
                requireEqual(contents, std::string(input.substr(member->offset, member->size)),
                             "contents are the file's bytes");
                require(contents.size() == member->size, "contents have the size that was told");
            }
        }
    });
    require(!actsOnTerminals(failure), "an error is one safe line", failure);
    return told + failure;
}

}  // namespace

/// A walk tells the same whatever the source gives at a time, of a file and of a pipe that are sound.
void runAr(std::string_view input) {
    const std::string file = walk(input, input.size() + 1, Kind::seekable, true);
    requireEqual(file, walk(input, 1, Kind::seekable, true), "reads of any length give the same");
    requireEqual(file, walk(input, 100, Kind::seekable, false), "members that are passed over are told the same");
    const std::string pipe = walk(input, 7, Kind::pipe, true);
    requireEqual(pipe, walk(input, 50, Kind::pipe, false), "a pipe's, too");
    const auto succeeded = [](const std::string& told) { return told.empty() || told.back() == '\n'; };
    require(succeeded(file) == succeeded(pipe) && (!succeeded(file) || file == pipe), "file and pipe agree",
            file + "\n--\n" + pipe);
}

}  // namespace bex::fuzz
