#include "stream/reader/ExtractLoop.hpp"

#include <string_view>

#include "stream/extract/Extraction.hpp"

namespace bex::stream {
namespace {

/// The path without its first components; "" when it has no more than these.
std::string stripped(std::string_view path, unsigned components) {
    std::string plain = plainPath(path);
    for (; components != 0 && !plain.empty(); --components) {
        const std::size_t slash = plain.find('/');
        plain.erase(0, slash == std::string::npos ? slash : slash + 1);
    }
    return plain;
}

/// Makes one entry with its contents; gives how many bytes they have.
std::uint64_t extractOne(PackageStream& stream, const Entry& entry, const std::string& path, unsigned strip,
                         Extraction& extraction) {
    extraction.begin(entry, path, entry.type == EntryType::hardlink ? stripped(entry.linkTarget, strip) : "");
    std::uint64_t position = 0;
    EntryReader::Run run;
    while (entry.type == EntryType::file && stream.nextRun(run)) {
        extraction.skip(run.offset - position);
        extraction.write(run.bytes.data(), run.bytes.size());
        position = run.offset + run.bytes.size();
    }
    extraction.skip(entry.size - position);
    extraction.end();
    return entry.size;
}

}  // namespace

ExtractResult extractAll(PackageStream& stream, const std::string& destination, const ExtractOptions& options,
                         System& system) {
    Extraction extraction(destination, stream.name(), options, system);
    ExtractResult result;
    Entry entry;
    while (stream.next(entry)) {
        const std::string path = stripped(entry.path, options.stripComponents);
        const bool isRoot = path.empty() && options.stripComponents == 0;
        if ((path.empty() && !isRoot) || (options.select && !options.select(entry))) {
            continue;
        }
        result.bytes += extractOne(stream, entry, path, options.stripComponents, extraction);
        ++result.entries;
    }
    extraction.finish();
    return result;
}

}  // namespace bex::stream
