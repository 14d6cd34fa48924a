#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bex/shlibs/Dependencies.hpp"
#include "shlibs/elf/ElfFile.hpp"
#include "shlibs/search/Root.hpp"

namespace bex::shlibs {

/// An ELF file that is examined.
struct Subject {
    std::string name;  ///< in messages and reasons
    std::string path;  ///< "/usr/bin/tool": in its tree or package, else on disk
    Machine machine;
    std::shared_ptr<Root> root;       ///< its tree or package; null for a file that stands in none
    std::string tree;                 ///< the tree's directory; empty for packages and files in none
    std::string diskPath;             ///< empty in packages
    std::optional<ElfFile> contents;  ///< of files in packages, which are read once; others are read when needed
};

/// What the inputs of a request come to.
struct Subjects {
    std::vector<Subject> files;
    std::string architecture;  ///< of the packages among the inputs, where they agree and it is not "all"
};

/// Finds the ELF files of the request's inputs and payload. Throws stream::StreamError for an input that is
/// neither ELF file, directory nor package, and what stream::PackageReader throws.
Subjects findSubjects(const Request& request);

}  // namespace bex::shlibs
