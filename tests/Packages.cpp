#include "Packages.hpp"

#include <archive.h>
#include <archive_entry.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <random>
#include <stdexcept>

namespace bex::test {

namespace {

struct Free {
    void operator()(archive* a) const { archive_free(a); }
    void operator()(archive_entry* e) const { archive_entry_free(e); }
    void operator()(FILE* f) const { pclose(f); }
};
using Handle = std::unique_ptr<archive, Free>;

void require(int result, archive* a) {
    if (result != ARCHIVE_OK) {
        throw std::runtime_error(archive_error_string(a));
    }
}

std::string restOf(archive* a) {
    std::string bytes;
    std::array<char, 65536> block{};
    la_ssize_t count = 0;
    while ((count = archive_read_data(a, block.data(), block.size())) > 0) {
        bytes.append(block.data(), static_cast<std::size_t>(count));
    }
    require(static_cast<int>(count), a);
    return bytes;
}

std::string padded(std::string text, std::size_t size, char filler = '\0') {
    text.resize(size, filler);
    return text;
}

std::string octal(std::size_t number, int digits) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%0*zo", digits, number);
    return text.data();
}

/// "length key=value\n", the length counting its own digits.
std::string paxRecord(const std::string& key, const std::string& value) {
    const std::string rest = " " + key + "=" + value + "\n";
    std::size_t length = rest.size();
    while (std::to_string(length).size() + rest.size() != length) {
        ++length;
    }
    return std::to_string(length) + rest;
}

}  // namespace

std::vector<Entry> entriesOf(const std::string& bytes) {
    const Handle reader(archive_read_new());
    archive_read_support_filter_gzip(reader.get());
    archive_read_support_format_tar(reader.get());
    archive_read_support_format_ar(reader.get());
    require(archive_read_open_memory(reader.get(), bytes.data(), bytes.size()), reader.get());
    std::vector<Entry> entries;
    archive_entry* e = nullptr;
    int result = ARCHIVE_OK;
    while ((result = archive_read_next_header(reader.get(), &e)) == ARCHIVE_OK) {
        entries.push_back(
            {archive_entry_pathname(e), "", archive_entry_mode(e), archive_entry_uid(e), archive_entry_mtime(e)});
        entries.back().bytes = restOf(reader.get());
    }
    require(result == ARCHIVE_EOF ? ARCHIVE_OK : result, reader.get());
    return entries;
}

Contents contentsOf(const std::string& archive) {
    Contents contents;
    for (const Entry& entry : entriesOf(archive)) {
        contents.emplace_back(entry.name, entry.bytes);
    }
    return contents;
}

std::string memberOf(const std::string& path, const std::string& member) {
    std::ifstream in(path, std::ios::binary);
    for (const auto& [name, bytes] : contentsOf({std::istreambuf_iterator<char>(in), {}})) {
        if (name == member) {
            return bytes;
        }
    }
    throw std::runtime_error(path + " has no " + member);
}

std::string outputOf(const std::string& command) {
    std::unique_ptr<FILE, Free> pipe(popen(("LC_ALL=C; export LC_ALL; " + command + " 2>&1").c_str(), "r"));
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

std::string randomBytes(std::size_t size) {
    std::mt19937 random;
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random() >> 24); });
    return bytes;
}

std::string gzip(const std::string& bytes) {
    const Handle writer(archive_write_new());
    std::string compressed(bytes.size() + bytes.size() / 100 + 1000, '\0');
    std::size_t used = 0;
    archive_write_add_filter_gzip(writer.get());
    archive_write_set_format_raw(writer.get());
    archive_write_set_bytes_in_last_block(writer.get(), 1);
    archive_write_open_memory(writer.get(), compressed.data(), compressed.size(), &used);
    const std::unique_ptr<archive_entry, Free> entry(archive_entry_new());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    require(archive_write_header(writer.get(), entry.get()), writer.get());
    archive_write_data(writer.get(), bytes.data(), bytes.size());
    require(archive_write_close(writer.get()), writer.get());
    compressed.resize(used);
    return compressed;
}

