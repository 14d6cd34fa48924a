#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bex/shlibs/Dependencies.hpp"
#include "bex/stream/Compression.hpp"
#include "verbs/Strip.hpp"

namespace bex::tool {

/// What `bex build` was asked for.
struct BuildArguments {
    std::string tree;       ///< "" for none
    std::string buildFile;  ///< "" for none
    std::string out;        ///< as targetPath() takes it
    std::string suffix = "bex";
    std::string controlFile;
    std::vector<std::string> fields;  ///< "Name=Value", in order
    /// From --name, --version, ...: field and value, in the order of the command line.
    std::vector<std::pair<std::string, std::string>> namedFields;
    std::string prefix;
    std::vector<std::string> exclusions;       ///< GLOB
    std::vector<std::string> additions;        ///< "SRC:DST"
    std::vector<std::string> symlinks;         ///< "TARGET:PATH"
    std::vector<std::string> directories;      ///< paths in the package
    std::optional<std::string> standardInput;  ///< path in the package
    std::vector<std::string> modes;            ///< "GLOB=0755"
    std::vector<std::string> owners;           ///< "GLOB=USER:GROUP"
    std::vector<std::string> scripts;          ///< "NAME=FILE"
    std::vector<std::string> conffiles;
    std::vector<std::string> conffileTrees;          ///< directories of which all files are conffiles
    std::optional<stream::Compression> compression;  ///< gzip where nothing says otherwise
    std::optional<int> level;
    std::optional<std::int64_t> time;  ///< as WriteOptions::commonTime
    shlibs::Request shlibs;            ///< where libraries are looked for; what is examined is added
    std::optional<StripKind> strip;    ///< none where nothing says otherwise
    bool keepOwner = false;
    bool normalizeModes = false;
    bool skipSpecial = false;
    bool noMd5sums = false;
    bool noIndex = false;
    bool singleStream = false;
    bool dryRun = false;
    bool check = false;
};

}  // namespace bex::tool
