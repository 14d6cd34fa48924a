#pragma once

#include <string_view>

#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/PendingFile.hpp"
#include "stream/extract/RestoredAttributes.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::stream {

/// A regular file that is being extracted. Removed unless finished.
class OutputFile {
public:
    /// `directory` and `context` must outlive this. Throws as PendingFile does.
    OutputFile(const ExtractContext& context, int directory, const char* name);

    /// Whether something had the name, and is left alone: there is nothing to write then.
    bool kept() const noexcept { return name_.kept(); }

    void write(std::string_view bytes);

    /// Gives the file its attributes and its name. Call once, last.
    void finish(const RestoredAttributes& attributes);

private:
    const ExtractContext& context_;
    Descriptor file_;  // before the name, which opens it
    PendingFile name_;
};

}  // namespace bex::stream
