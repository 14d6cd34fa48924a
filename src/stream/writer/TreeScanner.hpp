#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bex/stream/Pattern.hpp"
#include "bex/stream/TreeOptions.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/Collection.hpp"
#include "stream/writer/DirectoryScanner.hpp"

namespace bex::stream {

/// Collects what stands on disk. When a scan throws, the collection is as it was before.
class TreeScanner {
public:
    /// Both must outlive this.
    TreeScanner(Collection& collection, System& system) : collection_(collection), system_(system) {}

    /// As PackageWriter::addTree(). Holds a handful of descriptors for each thread, however deep the tree is.
    void scanTree(const std::string& source, const TreeOptions& options);

    /// Adds the regular file that the path leads to. False, with nothing added, for a FIFO; throws for what is
    /// neither, and as PackageWriter::addFile().
    bool scanFile(const std::string& source, const std::string& path);

    /// Adds the rest of an open regular file. False, with nothing added, for what is not one.
    bool scanDescriptor(int descriptor, const std::string& name, const std::string& path);

private:
    void walk(const std::string& source);
    void readDirectories(int root, std::size_t next);
    std::size_t fill(ScanJob& job, std::size_t next) const;
    void take(ScanJob& job);
    void take(SourceEntry entry);
    bool isWanted(const SourceEntry& entry) const;
    void addFile(const struct stat& status, Origin origin, std::string path);

    Collection& collection_;
    System& system_;
    std::vector<Pattern> excluded_;
    const TreeOptions* options_ = nullptr;
};

}  // namespace bex::stream
