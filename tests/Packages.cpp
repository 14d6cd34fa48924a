#include "Packages.hpp"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <map>
#include <stdexcept>

namespace bex::test {
namespace {

void require(bool holds, const std::string& what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

Contents contentsOf(const std::list<sFileInMemory*>& files) {
    Contents contents;
    for (const sFileInMemory* file : files) {
        contents.emplace_back(file->name_, std::string(file->bytes_, file->size_));
    }
    return contents;
}

void destroy(const std::list<sFileInMemory*>& files) {
    for (const sFileInMemory* file : files) {
        delete[] file->bytes_;
        delete file;
    }
}

Contents released(Archive&& loaded) {
    const Contents contents = copiesOf(loaded);
    loaded.releaseBuffers();
    return contents;
}

}  // namespace

std::vector<Entry> entriesOf(const std::string& bytes) {
    const std::unique_ptr<archive, decltype(&archive_read_free)> reader(archive_read_new(), archive_read_free);
    archive* a = reader.get();
    archive_read_support_filter_gzip(a);
    archive_read_support_format_tar(a);
    archive_read_support_format_ar(a);
    require(archive_read_open_memory(a, bytes.data(), bytes.size()) == ARCHIVE_OK, "no archive");
    std::vector<Entry> entries;
    archive_entry* e = nullptr;
    int result = ARCHIVE_OK;
    while ((result = archive_read_next_header(a, &e)) == ARCHIVE_OK) {
        std::string data(static_cast<std::size_t>(archive_entry_size(e)), '\0');
        require(archive_read_data(a, data.data(), data.size()) == archive_entry_size(e), "data cut short");
        entries.push_back({archive_entry_pathname(e), data, archive_entry_mode(e),
                           static_cast<long>(archive_entry_uid(e)), archive_entry_mtime(e)});
    }
    require(result == ARCHIVE_EOF, "a header that libarchive refuses");
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
    const Contents members = contentsOf(std::string(std::istreambuf_iterator<char>(in), {}));
    return std::map<std::string, std::string>(members.begin(), members.end()).at(member);
}

std::string gzip(const std::string& bytes) {
    const TemporaryDirectory dir;
    outputOf("gzip " + dir.write("x", bytes));
    return dir.read("x.gz");
}

std::string tarEntry(const std::string& name, const std::string& bytes, char type, const std::string& size) {
    TarFields fields;
    fields.name = name;
    fields.type = type;
    fields.size = size;
    return tarEntry(fields, bytes);
}

std::string tarGz(const std::string& entries) {
    return gzip(tarOf(entries));
}

std::string arFile(const std::vector<Member>& members) {
    std::string file = "!<arch>\n";
    for (const Member& m : members) {
        file += arMember(m.name + '/', m.bytes, m.size);
    }
    return file;
}

std::string packageFile(const std::string& entries, const std::string& control) {
    return arFile({{"debian-binary", "2.0\n", ""},
                   {"control.tar.gz", tarGz(tarEntry("control", control)), ""},
                   {"data.tar.gz", tarGz(entries), ""}});
}

sFileInMemory* newRecord(const std::string& name, const std::string& bytes) {
    auto* record = new sFileInMemory{bytes.size(), new char[bytes.size()], name};
    std::copy(bytes.begin(), bytes.end(), record->bytes_);
    return record;
}

Package::~Package() {
    for (const FileOnDisk* file : getFilesOnDisk()) {
        delete file;
    }
    if (!handedOver_) {
        destroy(getFilesInMemory());
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
    auto fields = getMetaData();
    handedOver_ = !getFilename().empty() && !fields["Version"].empty() && !fields["Package"].empty() &&
                  !fields["Description"].empty();
    for (const sFileInMemory* file : handedOver_ ? getFilesInMemory() : std::list<sFileInMemory*>()) {
        buffers_.emplace_back(file->bytes_);
    }
    ZRBex::close();
}

Contents Package::payload() const {
    return contentsOf(getFilesInMemory());
}

Contents copiesOf(const Archive& archive) {
    const std::unique_ptr<std::list<sFileInMemory*>> copies(archive.getFilesInMem());
    const Contents contents = contentsOf(*copies);
    destroy(*copies);
    return contents;
}

Contents loadedAr(const std::string& path) {
    return released(ArArchive(path));
}

Contents loadedTarGz(const std::string& bytes) {
    const std::unique_ptr<sFileInMemory> record(newRecord("in.tar.gz", bytes));
    const std::unique_ptr<char[]> buffer(record->bytes_);
    return released(TarGzArchive(record.get()));
}

}  // namespace bex::test
