#include "stream/writer/Building.hpp"

#include "stream/StringSink.hpp"
#include "stream/WriterAccess.hpp"

namespace bex::test {

stream::PackageWriter soundWriter(stream::System& system) {
    stream::PackageWriter writer = stream::WriterAccess::withSystem(system);
    writer.control() = stream::ControlParagraph::parse(
        "Package: tool\nVersion: 1.0\nArchitecture: all\nMaintainer: Ann Lee <ann@example.org>\n"
        "Description: a tool\n and its manual\n",
        "control");
    return writer;
}

stream::WriteOptions datedOptions() {
    stream::WriteOptions options;
    options.latestTime = 1000000000;
    options.threads = 2;
    return options;
}

std::string written(const stream::PackageWriter& writer, const TemporaryDirectory& folder,
                    const stream::WriteOptions& options) {
    StringSink sink;
    writer.write(sink, folder.path().string(), options);
    return sink.bytes;
}

}  // namespace bex::test
