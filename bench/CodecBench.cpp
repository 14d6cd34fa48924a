// The codecs alone, in memory, beside zlib at its default level in the same run. Real time counts where the
// processors are free; where they are not, the CPU time of all threads is the figure to judge by. The counter
// "ratio" is compressed by uncompressed size. Corpora: "text" is the C headers, "binaries" the executables and
// shared objects of the machine, up to 64 MiB each.

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bex/stream/Compression.hpp"
#include "bex/stream/Sink.hpp"
#include "stream/codec/CompressingSink.hpp"
#include "stream/codec/Decompressor.hpp"
#include "stream/system/ByteStream.hpp"

namespace {

namespace fs = std::filesystem;
using namespace bex::stream;

constexpr std::size_t kCorpusBytes = std::size_t{64} << 20;
constexpr std::size_t kWriteBytes = std::size_t{64} << 10;  // as a tar encoder hands its blocks on

/// Files of a size that counts, by name so that two runs see the same.
void append(std::string& corpus, const fs::path& folder, std::uintmax_t smallest) {
    std::vector<fs::path> files;
    const auto options = fs::directory_options::skip_permission_denied;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder, options)) {
        if (!entry.is_symlink() && entry.is_regular_file() && entry.file_size() >= smallest) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
        if (corpus.size() >= kCorpusBytes) {
            break;
        }
        std::ifstream in(file, std::ios::binary);
        corpus.append(std::istreambuf_iterator<char>(in), {});
    }
    corpus.resize(std::min(corpus.size(), kCorpusBytes));
}

const std::string& corpus(int number) {
    static std::map<int, std::string> corpora;
    std::string& bytes = corpora[number];
    if (bytes.empty() && number == 0) {
        append(bytes, "/usr/include", 1);
    } else if (bytes.empty()) {
        append(bytes, "/usr/bin", 50000);
        append(bytes, "/usr/lib", 50000);
    }
    return bytes;
}

class StringSink : public Sink {
public:
    void write(const char* data, std::size_t size) override { bytes.append(data, size); }
    std::string bytes;
};

class StringSource : public ByteStream {
public:
    explicit StringSource(std::string_view bytes) : bytes_(bytes) {}
    std::size_t read(char* buffer, std::size_t size) override {
        const std::size_t count = bytes_.copy(buffer, size);
        bytes_.remove_prefix(count);
        return count;
    }
    std::uint64_t skip(std::uint64_t size) override {
        const std::size_t count = std::min<std::uint64_t>(size, bytes_.size());
        bytes_.remove_prefix(count);
        return count;
    }

private:
    std::string_view bytes_;
};

void compressInto(Sink& out, const std::string& data, const CompressionSettings& settings) {
    CompressingSink sink(out, settings);
    for (std::size_t at = 0; at < data.size(); at += kWriteBytes) {
        sink.write(data.data() + at, std::min(kWriteBytes, data.size() - at));
    }
    sink.finish();
}

/// One gzip member, as gzip(1) makes it.
std::string zlibCompressed(const std::string& data, int level) {
    z_stream stream{};
    if (deflateInit2(&stream, level, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("zlib failed");
    }
    std::string out(deflateBound(&stream, data.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int result = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END) {
        throw std::runtime_error("zlib failed");
    }
    return out;
}

void zlibDecompress(const std::string& data) {
    std::string out(kWriteBytes * 4, '\0');
    z_stream stream{};
    inflateInit2(&stream, 15 + 16);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    int result = Z_OK;
    while (result == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef*>(out.data());
        stream.avail_out = static_cast<uInt>(out.size());
        result = inflate(&stream, Z_NO_FLUSH);
    }
    inflateEnd(&stream);
    if (result != Z_STREAM_END) {
        throw std::runtime_error("zlib failed");
    }
}

void report(benchmark::State& state, std::size_t plainBytes, std::size_t compressedBytes) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(plainBytes));
    state.counters["ratio"] = static_cast<double>(compressedBytes) / static_cast<double>(plainBytes);
}

