#include "stream/writer/ControlArchiveWriter.hpp"

#include <cstddef>
#include <string_view>

#include "bex/stream/Entry.hpp"
#include "bex/stream/Sink.hpp"
#include "stream/base/StringSink.hpp"
#include "stream/control/MemberOddities.hpp"
#include "stream/tar/TarWriter.hpp"
#include "stream/writer/PackagePath.hpp"

namespace bex::stream {

namespace {

Entry entryOf(std::string_view name, EntryType type, std::uint32_t mode, std::int64_t mtime) {
    Entry entry;
    entry.path = storedPath(name, type);
    entry.type = type;
    entry.mode = mode;
    entry.mtime = mtime;
    entry.owner = "root";
    entry.group = "root";
    return entry;
}

}  // namespace

Entry controlEntryOf(std::string_view name, std::size_t size, std::int64_t mtime) {
    Entry entry = entryOf(name, EntryType::file, isMaintainerScript(name) ? 0755 : 0644, mtime);
    entry.size = size;
    return entry;
}

std::string compressed(const std::function<void(Sink&)>& write, const CompressionSettings& settings) {
    // In memory: the control archive is bounded by what its caller holds in memory anyway.
    StringSink archive;
    CompressingSink sink(archive, settings);
    write(sink);
    sink.finish();
    return std::move(archive.bytes);
}

std::string makeControlArchive(const std::map<std::string, std::string>& files, std::int64_t mtime,
                               const CompressionSettings& settings) {
    const auto write = [&](Sink& out) {
        TarWriter tar(out);
        tar.begin(entryOf("", EntryType::directory, 0755, mtime));
        // A map, so in the order of names: equal contents give equal bytes.
        for (const auto& [name, contents] : files) {
            tar.begin(controlEntryOf(name, contents.size(), mtime));
            tar.write(contents.data(), contents.size());
        }
        tar.finish();
    };
    return compressed(write, settings);
}

}  // namespace bex::stream
