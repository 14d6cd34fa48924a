#include "stream/writer/PayloadWriter.hpp"

#include <string_view>

#include "stream/control/Md5.hpp"
#include "stream/control/Md5sums.hpp"

namespace bex::stream {

void PayloadWriter::write(Sink& out, bool md5sums) {
    wantsSums_ = md5sums;
    if (wantsSums_) {
        md5sums_.reserve(md5sumsBytes());  // growing would take as much again for a moment
    }
    TarWriter tar(out);
    for (std::size_t i = 0; i < plan_.size(); ++i) {
        writeEntry(tar, i);
    }
    tar.finish();
}

std::size_t PayloadWriter::md5sumsBytes() const {
    constexpr std::size_t besidePath = 32 + 2 + 1;  // digits, blanks, newline
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < plan_.size(); ++i) {
        if (plan_.file(i).type == EntryType::file && !plan_.isConffile(i)) {
            bytes += plan_.source(i).path.size() + besidePath;
        }
    }
    return bytes;
}

void PayloadWriter::writeEntry(TarWriter& tar, std::size_t index) {
    const Entry entry = plan_.entry(index);
    if (entry.type == EntryType::file) {
        tar.begin(entry);
        writeContents(tar, index, entry.path);
    } else if (entry.type == EntryType::hardlink) {
        const SourceEntry& name = plan_.source(index);
        if (name.isFromDisk && &name != &plan_.file(index)) {
            reader_.checkName(name);
        }
        tar.begin(entry);
        if (wantsSums_) {
            addSum(index, linkedDigests_.at(*plan_.linkTo(index)));
        }
    } else {
        tar.begin(entry);
    }
    meter_.add(0, entry.path);
}

void PayloadWriter::writeContents(TarWriter& tar, std::size_t index, const std::string& path) {
    Md5 sum;
    const auto store = [&](std::string_view piece) {
        tar.write(piece.data(), piece.size());
        meter_.add(piece.size(), path);
    };
    reader_.read(plan_.file(index), store, &sum);
    if (wantsSums_) {
        const std::string digest = sum.hexDigest();
        addSum(index, digest);
        if (plan_.hasLinks(index)) {
            linkedDigests_.emplace(index, digest);
        }
    }
}

void PayloadWriter::addSum(std::size_t index, const std::string& digest) {
    if (!plan_.isConffile(index)) {
        md5sums_ += formatMd5sum({digest, plan_.source(index).path});
    }
}

}  // namespace bex::stream
