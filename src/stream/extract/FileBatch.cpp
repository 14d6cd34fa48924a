#include "stream/extract/FileBatch.hpp"

#include <utility>

#include "stream/extract/OutputFile.hpp"

namespace bex::stream {

void FileBatch::begin(HeldDirectory directory, const std::string& path, const std::string& entryPath,
                      const RestoredAttributes& attributes) {
    // Neighbours of one directory share its descriptor, so that changes are what keeps descriptors open.
    if (files_.empty() || files_.back().directory.descriptor != directory.descriptor) {
        ++directories_;
    }
    files_.push_back({std::move(directory), nameOf(path), entryPath, attributes, contents_.size()});
}

void FileBatch::dropLast() {
    contents_.resize(files_.back().begin);
    files_.pop_back();
}

void FileBatch::make(ExtractContext& context) {
    // Emptied first: a batch whose files fail must not make them again.
    const std::vector<File> files = std::exchange(files_, {});
    directories_ = 0;
    for (const File& file : files) {
        context.place = context.place.at(file.entryPath);
        OutputFile output(context, file.directory.descriptor, file.name.c_str());
        output.write(std::string_view(contents_).substr(file.begin, file.bytes));
        output.finish(file.attributes);
    }
    contents_.clear();
}

}  // namespace bex::stream