std::string tarEntry(const std::string& name, const std::string& bytes, char type, std::string size) {
    if (size.empty()) {
        size = octal(bytes.size(), 11);
    }
    std::string header = padded(name, 100) + padded("0000644", 8) + padded("0000000", 8) + padded("0000000", 8) +
                         padded(size, 12) + padded("00000000000", 12) + std::string(8, ' ') + type;
    header = padded(padded(header, 257) + "ustar" + '\0' + "00", 512);
    unsigned sum = 0;
    for (const char c : header) {
        sum += static_cast<unsigned char>(c);
    }
    header.replace(148, 7, octal(sum, 6) + '\0');
    return header + padded(bytes, (bytes.size() + 511) / 512 * 512);
}

std::string paxEntry(const Contents& records, const std::string& name, const std::string& bytes) {
    std::string text;
    for (const auto& [key, value] : records) {
        text += paxRecord(key, value);
    }
    return tarEntry("PaxHeader/x", text, 'x') + tarEntry(name, bytes);
}

std::string tarGz(const std::string& entries) {
    return gzip(entries + std::string(1024, '\0'));
}

std::string arFile(const std::vector<Member>& members) {
    std::string file = "!<arch>\n";
    for (const Member& m : members) {
        const std::string size = m.size.empty() ? std::to_string(m.bytes.size()) : m.size;
        file += padded(m.name + "/", 16, ' ') + padded("0", 12, ' ') + padded("0", 6, ' ') + padded("0", 6, ' ') +
                padded("100644", 8, ' ') + padded(size, 10, ' ') + "`\n" + m.bytes;
        file.append(m.bytes.size() % 2, '\n');
    }
    return file;
}

std::string packageOf(const std::string& entries, const std::string& control) {
    return arFile({{"debian-binary", "2.0\n", ""},
                   {"control.tar.gz", tarGz(tarEntry("control", control)), ""},
                   {"data.tar.gz", tarGz(entries), ""}});
}

sFileInMemory* newRecord(const std::string& name, const std::string& bytes) {
    auto buffer = std::make_unique<char[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), buffer.get());
    auto record = std::make_unique<sFileInMemory>(sFileInMemory{bytes.size(), buffer.get(), name});
    static_cast<void>(buffer.release());  // the record's from here on
    return record.release();
}

Package::~Package() {
    for (const FileOnDisk* file : getFilesOnDisk()) {
        delete file;
    }
    for (const sFileInMemory* file : getFilesInMemory()) {
        if (!handedOver_) {
            delete[] file->bytes_;
            delete file;
        }
    }
}

Package& Package::with(const std::string& name, const std::string& bytes) {
    add(newRecord(name, bytes));
    return *this;
}

Package& Package::withFields() {
    setVersion("1.0");
    setPackageName("tool");
    setDescription("a tool");
    return *this;
}

void Package::close() {
    const auto has = [this](const char* name) {
        const auto field = getMetaData().find(name);
        return field != getMetaData().end() && !field->second.empty();
    };
    handedOver_ = !getFilename().empty() && has("Version") && has("Package") && has("Description");
    if (handedOver_) {
        for (const sFileInMemory* file : getFilesInMemory()) {
            buffers_.emplace_back(file->bytes_);
        }
    }
    ZRBex::close();
}

Contents Package::payload() const {
    Contents contents;
    for (const sFileInMemory* file : getFilesInMemory()) {
        contents.emplace_back(file->name_, std::string(file->bytes_, file->size_));
    }
    return contents;
}

Contents copiesOf(const Archive& archive) {
    const std::unique_ptr<std::list<sFileInMemory*>> copies(archive.getFilesInMem());
    Contents contents;
    for (const sFileInMemory* file : *copies) {
        contents.emplace_back(file->name_, std::string(file->bytes_, file->size_));
        delete[] file->bytes_;
        delete file;
    }
    return contents;
}

namespace {

Contents released(const Archive& loaded) {
    Contents contents = copiesOf(loaded);
    for (const auto& content : contents) {
        delete[] loaded.getFileInMemory(content.first)->bytes_;
    }
    return contents;
}

}  // namespace

Contents loadedAr(const std::string& path) {
    return released(ArArchive(path));
}

Contents loadedTarGz(const std::string& bytes) {
    const std::unique_ptr<sFileInMemory> record(newRecord("in.tar.gz", bytes));
    const std::unique_ptr<char[]> buffer(record->bytes_);
    return released(TarGzArchive(record.get()));
}

}  // namespace bex::test
