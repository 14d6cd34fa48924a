#include "bex/stream/Source.hpp"

#include <algorithm>

#include "bex/stream/ForwardSource.hpp"
#include "stream/system/FileSource.hpp"

namespace bex::stream {

namespace {

/// The bytes stay the caller's and must outlive the source.
class MemoryBytes final : public Source {
public:
    explicit MemoryBytes(std::string_view bytes) : bytes_(bytes) {}

    std::uint64_t size() override { return bytes_.size(); }
    std::size_t readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
        const auto begin = static_cast<std::size_t>(std::min<std::uint64_t>(offset, bytes_.size()));
        return bytes_.copy(buffer, size, begin);
    }

private:
    std::string_view bytes_;
};

}  // namespace

// In a file without hidden functions: a library that links the hidden ones statically must not get a second type
// information of these classes with them.
ForwardSource::~ForwardSource() = default;

Source::~Source() = default;

bool Source::willRead(const std::vector<Range>& ranges) {
    static_cast<void>(ranges);
    return false;
}

std::shared_ptr<Source> Source::ofFile(const std::string& path) {
    OpenFile file = openForReading(path, System::real());
    requireRegularFile(file, path, System::real());
    return std::make_shared<FileSource>(std::move(file), path, System::real());
}

std::shared_ptr<Source> Source::ofDescriptor(int descriptor, const std::string& name, std::uint64_t offset,
                                             std::uint64_t length) {
    // No owner: the descriptor stays the caller's and is not closed here.
    OpenFile file{descriptor, {}};
    requireRegularFile(file, name, System::real());
    return std::make_shared<FileSource>(std::move(file), name, System::real(), offset, length);
}

std::shared_ptr<Source> Source::ofMemory(std::string_view bytes) {
    return std::make_shared<MemoryBytes>(bytes);
}

}  // namespace bex::stream
