#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "bex/stream/Sink.hpp"
#include "stream/base/ProgressMeter.hpp"
#include "stream/tar/TarWriter.hpp"
#include "stream/writer/FileReader.hpp"
#include "stream/writer/Plan.hpp"

namespace bex::stream {

/// Writes the payload of a plan as a tar archive, in one pass over the contents.
class PayloadWriter {
public:
    /// All must outlive this.
    PayloadWriter(const Plan& plan, FileReader& reader, ProgressMeter& meter)
        : plan_(plan), reader_(reader), meter_(meter) {}

    /// Writes the whole archive, uncompressed, to `out`. Throws as PackageWriter::write(). Call once.
    void write(Sink& out, bool md5sums);

    /// The control member "md5sums", deb-md5sums(5), when it was asked for: one line for every name of a regular
    /// file, but for conffiles, which are there to be changed.
    std::string takeMd5sums() noexcept { return std::move(md5sums_); }

private:
    std::size_t md5sumsBytes() const;
    void writeEntry(TarWriter& tar, std::size_t index);
    void writeContents(TarWriter& tar, std::size_t index, const std::string& path);
    void addSum(std::size_t index, const std::string& digest);

    const Plan& plan_;
    FileReader& reader_;
    ProgressMeter& meter_;
    bool wantsSums_ = false;
    std::string md5sums_;
    std::map<std::size_t, std::string> linkedDigests_;  ///< of files with further names
};

}  // namespace bex::stream
