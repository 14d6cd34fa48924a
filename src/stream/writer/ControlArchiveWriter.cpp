#include "stream/writer/ControlArchiveWriter.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "bex/stream/Entry.hpp"
#include "bex/stream/Sink.hpp"
#include "stream/tar/TarWriter.hpp"
#include "stream/writer/PackagePath.hpp"

namespace bex::stream {

namespace {

class StringSink : public Sink {
public:
    void write(const char* data, std::size_t size) override { bytes.append(data, size); }
    std::string bytes;
};

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

bool isMaintainerScript(std::string_view name) noexcept {
    constexpr std::string_view scripts[] = {"preinst", "postinst", "prerm", "postrm", "config"};
    return std::find(std::begin(scripts), std::end(scripts), name) != std::end(scripts);
}

std::string makeControlArchive(const std::map<std::string, std::string>& files, std::int64_t mtime,
                               const CompressionSettings& settings) {
    StringSink archive;
    CompressingSink compressed(archive, settings);
    TarWriter tar(compressed);
    tar.begin(entryOf("", EntryType::directory, 0755, mtime));
    for (const auto& [name, contents] : files) {
        Entry entry = entryOf(name, EntryType::file, isMaintainerScript(name) ? 0755 : 0644, mtime);
        entry.size = contents.size();
        tar.begin(entry);
        tar.write(contents.data(), contents.size());
    }
    tar.finish();
    compressed.finish();
    return std::move(archive.bytes);
}

}  // namespace bex::stream