void zlibCompress(benchmark::State& state, int data) {
    std::size_t size = 0;
    for (auto _ : state) {
        size = zlibCompressed(corpus(data), 6).size();
    }
    report(state, corpus(data).size(), size);
}

void compress(benchmark::State& state, int data, Compression compression, int level, unsigned threads) {
    StringSink out;
    for (auto _ : state) {
        out.bytes.clear();
        compressInto(out, corpus(data), {compression, level, threads});
    }
    report(state, corpus(data).size(), out.bytes.size());
}

/// What is decompressed, made once for each kind.
const std::string& sample(int data, const std::string& kind) {
    static std::map<std::pair<int, std::string>, std::string> samples;
    std::string& bytes = samples[{data, kind}];
    if (bytes.empty() && kind == "foreign") {
        bytes = zlibCompressed(corpus(data), 6);
    } else if (bytes.empty()) {
        StringSink out;
        compressInto(out, corpus(data), {kind == "zstd" ? Compression::zstd : Compression::gzip, 6, 2});
        bytes = out.bytes;
    }
    return bytes;
}

void decompress(benchmark::State& state, int data, const std::string& kind, unsigned threads) {
    const std::string& stream = sample(data, kind);
    const Compression compression = kind == "zstd" ? Compression::zstd : Compression::gzip;
    for (auto _ : state) {
        StringSource source(stream);
        const auto from = openDecompressor(source, compression, kind, {threads, {}});
        while (!from->next().empty()) {
        }
    }
    report(state, corpus(data).size(), stream.size());
}

void skipBlocks(benchmark::State& state, int data) {
    const std::string& stream = sample(data, "blocks");
    for (auto _ : state) {
        StringSource source(stream);
        benchmark::DoNotOptimize(openDecompressor(source, Compression::gzip, "blocks", {})->skip(UINT64_MAX));
    }
    report(state, corpus(data).size(), stream.size());
}

void zlibDecompressSample(benchmark::State& state, int data) {
    const std::string& stream = sample(data, "foreign");
    for (auto _ : state) {
        zlibDecompress(stream);
    }
    report(state, corpus(data).size(), stream.size());
}

template <typename Run>
void add(const std::string& name, Run run) {
    auto* const added = benchmark::RegisterBenchmark(name.c_str(), run);  // the library's
    added->UseRealTime()->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
}

std::string withThreads(std::string name, unsigned threads) {
    return name.append("/threads:").append(std::to_string(threads));
}

void addCompression(const std::string& folder, int data) {
    add(folder + "compress/zlib/6", [=](benchmark::State& s) { zlibCompress(s, data); });
    const struct {
        const char* name;
        Compression compression;
        int level;
    } cases[] = {{"gzip/1", Compression::gzip, 1},   {"gzip/6", Compression::gzip, 6},
                 {"gzip/9", Compression::gzip, 9},   {"gzip/12", Compression::gzip, 12},
                 {"zstd/3", Compression::zstd, 3},   {"zstd/9", Compression::zstd, 9},
                 {"zstd/19", Compression::zstd, 19}, {"none", Compression::none, 0}};
    for (const auto& c : cases) {
        for (const unsigned threads : {1U, 2U}) {
            add(withThreads(folder + "compress/" + c.name, threads),
                [=](benchmark::State& s) { compress(s, data, c.compression, c.level, threads); });
        }
    }
}

void addDecompression(const std::string& folder, int data) {
    add(folder + "decompress/zlib", [=](benchmark::State& s) { zlibDecompressSample(s, data); });
    for (const char* const kind : {"blocks", "foreign", "zstd"}) {
        for (const unsigned threads : {1U, 2U}) {
            add(withThreads(folder + "decompress/" + kind, threads),
                [=](benchmark::State& s) { decompress(s, data, kind, threads); });
        }
    }
    add(folder + "skip/blocks", [=](benchmark::State& s) { skipBlocks(s, data); });
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const char* const folders[] = {"text/", "binaries/"};
    for (int data = 0; data < 2; ++data) {
        addCompression(folders[data], data);
        addDecompression(folders[data], data);
    }
    benchmark::RunSpecifiedBenchmarks();
}
