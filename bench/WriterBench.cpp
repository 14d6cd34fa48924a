// The stages of a build, one upon the other, so that each shows what it adds: walking a tree, planning, encoding
// the payload with its contents read (the floor of any build), with MD5 sums, and whole packages. The tree is the
// one that the environment's BEX_BENCH_TREE names, else /usr/include. CPU time is that of all threads.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "bex/stream/PackageWriter.hpp"
#include "bex/stream/Sink.hpp"
#include "stream/base/ProgressMeter.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/FileReader.hpp"
#include "stream/writer/PayloadWriter.hpp"
#include "stream/writer/Plan.hpp"
#include "stream/writer/TreeScanner.hpp"

namespace {

using namespace bex::stream;

class NullSink : public Sink {
public:
    void write(const char* /*data*/, std::size_t size) override { bytes += size; }
    std::uint64_t bytes = 0;
};

std::string treePath() {
    const char* given = std::getenv("BEX_BENCH_TREE");
    return given != nullptr ? given : "/usr/include";
}

const Collection& scannedTree() {
    static const Collection collection = [] {
        Collection scanned;
        TreeScanner(scanned, System::real()).scanTree(treePath(), {"", {}, true});
        return scanned;
    }();
    return collection;
}

void countEntries(benchmark::State& state, std::size_t entries) {
    state.counters["entries"] =
        benchmark::Counter(static_cast<double>(entries), benchmark::Counter::kIsIterationInvariantRate);
}

void walkTree(benchmark::State& state) {
    for (auto _ : state) {
        Collection collection;
        TreeScanner(collection, System::real()).scanTree(treePath(), {"", {}, true});
        benchmark::DoNotOptimize(collection.entries.size());
    }
    countEntries(state, scannedTree().entries.size());
}
BENCHMARK(walkTree)->Unit(benchmark::kMillisecond);

void planPayload(benchmark::State& state) {
    for (auto _ : state) {
        const Plan plan(scannedTree(), {});
        benchmark::DoNotOptimize(plan.size());
    }
    countEntries(state, scannedTree().entries.size());
}
BENCHMARK(planPayload)->Unit(benchmark::kMillisecond);

void encodePayload(benchmark::State& state) {
    const Plan plan(scannedTree(), {});
    std::uint64_t bytes = 0;
    for (auto _ : state) {
        NullSink sink;
        ProgressMeter meter({});
        CompressionSettings settings;
        settings.compression = Compression::none;
        WriteOptions options;
        options.md5sums = state.range(0) != 0;
        options.index = false;
        PayloadWriter payload(plan, scannedTree(), System::real(), meter);
        payload.write(sink, settings, options);
        payload.finish();
        bytes += sink.bytes;
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(encodePayload)->ArgName("md5")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void buildPackage(benchmark::State& state) {
    const std::string target = (std::filesystem::temp_directory_path() / "bex-bench.bex").string();
    WriteOptions options;
    options.compression = state.range(0) < 0 ? Compression::none : Compression::gzip;
    options.level = static_cast<int>(state.range(0));
    options.threads = static_cast<unsigned>(state.range(1));
    WriteResult result;
    for (auto _ : state) {
        PackageWriter writer;
        writer.control().set("Package", "bench");
        writer.control().set("Version", "1");
        writer.control().set("Architecture", "all");
        writer.control().set("Maintainer", "Ann Lee <ann@example.org>");
        writer.control().set("Description", "a tree");
        writer.addTree(treePath(), {"", {}, true});
        result = writer.write(target, options);
    }
    std::filesystem::remove(target);
    state.SetBytesProcessed(static_cast<std::int64_t>(result.payloadBytes * state.iterations()));
    state.counters["ratio"] = static_cast<double>(result.packageBytes) / static_cast<double>(result.payloadBytes);
}
BENCHMARK(buildPackage)
    ->ArgNames({"level", "threads"})
    ->ArgsProduct({{-1, 1, 6}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
