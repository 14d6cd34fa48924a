#pragma once

#include <string>
#include <vector>

#include "bex/repo/Repository.hpp"
#include "repo/files/Files.hpp"
#include "repo/suite/Layout.hpp"

namespace bex::repo {

/// The suites of a repository in their order; `.bex/suites` is a control file with a paragraph for each. Throws
/// StreamError (`inputOutput`) where `root` is not a repository, and (`damaged`) for a file that is not
/// understood.
std::vector<SuiteSettings> readSettings(const Layout& layout);

void writeSettings(const Layout& layout, const std::vector<SuiteSettings>& suites, System& system);

/// The settings with what `wanted` says of the suite of that name, which is appended where it is new. Throws
/// StreamError (`invalidInput`) for words that can't stand in a path and texts of several lines.
std::vector<SuiteSettings> withSuite(std::vector<SuiteSettings> suites, const SuiteSettings& wanted);

/// The suite of that name, or the only one for "". Throws StreamError (`invalidInput`).
const SuiteSettings& findSuite(const std::vector<SuiteSettings>& suites, const std::string& name);

/// The component of that name, or the first one for "". Throws StreamError (`invalidInput`).
std::string findComponent(const SuiteSettings& suite, const std::string& name);

/// Throws StreamError (`invalidInput`) for a package of an architecture that the suite does not have; messages
/// call the package `file`.
void requireArchitecture(const SuiteSettings& suite, const std::string& architecture, const std::string& file);

/// The words between blanks.
std::vector<std::string> wordsOf(std::string_view text);

/// The words with `separator` between them.
std::string joined(const std::vector<std::string>& words, std::string_view separator = " ");

}  // namespace bex::repo
