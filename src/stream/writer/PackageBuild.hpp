#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "bex/stream/Sink.hpp"
#include "bex/stream/WriteOptions.hpp"
#include "stream/base/ProgressMeter.hpp"
#include "stream/codec/CompressingSink.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/Collection.hpp"
#include "stream/writer/Plan.hpp"
#include "stream/writer/TrailingMembers.hpp"

namespace bex::stream {

class Spool;

/// One writing of a package. Call one of its functions, once.
class PackageBuild {
public:
    /// Finds everything wrong that shows without opening a file, and calls onEntry; throws StreamError
    /// (`invalidInput`). All must outlive this.
    PackageBuild(const Collection& collection, const WriteOptions& options, System& system);

    /// As PackageWriter::write() in a dry run. `path`: the target, whose directory and type are checked; "" for
    /// none.
    WriteResult pretend(const std::string& path);

    /// As PackageWriter::write() to a sink.
    WriteResult writeTo(Sink& out, const std::string& temporaryDirectory);
    /// As PackageWriter::write() to a path.
    WriteResult writeFile(const std::string& path);

private:
    CompressionSettings settings() const;
    std::string memberName(const char* stem) const;
    void requireFits() const;
    void checkControlMembers();
    void showEntries();
    void showControlFiles() const;
    void write(Sink& out, const std::string& temporaryDirectory);
    void writePayload(Spool& spool);
    void makeTrailing(const Spool& spool);
    void assemble(Spool& spool, Sink& out);
    void check(int descriptor, const std::string& path);
    void makeControlFiles(std::string md5sums);
    std::string controlText() const;
    std::string conffiles() const;

    const Collection& collection_;
    const WriteOptions& options_;
    System& system_;
    TrailingMembers trailing_;
    Plan plan_;
    ProgressMeter meter_;
    WriteResult result_;
    std::map<std::string, std::string> controlFiles_;  ///< contents by name
    std::string controlArchive_;                       ///< compressed
};

}  // namespace bex::stream
