#pragma once

#include <string>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "output/Context.hpp"
#include "output/Json.hpp"

namespace bex::tool {

/// A package of a repository as docs/bex.schema.json describes it.
Json jsonOf(const repo::PackageId& package);

/// All of them, in order.
Json jsonOf(const std::vector<repo::PackageId>& packages);

/// "SUITE COMPONENT NAME VERSION ARCHITECTURE", separated by blanks, which none of them holds.
std::string lineOf(const repo::PackageId& package);

/// Prints a line for each package, with the word before it unless that is empty.
void printPackages(const std::string& word, const std::vector<repo::PackageId>& packages, Context& context);

/// Prints what a command added, as lines or as one object.
void printAddition(const repo::AddResult& result, Context& context);

}  // namespace bex::tool
