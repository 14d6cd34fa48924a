#include <algorithm>
#include <array>
#include <string_view>

#include "Target.hpp"
#include "TemporaryDirectory.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "bex/stream/StreamError.hpp"
#include "stream/reader/HandMade.hpp"
#include "stream/writer/Building.hpp"

namespace bex::fuzz {
namespace {

/// Makes decisions from the input's bytes, front to back; behind them every number is 0 and every text empty.
class Choices {
public:
    explicit Choices(std::string_view bytes) : left_(bytes) {}

    bool more() const { return !left_.empty(); }

    /// 0 to `most`, which is below 256.
    unsigned number(unsigned most) { return static_cast<unsigned char>(text(1)[0]) % (most + 1); }

    std::uint32_t wide() { return number(255) << 24 | number(255) << 16 | number(255) << 8 | number(255); }

    std::string bytes() { return left_.empty() ? std::string() : taken(number(200)); }

private:
    std::string text(std::size_t size) {
        std::string result = taken(size);
        result.resize(size, '\0');
        return result;
    }

    std::string taken(std::size_t size) {
        const std::string result(left_.substr(0, size));
        left_.remove_prefix(result.size());
        return result;
    }

    std::string_view left_;
};

/// Runs a step of the writer, which may say that this makes no package; any other failure is one of ours.
template <typename Step>
bool taken(Step step) {
    try {
        step();
        return true;
    } catch (const stream::StreamError& failure) {
        require(failure.kind() == stream::ErrorKind::invalidInput, "what is given is refused as input",
                failure.what());
        return false;
    }
}

void addSomething(stream::PackageWriter& writer, Choices& choose) {
    const unsigned kind = choose.number(7);
    const std::string name = choose.bytes();
    stream::Attributes attributes;
    attributes.mode = choose.wide() & 0777U;
    if (choose.number(1) != 0) {
        attributes.mtime = static_cast<std::int64_t>(choose.wide()) * choose.number(8) - 1000;
    }
    const std::string value = choose.bytes();
    taken([&] {
        switch (kind) {
            case 0:
            case 1:
                return writer.addBytes(value, name, attributes);
            case 2:
                return writer.addSymlink(value, name, attributes);
            case 3:
                return writer.addDirectory(name, attributes);
            case 4:
                return static_cast<void>(writer.control().set(name, value));
            case 5:
                return writer.addControlMember(name, value);
            case 6:
                return writer.setMode(name, attributes.mode);
            default:
                return writer.addConffile(name);
        }
    });
}

stream::WriteOptions chosenOptions(Choices& choose) {
    using stream::Compression;
    stream::WriteOptions options;
    const Compression kinds[] = {Compression::gzip, Compression::none, Compression::zstd, Compression::xz};
    options.compression = kinds[choose.number(7) % 7 % 4];
    options.level = static_cast<int>(choose.number(1));
    options.threads = 1 + choose.number(1);
    options.blockBytes = 512 + choose.number(255) * 64;
    options.md5sums = choose.number(3) != 0;
    options.installedSize = choose.number(3) != 0;
    options.latestTime = choose.wide();
    return options;
}

std::string told(const std::vector<stream::Entry>& entries) {
    std::string text;
    for (const stream::Entry& e : entries) {
        text += e.path + '|' + std::to_string(static_cast<int>(e.type)) + '|' + std::to_string(e.mode) + '|' +
                std::to_string(e.size) + '|' + std::to_string(e.mtime) + '|' + std::to_string(e.uid) + '|' +
                e.owner + '|' + e.group + '|' + e.linkTarget + '\n';
    }
    return text;
}

/// Names that other programs show differently or dpkg cannot unpack, and what control members hold.
bool isLeftToTheCaller(const std::string& finding) {
    const std::array<std::string_view, 5> codes{"path-characters|", "path-long|", "control-name|", "script-",
                                                "triggers-syntax|"};
    return std::any_of(codes.begin(), codes.end(),
                       [&](std::string_view code) { return finding.compare(0, code.size(), code) == 0; });
}

/// Reads the package back: its fields, its entries, and all contents against their sources.
void check(const stream::PackageWriter& writer, const stream::WriteOptions& options, const std::string& bytes) {
    const auto whole = [&](const auto& use) {
        requireEqual(test::reading(bytes, test::Route::file, use), "", "what was written is read");
    };
    whole([&](stream::PackageReader& reader) {
        for (const stream::ControlParagraph::Field& field : writer.control().fields()) {
            const std::string* value = reader.control().find(field.name);
            require(value != nullptr && *value == field.value, "fields are read back", field.name);
        }
        std::vector<stream::Entry> entries;
        for (stream::Entry entry; reader.next(entry);) {
            entries.push_back(entry);
        }
        requireEqual(told(entries), told(writer.plan(options)), "entries are read back as planned");
    });
    for (const std::string& finding : test::findingsOf(bytes)) {
        require(isLeftToTheCaller(finding), "what was written has no fault", finding);
    }
}

}  // namespace

/// Whatever the writer takes is read back equal, has no fault, and is the same whatever the number of threads.
void runRoundTrip(std::string_view input) {
    static const test::TemporaryDirectory folder;
    Choices choose(input);
    stream::WriteOptions options = chosenOptions(choose);
    stream::PackageWriter writer = test::soundWriter();
    for (unsigned i = 0; i < 40 && choose.more(); ++i) {
        addSomething(writer, choose);
    }
    std::string bytes;
    if (!taken([&] { bytes = test::written(writer, folder, options); })) {
        return;
    }
    check(writer, options, bytes);
    options.check = true;  // compares payload and control members with their sources, in the file
    const stream::WriteResult result = writer.write(folder / "checked", options);
    require(result.packageBytes == bytes.size(), "a checked package has the same size");
    options.check = false;
    options.threads = 3 - options.threads;
    require(bytes == test::written(writer, folder, options), "threads give the same bytes");
}

}  // namespace bex::fuzz
