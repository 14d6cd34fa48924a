#include "stream/extract/FileBatch.hpp"

#include <algorithm>
#include <utility>

#include "stream/extract/OutputFile.hpp"

namespace bex::stream {

void FileBatch::begin(HeldDirectory directory, const std::string& path, const std::string& entryPath,
                      const RestoredAttributes& attributes) {
    // Neighbours of one directory share its descriptor, so that changes are what keeps descriptors open.
    if (files_.empty() || files_.back().directory.descriptor != directory.descriptor) {
        ++directories_;
    }
    File& file = files_.emplace_back();
    file.contents = contents_.begin();
    file.directory = std::move(directory);
    file.name = nameOf(path);
    file.entryPath = entryPath;
    file.attributes = attributes;
}

void FileBatch::beginPart(std::shared_ptr<LargeFile> file, std::uint64_t offset) {
    ++directories_;  // the file has one, and a descriptor of its own once it is created
    File& part = files_.emplace_back();
    part.contents = contents_.begin();
    part.large = std::move(file);
    part.part.offset = offset;
}

std::size_t FileBatch::write(const Piece& piece) {
    const std::size_t size = std::min(piece.bytes.size(), kMostBytes - contents_.size());
    if (size != 0) {
        contents_.add({piece.bytes.substr(0, size), piece.owner}, files_.back().contents);
    }
    return size;
}

void FileBatch::dropLast() {
    contents_.drop(files_.back().contents);
    files_.pop_back();
}

void FileBatch::make(ExtractContext& context) {
    // Emptied first: a batch whose files fail must not make them again.
    const std::vector<File> files = std::exchange(files_, {});
    directories_ = 0;
    try {
        for (const File& file : files) {
            make(file, context);
        }
    } catch (...) {
        // The other parts of these files are in later batches, whose threads would wait for this one for ever.
        for (const File& file : files) {
            if (file.large != nullptr) {
                file.large->fail(number);
            }
        }
        throw;
    }
    contents_.clear();
}

void FileBatch::make(const File& file, ExtractContext& context) const {
    if (file.large != nullptr) {
        file.large->write(contents_, file.contents, file.part, number);
        return;
    }
    context.place = context.place.at(file.entryPath);
    OutputFile output(context, file.directory.descriptor, file.name.c_str());
    contents_.forEach(file.contents, [&output](std::string_view bytes) { output.write(bytes); });
    output.finish(file.attributes);
}

}  // namespace bex::stream
