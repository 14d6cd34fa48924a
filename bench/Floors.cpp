// What no program of this kind can do without, alone: the floors that bex is held against. Prints seconds that
// passed and CPU seconds of the step itself, then the bytes that came out of it.
//
//     bex_bench_floors read TREE                          open and read every file
//     bex_bench_floors write TREE FOLDER THREADS          make the tree from memory, with modes and times
//     bex_bench_floors deflate FILE LEVEL BLOCK THREADS   libdeflate over blocks of that many bytes
//     bex_bench_floors zstd FILE LEVEL BLOCK THREADS      the same with zstd
//     bex_bench_floors zlib FILE LEVEL                    one stream, for the sizes
//     bex_bench_floors inflate FILE LEVEL BLOCK THREADS   unpacks what "deflate" makes, not counting the making
//     bex_bench_floors zinflate FILE LEVEL BLOCK THREADS  the same by zlib
//     bex_bench_floors md5 FILE                           the sum of it all

#include <fcntl.h>
#include <libdeflate.h>
#include <md5.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

/// Times a step and prints it with the bytes that the step tells.
void report(const std::function<std::size_t()>& step) {
    const auto begin = std::chrono::steady_clock::now();
    const std::clock_t cpu = std::clock();
    const std::size_t bytes = step();
    const double cpuSeconds = static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    std::printf("%.6f %.6f %zu\n", elapsed.count(), cpuSeconds, bytes);
}

void require(bool succeeded, const std::string& what) {
    if (!succeeded) {
        throw std::runtime_error("can't " + what);
    }
}

std::string contentsOf(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    require(in.is_open(), "open " + path.string());
    return {std::istreambuf_iterator<char>(in), {}};
}

std::size_t readTree(const fs::path& tree) {
    std::vector<char> buffer(std::size_t{256} << 10);
    std::size_t total = 0;
    for (const auto& entry : fs::recursive_directory_iterator(tree)) {
        if (!entry.is_regular_file() || entry.is_symlink()) {
            continue;
        }
        const int file = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
        require(file >= 0, "open " + entry.path().string());
        for (ssize_t count = 0; (count = read(file, buffer.data(), buffer.size())) > 0;) {
            total += static_cast<std::size_t>(count);
        }
        close(file);
    }
    return total;
}

/// A folder, or a file with its contents.
struct Item {
    fs::path path;
    bool isFolder = false;
    std::string contents;
};

std::vector<Item> itemsOf(const fs::path& tree) {
    std::vector<Item> items;
    for (const auto& entry : fs::recursive_directory_iterator(tree)) {
        const bool isFolder = entry.is_directory();
        items.push_back(
            {entry.path().lexically_relative(tree), isFolder, isFolder ? "" : contentsOf(entry.path())});
    }
    return items;
}

/// Nobody else's until it is complete, as an extractor makes files.
void writeItem(const Item& item, const fs::path& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    require(file >= 0, "create " + path.string());
    const auto size = static_cast<ssize_t>(item.contents.size());
    const timespec times[2] = {{0, UTIME_OMIT}, {1000000000, 0}};
    require(write(file, item.contents.data(), item.contents.size()) == size && fchmod(file, 0644) == 0 &&
                futimens(file, times) == 0 && close(file) == 0,
            "write " + path.string());
}

/// Folders first, by one thread; then each thread takes the next 64 files, so that two seldom share a folder.
std::size_t writeItems(const std::vector<Item>& items, const fs::path& folder, unsigned threads) {
    constexpr std::size_t kBatch = 64;
    fs::create_directory(folder);
    std::vector<const Item*> files;
    for (const Item& item : items) {
        if (item.isFolder) {
            fs::create_directory(folder / item.path);
        } else {
            files.push_back(&item);
        }
    }
    std::atomic<std::size_t> next{0};
    std::atomic<std::size_t> total{0};
    const auto makeFiles = [&] {
        for (std::size_t begin = next.fetch_add(kBatch); begin < files.size(); begin = next.fetch_add(kBatch)) {
            for (std::size_t i = begin; i < std::min(begin + kBatch, files.size()); ++i) {
                writeItem(*files[i], folder / files[i]->path);
                total += files[i]->contents.size();
            }
        }
    };
    std::vector<std::thread> helpers;
    for (unsigned i = 1; i < threads; ++i) {
        helpers.emplace_back(makeFiles);
    }
    makeFiles();
    for (std::thread& helper : helpers) {
        helper.join();
    }
    return total;
}

std::vector<std::string_view> blocksOf(std::string_view data, std::size_t blockBytes) {
    std::vector<std::string_view> blocks;
    for (; !data.empty(); data.remove_prefix(blocks.back().size())) {
        blocks.push_back(data.substr(0, blockBytes));
    }
    return blocks;
}

/// Packs or unpacks one block: gives the bytes that it became, in a buffer of that size at least.
using Codec = std::function<std::size_t(std::string_view block, std::vector<char>& out)>;

/// Works on all blocks with a codec for each thread, keeps the results where they are wanted, and gives their sum.
std::size_t work(const std::vector<std::string_view>& blocks, std::size_t outBytes, unsigned threads,
                 const std::function<Codec()>& makeCodec, std::vector<std::string>* results = nullptr) {
    std::atomic<std::size_t> next = 0;
    std::atomic<std::size_t> total = 0;
    const auto run = [&] {
        const Codec codec = makeCodec();
        std::vector<char> out(outBytes);
        for (std::size_t i = 0; (i = next++) < blocks.size();) {
            const std::size_t size = codec(blocks[i], out);
            total += size;
            if (results != nullptr) {
                (*results)[i].assign(out.data(), size);
            }
        }
    };
    std::vector<std::thread> workers;
    for (unsigned i = 1; i < threads; ++i) {
        workers.emplace_back(run);
    }
    run();
    for (std::thread& worker : workers) {
        worker.join();
    }
    return total;
}

