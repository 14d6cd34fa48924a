#pragma once

#include <string>
#include <vector>

#include "bex/stream/Finding.hpp"
#include "bex/stream/WriteOptions.hpp"
#include "output/Context.hpp"
#include "output/Json.hpp"

namespace bex::tool {

/// The library's notes about a package that was written, each as a message and a hint where one helps.
Json notesJson(const std::vector<stream::Finding>& notes);

/// Prints them on standard error; with --json nothing, since they are in the verb's object.
void printNotes(const std::string& package, const std::vector<stream::Finding>& notes, Context& context);

/// Prints the path of a package that was built, or an object, and the notes.
void printWritten(const std::string& path, const stream::WriteResult& result, Context& context);

}  // namespace bex::tool
