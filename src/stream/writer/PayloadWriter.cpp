#include "stream/writer/PayloadWriter.hpp"

#include <string_view>

#include "stream/control/Md5.hpp"
#include "stream/control/Md5sums.hpp"

namespace bex::stream {

void PayloadWriter::write(Sink& out, bool md5sums) {
    wantsSums_ = md5sums;
    md5sums_.reserve(wantsSums_ ? md5sumsBytes() : 0);  // growing would take as much again for a moment
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
        const SourceEntry& source = plan_.source(i);
        bytes += source.type == EntryType::file && !plan_.isConffile(i) ? source.path.size() + besidePath : 0;
    }
    return bytes;
}

void PayloadWriter::writeEntry(TarWriter& tar, std::size_t index) {
    const Entry entry = plan_.entry(index);
    if (entry.type == EntryType::file) {
        tar.begin(entry);
        writeContents(tar, index, entry.path);
    } else if (entry.type == EntryType::hardlink) {
        reader_.checkName(plan_.source(index));
        tar.begin(entry);
        addSum(index, wantsSums_ ? linkedDigests_.at(*plan_.linkTo(index)) : "");
    } else {
        tar.begin(entry);
    }
    meter_.add(0, entry.path);
}

void PayloadWriter::writeContents(TarWriter& tar, std::size_t index, const std::string& path) {
    const SourceEntry& file = plan_.source(index);
    Md5 sum;
    reader_.read(file, [&](std::string_view piece) {
        tar.write(piece.data(), piece.size());
        if (wantsSums_) {
            sum.update(piece.data(), piece.size());
        }
        meter_.add(piece.size(), path);
    });
    if (wantsSums_) {
        const std::string digest = sum.hexDigest();
        addSum(index, digest);
        if (file.hasLinks) {
            linkedDigests_.emplace(index, digest);
        }
    }
}

void PayloadWriter::addSum(std::size_t index, const std::string& digest) {
    if (wantsSums_ && !plan_.isConffile(index)) {
        md5sums_ += formatMd5sum({digest, plan_.source(index).path});
    }
}

}  // namespace bex::stream