Codec deflater(int level) {
    const std::shared_ptr<libdeflate_compressor> compressor(libdeflate_alloc_compressor(level),
                                                            libdeflate_free_compressor);
    return [compressor](std::string_view block, std::vector<char>& out) {
        return libdeflate_gzip_compress(compressor.get(), block.data(), block.size(), out.data(), out.size());
    };
}

Codec inflater() {
    const std::shared_ptr<libdeflate_decompressor> decompressor(libdeflate_alloc_decompressor(),
                                                                libdeflate_free_decompressor);
    return [decompressor](std::string_view block, std::vector<char>& out) {
        std::size_t size = 0;
        require(libdeflate_gzip_decompress(decompressor.get(), block.data(), block.size(), out.data(), out.size(),
                                           &size) == LIBDEFLATE_SUCCESS,
                "unpack");
        return size;
    };
}

Codec zlibInflater() {
    const std::shared_ptr<z_stream> stream(new z_stream{}, [](z_stream* s) {
        inflateEnd(s);
        delete s;
    });
    require(inflateInit2(stream.get(), 31) == Z_OK, "begin zlib's stream");
    return [stream](std::string_view block, std::vector<char>& out) {
        require(inflateReset(stream.get()) == Z_OK, "begin a block");
        stream->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(block.data()));  // zlib does not write there
        stream->avail_in = static_cast<uInt>(block.size());
        stream->next_out = reinterpret_cast<Bytef*>(out.data());
        stream->avail_out = static_cast<uInt>(out.size());
        require(inflate(stream.get(), Z_FINISH) == Z_STREAM_END, "unpack");
        return out.size() - stream->avail_out;
    };
}

Codec zstdPacker(int level, std::size_t blockBytes) {
    const std::shared_ptr<ZSTD_CCtx> context(ZSTD_createCCtx(), ZSTD_freeCCtx);
    int windowLog = 10;
    while ((std::size_t{1} << windowLog) < blockBytes) {
        ++windowLog;
    }
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_compressionLevel, level);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_windowLog, windowLog);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1);
    return [context](std::string_view block, std::vector<char>& out) {
        return ZSTD_compress2(context.get(), out.data(), out.size(), block.data(), block.size());
    };
}

std::size_t zlibBytes(std::string_view data, int level) {
    std::vector<char> out(std::size_t{1} << 20);
    z_stream stream = {};
    require(deflateInit2(&stream, level, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY) == Z_OK, "begin zlib's stream");
    std::size_t total = 0;
    for (int result = Z_OK; result != Z_STREAM_END;) {
        const std::size_t given = std::min(data.size(), out.size());
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));  // zlib does not write there
        stream.avail_in = static_cast<uInt>(given);
        stream.next_out = reinterpret_cast<Bytef*>(out.data());
        stream.avail_out = static_cast<uInt>(out.size());
        result = deflate(&stream, given == data.size() ? Z_FINISH : Z_NO_FLUSH);
        data.remove_prefix(given - stream.avail_in);
        total += out.size() - stream.avail_out;
    }
    deflateEnd(&stream);
    return total;
}

std::size_t md5Bytes(std::string_view data) {
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<const std::uint8_t*>(data.data()), data.size());
    char text[MD5_DIGEST_STRING_LENGTH];
    MD5End(&context, text);
    return data.size();
}

void reportCodec(const std::string& kind, const std::vector<std::string>& arguments) {
    const std::string data = contentsOf(arguments.at(1));
    const int level = std::stoi(arguments.at(2));
    const std::size_t blockBytes = std::stoul(arguments.at(3));
    const auto threads = static_cast<unsigned>(std::stoul(arguments.at(4)));
    const std::size_t bound = std::max(ZSTD_compressBound(blockBytes), blockBytes + blockBytes / 100 + 64);
    const std::vector<std::string_view> blocks = blocksOf(data, blockBytes);
    if (kind == "zstd") {
        report([&] { return work(blocks, bound, threads, [&] { return zstdPacker(level, blockBytes); }); });
    } else if (kind == "deflate") {
        report([&] { return work(blocks, bound, threads, [&] { return deflater(level); }); });
    } else {
        std::vector<std::string> packed(blocks.size());
        work(
            blocks, bound, threads, [&] { return deflater(level); }, &packed);
        const std::vector<std::string_view> views(packed.begin(), packed.end());
        const auto codec = kind == "zinflate" ? zlibInflater : inflater;
        report([&] { return work(views, blockBytes, threads, codec); });
    }
}

void run(const std::vector<std::string>& arguments) {
    const std::string& kind = arguments.at(0);
    if (kind == "read") {
        report([&] { return readTree(arguments.at(1)); });
    } else if (kind == "write") {
        const std::vector<Item> items = itemsOf(arguments.at(1));
        const auto threads = static_cast<unsigned>(std::stoul(arguments.at(3)));
        report([&] { return writeItems(items, arguments.at(2), threads); });
    } else if (kind == "md5") {
        const std::string data = contentsOf(arguments.at(1));
        report([&] { return md5Bytes(data); });
    } else if (kind == "zlib") {
        const std::string data = contentsOf(arguments.at(1));
        report([&] { return zlibBytes(data, std::stoi(arguments.at(2))); });
    } else {
        reportCodec(kind, arguments);
    }
}

}  // namespace

int main(int count, char** arguments) {
    try {
        run({arguments + 1, arguments + count});
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bex_bench_floors: %s\n", failure.what());
        return 1;
    }
}
