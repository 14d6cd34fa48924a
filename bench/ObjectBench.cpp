// close() and open() of the object library beside the calls of libarchive that they come down to, in turn in one
// process. For each: the word, the number of entries, our CPU seconds and libarchive's, medians.
//
//     bex_bench_object FOLDER     a folder for the package, which is removed

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <bex/MemoryMappedFile.hpp>
#include <bex/ZRBex.hpp>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kRounds = 5;

struct FreeReader {
    void operator()(archive* a) const noexcept { archive_read_free(a); }
};
struct FreeWriter {
    void operator()(archive* a) const noexcept { archive_write_free(a); }
};
struct FreeEntry {
    void operator()(archive_entry* e) const noexcept { archive_entry_free(e); }
};
using Reader = std::unique_ptr<archive, FreeReader>;
using Writer = std::unique_ptr<archive, FreeWriter>;

void require(bool succeeded) {
    if (!succeeded) {
        throw std::runtime_error("libarchive failed");
    }
}

struct File {
    std::string name;
    std::string contents;
};

/// Text that compresses about as source code does.
std::vector<File> makeFiles(std::size_t count) {
    std::vector<File> files;
    for (std::size_t i = 0; i < count; ++i) {
        File file{"usr/share/bench/" + std::to_string(i % 100) + "/file-" + std::to_string(i), ""};
        for (std::size_t line = 0; file.contents.size() < 1000; ++line) {
            file.contents +=
                "value-" + std::to_string(i * line * 7919 % 100003) + " = " + std::to_string(line) + "\n";
        }
        files.push_back(std::move(file));
    }
    return files;
}

double cpuSecondsOf(const std::function<void()>& step) {
    const std::clock_t begin = std::clock();
    step();
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

double medianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void add(archive* a, const std::string& name, const char* data, std::size_t size) {
    const std::unique_ptr<archive_entry, FreeEntry> entry(archive_entry_new());
    archive_entry_set_pathname(entry.get(), name.c_str());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(size));
    archive_entry_set_perm(entry.get(), 0600);
    archive_entry_set_mtime(entry.get(), 0, 0);
    require(archive_write_header(a, entry.get()) == ARCHIVE_OK &&
            archive_write_data(a, data, size) == static_cast<la_ssize_t>(size));
}

/// The bare calls: a payload in memory, then the ar file.
void writeWithLibarchive(const std::vector<File>& files, const std::string& path) {
    std::size_t room = 4096;
    for (const File& file : files) {
        room += file.contents.size() + 200;
    }
    std::vector<char> payload(room);
    std::size_t used = 0;
    const Writer tar(archive_write_new());
    require(archive_write_add_filter_gzip(tar.get()) == ARCHIVE_OK &&
            archive_write_set_format_ustar(tar.get()) == ARCHIVE_OK &&
            archive_write_open_memory(tar.get(), payload.data(), room, &used) == ARCHIVE_OK);
    for (const File& file : files) {
        add(tar.get(), file.name, file.contents.data(), file.contents.size());
    }
    require(archive_write_close(tar.get()) == ARCHIVE_OK);
    const Writer ar(archive_write_new());
    require(archive_write_set_format_ar_svr4(ar.get()) == ARCHIVE_OK &&
            archive_write_open_filename(ar.get(), path.c_str()) == ARCHIVE_OK);
    add(ar.get(), "debian-binary", "2.0\n", 4);
    add(ar.get(), "data.tar.gz", payload.data(), used);
    require(archive_write_close(ar.get()) == ARCHIVE_OK);
}

/// Reads every entry into memory of its own.
std::vector<File> entriesOf(archive* a) {
    std::vector<File> files;
    archive_entry* entry = nullptr;
    while (archive_read_next_header(a, &entry) == ARCHIVE_OK) {
        File file{archive_entry_pathname(entry),
                  std::string(static_cast<std::size_t>(archive_entry_size(entry)), 0)};
        require(archive_read_data(a, file.contents.data(), file.contents.size()) ==
                static_cast<la_ssize_t>(file.contents.size()));
        files.push_back(std::move(file));
    }
    return files;
}

std::size_t readWithLibarchive(const std::string& path) {
    const Reader ar(archive_read_new());
    require(archive_read_support_format_ar(ar.get()) == ARCHIVE_OK &&
            archive_read_open_filename(ar.get(), path.c_str(), 10240) == ARCHIVE_OK);
    std::size_t count = 0;
    for (const File& member : entriesOf(ar.get())) {
        if (member.name != "data.tar.gz") {
            continue;
        }
        const Reader tar(archive_read_new());
        require(archive_read_support_format_tar(tar.get()) == ARCHIVE_OK &&
                archive_read_support_filter_gzip(tar.get()) == ARCHIVE_OK &&
                archive_read_open_memory(tar.get(), member.contents.data(), member.contents.size()) == ARCHIVE_OK);
        count += entriesOf(tar.get()).size();
    }
    return count;
}

bex::sFileInMemory* recordOf(const File& file) {
    auto bytes = std::make_unique<char[]>(file.contents.size());
    std::copy(file.contents.begin(), file.contents.end(), bytes.get());
    return new bex::sFileInMemory{static_cast<unsigned long>(file.contents.size()), bytes.release(), file.name};
}

/// CPU seconds of close(), which deletes the records and leaves their bytes.
double closeSeconds(const std::vector<File>& files, const std::string& path) {
    std::filesystem::remove(path);
    bex::ZRBex package;
    package.open(path);
    package.setPackageName("bench");
    package.setVersion("1");
    package.setMaintainer("Ann Lee <ann@example.org>");
    package.setDescription("records to measure with");
    std::vector<std::unique_ptr<char[]>> bytes;
    for (const File& file : files) {
        bex::sFileInMemory* record = recordOf(file);
        bytes.emplace_back(record->bytes_);
        package.add(record);
    }
    return cpuSecondsOf([&] { package.close(); });
}

double openSeconds(const std::string& path) {
    bex::ZRBex package;
    const double seconds = cpuSecondsOf([&] { package.open(path); });
    for (const bex::sFileInMemory* file : package.getFilesInMemory()) {
        delete[] file->bytes_;
        delete file;
    }
    return seconds;
}

void compare(std::size_t count, const std::string& path) {
    const std::vector<File> files = makeFiles(count);
    std::vector<double> close;
    std::vector<double> open;
    std::vector<double> write;
    std::vector<double> read;
    for (int round = 0; round < kRounds; ++round) {
        close.push_back(closeSeconds(files, path));
        open.push_back(openSeconds(path));
        read.push_back(cpuSecondsOf([&] { require(readWithLibarchive(path) == count); }));
        write.push_back(cpuSecondsOf([&] { writeWithLibarchive(files, path); }));
    }
    std::printf("close %zu %.6f %.6f\nopen %zu %.6f %.6f\n", count, medianOf(close), medianOf(write), count,
                medianOf(open), medianOf(read));
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: bex_bench_object FOLDER\n", stderr);
        return 2;
    }
    const std::string path = (std::filesystem::path(arguments[1]) / "object.bex").string();
    try {
        const std::ostringstream quiet;  // for what close() tells
        std::cout.rdbuf(quiet.rdbuf());
        for (const std::size_t entries : {1000U, 5000U, 20000U}) {
            compare(entries, path);
        }
        std::filesystem::remove(path);
        std::cout.rdbuf(nullptr);
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bex_bench_object: %s\n", failure.what());
        return 1;
    }
}
