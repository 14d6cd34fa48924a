#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "bex/stream/WriteOptions.hpp"
#include "stream/system/System.hpp"
#include "stream/writer/Collection.hpp"

namespace bex::stream {

/// Collects what stands on disk. When a scan throws, the collection is as it was before.
class TreeScanner {
public:
    /// Both must outlive this.
    TreeScanner(Collection& collection, System& system) : collection_(collection), system_(system) {}

    /// As PackageWriter::addTree(). Holds a handful of descriptors, however deep the tree is.
    void scanTree(const std::string& source, const TreeOptions& options);

    /// As PackageWriter::addFile().
    void scanFile(const std::string& source, const std::string& path);

private:
    struct Found;

    void walk(const std::string& source, const TreeOptions& options);
    void scanFolder(int root, const SourceEntry& folder);
    void take(int folder, const SourceEntry& parent, const std::string& name);
    void add(const Found& found, std::string path, std::string_view where);
    std::string targetOf(const Found& found, std::string_view where);
    [[noreturn]] void fail(const SourceEntry& folder, const char* action, int errorNumber) const;

    Collection& collection_;
    System& system_;
    std::set<std::string, std::less<>> excluded_;
    bool skipSpecialFiles_ = false;
};

}  // namespace bex::stream
