#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "bex/stream/Sink.hpp"
#include "bex/stream/WriteOptions.hpp"
#include "stream/codec/CompressingSink.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/Collection.hpp"
#include "stream/writer/Plan.hpp"
#include "stream/writer/Spool.hpp"

namespace bex::stream {

/// One writing of a package.
class PackageBuild {
public:
    /// Finds all that can be found wrong without opening a file; throws StreamError (`invalidInput`). All must
    /// outlive this.
    PackageBuild(const Collection& collection, const WriteOptions& options, System& system);

    /// As PackageWriter::write() to a sink. Call once.
    WriteResult writeTo(Sink& out, const std::string& temporaryFolder);

private:
    CompressionSettings settings() const;
    std::string memberName(const char* stem) const;
    void requireFits() const;
    std::map<std::string, std::string> controlFiles(std::string md5sums) const;
    std::string controlText() const;
    std::string conffiles() const;

    const Collection& collection_;
    const WriteOptions& options_;
    System& system_;
    Plan plan_;
};

}  // namespace bex::stream
