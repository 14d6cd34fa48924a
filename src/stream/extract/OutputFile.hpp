#pragma once

#include <cstdint>
#include <string_view>

#include "stream/extract/ExtractContext.hpp"
#include "stream/extract/NewName.hpp"
#include "stream/extract/RestoredAttributes.hpp"
#include "stream/system/Descriptor.hpp"

namespace bex::stream {

/// A regular file that is being extracted. Removed unless finished.
class OutputFile {
public:
    /// `folder` and `context` must outlive this. Throws as NewName does.
    OutputFile(const ExtractContext& context, int folder, const char* name);

    void write(std::string_view bytes);
    void skip(std::uint64_t size);

    /// Gives the file its attributes and its name. Call once, last.
    void finish(const RestoredAttributes& attributes);

private:
    const ExtractContext& context_;
    Descriptor file_;  // before the name, which opens it
    NewName name_;
    std::uint64_t size_ = 0;
    bool endsInHole_ = false;
};

}  // namespace bex::stream
