#include "stream/reader/HandMade.hpp"

#include <bzlib.h>
#include <fcntl.h>
#include <libdeflate.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "Failure.hpp"
#include "bex/stream/Escape.hpp"
#include "stream/StringSink.hpp"
#include "stream/codec/CompressingSink.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::test {

namespace {

using namespace stream;

/// A file without a name.
Descriptor fileOf(const std::string& bytes) {
    Descriptor file(memfd_create("p.bex", MFD_CLOEXEC), System::real());
    if (!file || write(file.get(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("no file in memory");
    }
    return file;
}

std::string contentsOf(PackageReader& reader) {
    std::string contents;
    std::array<char, 1000> buffer{};
    while (const std::size_t count = reader.read(buffer.data(), buffer.size())) {
        contents.append(buffer.data(), count);
    }
    return contents;
}

std::string findingsPage() {
    std::ifstream in(BEX_DOCS "/findings.md");
    return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

std::string listedLine(const Entry& entry, const std::string& contents) {
    const std::string types = "fdlhcbp?";
    return types[static_cast<std::size_t>(entry.type)] + octal(entry.mode, 4) + ' ' + std::to_string(entry.uid) +
           ':' + entry.owner + ' ' + std::to_string(entry.gid) + ':' + entry.group + ' ' +
           std::to_string(entry.size) + ' ' + std::to_string(entry.mtime) + ' ' + entry.path +
           (entry.linkTarget.empty() ? "" : " -> " + entry.linkTarget) +
           (contents.empty() ? "" : " = " + escapeForDisplay(contents)) + '\n';
}

std::string tarFolder(const std::string& name) {
    TarFields fields;
    fields.name = name;
    fields.type = '5';
    fields.mode = "0000755";
    return tarEntry(fields);
}

std::string tarLink(const std::string& name, const std::string& target, char type) {
    TarFields fields;
    fields.name = name;
    fields.link = target;
    fields.type = type;
    return tarEntry(fields);
}

std::string withLongName(char type, const std::string& text, const std::string& entry) {
    TarFields fields;
    fields.name = "././@LongLink";
    fields.type = type;
    fields.magic = {"ustar  \0", 8};
    return tarEntry(fields, text + '\0') + entry;
}

std::string gzipOf(const std::string& bytes) {
    const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
        libdeflate_alloc_compressor(6), libdeflate_free_compressor);
    std::string result(libdeflate_gzip_compress_bound(compressor.get(), bytes.size()), '\0');
    result.resize(
        libdeflate_gzip_compress(compressor.get(), bytes.data(), bytes.size(), result.data(), result.size()));
    return result;
}

std::string bzip2Of(const std::string& bytes) {
    std::string from = bytes;
    std::string result(bytes.size() + bytes.size() / 100 + 600, '\0');
    auto size = static_cast<unsigned>(result.size());
    if (BZ2_bzBuffToBuffCompress(result.data(), &size, from.data(), static_cast<unsigned>(from.size()), 9, 0, 0) !=
        BZ_OK) {
        throw std::runtime_error("bzip2 failed");
    }
    result.resize(size);
    return result;
}

std::string packed(const std::string& bytes, Compression compression, std::size_t blockBytes) {
    StringSink sink;
    CompressionSettings settings;
    settings.compression = compression;
    settings.threads = 1;
    settings.blockBytes = blockBytes;
    CompressingSink compressing(sink, settings);
    compressing.write(bytes.data(), bytes.size());
    compressing.finish();
    return sink.bytes;
}

std::string arOf(const std::string& members) {
    return "!<arch>\n" + members;
}

const std::string kControlText =
    "Package: tool\nVersion: 1.0\nArchitecture: all\nMaintainer: Ann Lee <ann@example.org>\nDescription: a tool\n";

std::string headOf(const std::string& controlEntries) {
    return arMember("debian-binary", "2.0\n") +
           arMember("control.tar.gz", gzipOf(tarOf(tarFile("./control", kControlText) + controlEntries)));
}

std::string packageOf(const std::string& payloadEntries, const std::string& controlEntries) {
    return arOf(headOf(controlEntries) + arMember("data.tar.gz", gzipOf(tarOf(payloadEntries))));
}

std::string soundPackage() {
    return packageOf(tarFolder("./") + tarFolder("./bin/") + tarFile("./bin/tool", "echo tool\n") +
                     tarLink("./bin/link", "tool", '2') + tarLink("./bin/other", "./bin/tool", '1'));
}

Descriptor pipeOf(const std::string& bytes) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    Descriptor out(ends[1], System::real());
    Descriptor in(ends[0], System::real());
    const int capacity = fcntl(out.get(), F_SETPIPE_SZ, 1 << 20);
    if (static_cast<std::size_t>(capacity) < bytes.size() ||
        write(out.get(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the pipe is too small");
    }
    return in;
}

std::string reading(const std::string& bytes, Route route, const std::function<void(PackageReader&)>& use,
                    const ReadOptions& options) {
    return failureOf([&] {
        const Descriptor package = route == Route::pipe ? pipeOf(bytes) : fileOf(bytes);
        PackageReader reader(package.get(), "p.bex", options);
        use(reader);
    });
}

std::string listingOf(const std::string& bytes, Route route, const ReadOptions& options) {
    std::string listing;
    const std::string failure = reading(
        bytes, route,
        [&](PackageReader& reader) {
            Entry entry;
            while (reader.next(entry)) {
                listing += listedLine(entry, contentsOf(reader));
            }
        },
        options);
    return failure.empty() ? listing : failure;
}

std::vector<std::string> documentedCodes() {
    const std::string page = findingsPage();
    const std::string row = "\n| `";
    std::vector<std::string> codes;
    for (std::size_t at = page.find(row); at != std::string::npos; at = page.find(row, at + 1)) {
        const std::size_t begin = at + row.size();
        codes.push_back(page.substr(begin, page.find('`', begin) - begin));
    }
    std::sort(codes.begin(), codes.end());
    return codes;
}

std::vector<std::string> findingsOf(const std::string& bytes, const VerifyOptions& options) {
    std::vector<std::string> lines;
    const std::string documented = findingsPage();
    for (const Finding& finding : verify(Source::ofMemory(bytes), "p.bex", options)) {
        const std::string row = "\n| `" + finding.code + "` | ";
        const std::size_t at = documented.find(row);
        const std::string severity =
            at == std::string::npos
                ? ""
                : documented.substr(at + row.size(), documented.find(" |", at + row.size()) - at - row.size());
        const bool isWarning = finding.severity == Severity::warning;
        if (severity.find(isWarning ? "warning" : "error") == std::string::npos) {
            throw std::runtime_error("docs/findings.md lists " + finding.code + " as \"" + severity + '"');
        }
        lines.push_back(finding.code + '|' + finding.member + '|' + escapeForDisplay(finding.entry) + '|' +
                        finding.reason);
    }
    return lines;
}

}  // namespace bex::test
