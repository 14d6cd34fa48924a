#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bex/stream/PackageReader.hpp"

namespace bex::fuzz {

/// What the inputs of a target are, so that the mutator knows which layers to unwrap.
enum class Shape { bytes, ar, gzip, tar, package };

/// One part of the library under arbitrary input. A run returns, whatever the input is, unless the library breaks
/// a promise: then it ends the process, for the fuzzer to keep the input.
struct Target {
    const char* name;
    Shape shape;
    void (*run)(std::string_view input);
};

/// All of them, in the order of the library's layers.
const std::vector<Target>& targets();

/// Throws std::runtime_error for a name that is none.
const Target& targetNamed(std::string_view name);

void runControl(std::string_view input);
void runMd5sums(std::string_view input);
void runEscape(std::string_view input);
void runBuildFile(std::string_view input);
void runElf(std::string_view input);
void runSymbols(std::string_view input);
void runRepository(std::string_view input);
void runAr(std::string_view input);
void runGzip(std::string_view input);
void runTar(std::string_view input);
void runReader(std::string_view input);
void runIndex(std::string_view input);
void runIndexed(std::string_view input);
void runExtract(std::string_view input);
void runObject(std::string_view input);
void runRoundTrip(std::string_view input);

/// Ends the process with the promise and what was found where a promise does not hold.
void require(bool holds, const char* promise, const std::string& found = {});

/// The same for two texts that have to be equal.
void requireEqual(const std::string& one, const std::string& other, const char* promise);

/// Whether the text could do to a terminal what its reader does not expect: told byte by byte, unlike the library.
bool actsOnTerminals(std::string_view text);

/// With limits so low that an input takes milliseconds.
stream::ReadOptions tightOptions(unsigned threads = 1);

}  // namespace bex::fuzz
