#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "stream/base/Turns.hpp"
#include "stream/codec/KeptBytes.hpp"
#include "stream/extract/Directories.hpp"
#include "stream/extract/DirectoryWalk.hpp"
#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/OutputFile.hpp"
#include "stream/extract/RestoredAttributes.hpp"

namespace bex::stream {

/// A regular file whose parts are written by several jobs, in the order of the parts. It is created with the first
/// one and gets its attributes and its name with the last; destroyed before that, it is removed.
class LargeFile {
public:
    struct Part {
        std::uint64_t offset;  ///< in the file
        bool last;
    };

    /// `path` is the plain path; `context` has the entry's place.
    LargeFile(const ExtractContext& context, std::string path, const RestoredAttributes& attributes)
        : context_(context), path_(std::move(path)), attributes_(attributes) {}

    /// Call before the first part is written. Throws StreamError.
    void openDirectory(Directories& directories) { directory_ = directories.holdParent(path_, context_.place); }

    /// Writes a part when those before it are written, and nothing where one of them failed. `job` is the job's
    /// place in the order. Throws StreamError; then call fail().
    void write(const KeptBytes& contents, const KeptBytes::Part& bytes, const Part& part, std::uint64_t job);

    /// The job failed before its part was written, or in it.
    void fail(std::uint64_t job) { turns_.fail(job); }

private:
    const ExtractContext context_;  // its own: the file may outlive the job that creates it
    const std::string path_;
    const RestoredAttributes attributes_;
    HeldDirectory directory_;  // of the jobs with the first and the last part
    Turns turns_;
    std::optional<OutputFile> output_;  // of whoever has the turn
};

}  // namespace bex::stream
