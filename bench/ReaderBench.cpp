// Listing, reading, verifying and extracting packages that lie in the page cache. "files" packs small files, as
// most packages have, "large" a few large ones; both are C headers, so that they compress as text does; "foreign"
// ones are one gzip member each, as other programs write them. The baseline in the same run, "gunzip", is the
// unpacking of the same data member alone. Real time counts where the
// processors are free; elsewhere the CPU time of all threads is the figure to judge by. The argument is the number
// of threads.

#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "TemporaryDirectory.hpp"
#include "bex/stream/PackageReader.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "bex/stream/Verify.hpp"
#include "stream/ar/MemberStream.hpp"
#include "stream/codec/Decompressor.hpp"
#include "stream/reader/HandMade.hpp"
#include "stream/reader/PathTable.hpp"
#include "stream/system/Descriptor.hpp"

namespace {

namespace fs = std::filesystem;
using namespace bex::stream;

constexpr std::size_t kCorpusBytes = std::size_t{64} << 20;
constexpr std::size_t kLargeFile = std::size_t{8} << 20;

const bex::test::TemporaryDirectory& folder() {
    static const bex::test::TemporaryDirectory here;
    return here;
}

/// The machine's C headers, by name, so that two runs see the same.
std::vector<std::string> headers() {
    std::vector<std::string> paths;
    for (const auto& entry : fs::recursive_directory_iterator("/usr/include")) {
        if (!entry.is_symlink() && entry.is_regular_file()) {
            paths.push_back(entry.path().string());
        }
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::string contentsOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void addLarge(PackageWriter& writer) {
    std::string bytes;
    int number = 0;
    for (const std::string& path : headers()) {
        bytes += contentsOf(path);
        if (bytes.size() >= kLargeFile) {
            writer.addBytes(std::exchange(bytes, {}), "large/" + std::to_string(number++));
        }
        if (number * kLargeFile >= kCorpusBytes) {
            return;
        }
    }
}

void addSmall(PackageWriter& writer) {
    std::size_t total = 0;
    for (const std::string& path : headers()) {
        total += fs::file_size(path);
        if (total > kCorpusBytes) {
            return;
        }
        writer.addFile(path, path);
    }
}

/// Fields that a reader takes.
void setFields(PackageWriter& writer) {
    writer.control().set("Package", "bench");
    writer.control().set("Version", "1");
    writer.control().set("Architecture", "all");
    writer.control().set("Maintainer", "Ann Lee <ann@example.org>");
    writer.control().set("Description", "files to read");
}

/// The same payload in one gzip member without a length, as other programs write it.
void writeForeign(const PackageWriter& writer, const std::string& path) {
    WriteOptions options;
    options.compression = Compression::none;
    writer.write(path, options);
    const Member member = PackageReader(path).members().back();
    const std::string tar = folder().read(fs::path(path).filename()).substr(member.offset, member.size);
    folder().write(
        fs::path(path).filename(),
        bex::test::arOf(bex::test::headOf() + bex::test::arMember("data.tar.gz", bex::test::gzipOf(tar))));
}

struct Corpus {
    const char* name;
    bool large;
    bool foreign;
};

constexpr Corpus kCorpora[] = {{"files", false, false},
                               {"large", true, false},
                               {"foreign-files", false, true},
                               {"foreign-large", true, true}};

/// The path of that package, written once.
const std::string& packageOf(const Corpus& corpus) {
    static std::map<std::string, std::string> packages;
    std::string& path = packages[corpus.name];
    if (path.empty()) {
        path = folder() / (std::string(corpus.name) + ".bex");
        PackageWriter writer;
        setFields(writer);
        corpus.large ? addLarge(writer) : addSmall(writer);
        corpus.foreign ? writeForeign(writer, path) : static_cast<void>(writer.write(path));
    }
    return path;
}

ReadOptions threads(const benchmark::State& state) {
    ReadOptions options;
    options.threads = static_cast<unsigned>(state.range(0));
    return options;
}

void fields(benchmark::State& state, const Corpus& corpus) {
    const std::string& path = packageOf(corpus);
    for (auto _ : state) {
        benchmark::DoNotOptimize(PackageReader(path, threads(state)).control());
    }
}

void list(benchmark::State& state, const Corpus& corpus) {
    const std::string& path = packageOf(corpus);
    std::int64_t entries = 0;
    for (auto _ : state) {
        PackageReader reader(path, threads(state));
        Entry entry;
        while (reader.next(entry)) {
            ++entries;
        }
    }
    state.SetItemsProcessed(entries);
}

void readAll(benchmark::State& state, const Corpus& corpus) {
    const std::string& path = packageOf(corpus);
    std::vector<char> buffer(65536);
    std::int64_t bytes = 0;
    for (auto _ : state) {
        PackageReader reader(path, threads(state));
        Entry entry;
        while (reader.next(entry)) {
            while (const std::size_t count = reader.read(buffer.data(), buffer.size())) {
                bytes += static_cast<std::int64_t>(count);
            }
        }
    }
    state.SetBytesProcessed(bytes);
}

void verifyAll(benchmark::State& state, const Corpus& corpus) {
    const std::string& path = packageOf(corpus);
    for (auto _ : state) {
        benchmark::DoNotOptimize(verify(path, threads(state)));
    }
}

void extract(benchmark::State& state, const Corpus& corpus) {
    const std::string& path = packageOf(corpus);
    std::uint64_t bytes = 0;
    for (auto _ : state) {
        bytes += PackageReader(path, threads(state)).extract(folder() / "out").bytes;
        state.PauseTiming();
        fs::remove_all(folder() / "out");
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

void gunzip(benchmark::State& state, const Corpus& corpus) {
    const std::string& path = packageOf(corpus);
    DecompressionSettings settings;
    settings.threads = threads(state).threads;
    const Member member = PackageReader(path).members().back();
    const std::shared_ptr<Source> file = Source::ofFile(path);
    for (auto _ : state) {
        const std::unique_ptr<ByteStream> package = streamOf(file, member.offset);
        MemberStream source(*package, member.size, Place(path));
        const auto bytes = openDecompressor(source, member.compression, path, settings);
        while (!bytes->next().empty()) {
        }
    }
}

void addPaths(benchmark::State& state) {
    std::vector<std::string> paths;
    for (int i = 0; i < state.range(0); ++i) {
        paths.push_back("usr/share/folder" + std::to_string(i / 100) + "/file" + std::to_string(i));
    }
    for (auto _ : state) {
        PathTable table;
        for (const std::string& path : paths) {
            benchmark::DoNotOptimize(table.add(path, PathTable::Kind::file));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

using Operation = void (*)(benchmark::State&, const Corpus&);

void add(const std::string& name, Operation operation) {
    for (const Corpus& corpus : kCorpora) {
        benchmark::RegisterBenchmark((name + "/" + corpus.name).c_str(), operation, corpus)
            ->Arg(1)
            ->Arg(2)
            ->ArgName("threads")
            ->UseRealTime()
            ->MeasureProcessCPUTime()
            ->Unit(benchmark::kMillisecond);
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    add("fields", fields);
    add("list", list);
    add("gunzip", gunzip);
    add("read", readAll);
    add("verify", verifyAll);
    add("extract", extract);
    benchmark::RegisterBenchmark("paths", addPaths)
        ->RangeMultiplier(10)
        ->Range(1000, 1000000)
        ->Unit(benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks();
}
