#include "stream/writer/Building.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>

namespace bex::test {

stream::PackageWriter soundWriter(stream::System& system) {
    stream::PackageWriter writer(system);
    writer.control().set("Package", "tool");
    writer.control().set("Version", "1.0");
    writer.control().set("Architecture", "all");
    writer.control().set("Maintainer", "Ann Lee <ann@example.org>");
    writer.control().set("Description", "a tool\nand its manual");
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
    PackageSink sink;
    writer.write(sink, folder.path().string(), options);
    return sink.bytes;
}

std::string outputOf(const std::string& command) {
    struct Close {
        void operator()(FILE* pipe) const { pclose(pipe); }
    };
    const std::string whole = "{ export LC_ALL=C TZ=UTC; " + command + "; } 2>&1";
    std::unique_ptr<FILE, Close> pipe(popen(whole.c_str(), "r"));
    std::string output;
    std::array<char, 4096> block{};
    while (const std::size_t count = fread(block.data(), 1, block.size(), pipe.get())) {
        output.append(block.data(), count);
    }
    if (pclose(pipe.release()) != 0) {
        throw std::runtime_error(command + " failed: " + output);
    }
    return output;
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace bex::test
