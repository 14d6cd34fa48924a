#include "stream/extract/EntryBatch.hpp"

#include <algorithm>
#include <exception>
#include <utility>

#include "stream/extract/OutputFile.hpp"
#include "stream/extract/Symlink.hpp"

namespace bex::stream {

EntryBatch::Item& EntryBatch::add(Kind kind, const std::string& path, const std::string& entryPath,
                                  const RestoredAttributes& attributes) {
    Item& item = items_.emplace_back();
    item.kind = kind;
    item.path = path;
    item.entryPath = entryPath;
    item.attributes = attributes;
    item.contents = contents_.begin();
    return item;
}

void EntryBatch::addDirectory(const std::string& path, const std::string& entryPath,
                              const RestoredAttributes& attributes) {
    add(Kind::directory, path, entryPath, attributes);
}

void EntryBatch::addSymlink(const std::string& path, const std::string& entryPath,
                            const RestoredAttributes& attributes, const std::string& target) {
    countParent(path);
    add(Kind::symlink, path, entryPath, attributes).target = target;
}

void EntryBatch::begin(const std::string& path, const std::string& entryPath,
                       const RestoredAttributes& attributes) {
    countParent(path);
    add(Kind::file, path, entryPath, attributes);
}

void EntryBatch::beginPart(std::shared_ptr<LargeFile> file, std::uint64_t offset) {
    ++parents_;  // the file has one, and a descriptor of its own once it is created
    Item& item = items_.emplace_back();
    item.kind = Kind::part;
    item.contents = contents_.begin();
    item.large = std::move(file);
    item.part.offset = offset;
}

/// Neighbours in one directory share its descriptor, so that changes are what keeps descriptors open. A directory
/// among them keeps none, so that what follows it may be the first to do so.
void EntryBatch::countParent(const std::string& path) {
    if (items_.empty() || items_.back().kind == Kind::directory ||
        parentOf(items_.back().path) != parentOf(path)) {
        ++parents_;
    }
}

std::size_t EntryBatch::write(const Piece& piece) {
    const std::size_t size = std::min(piece.bytes.size(), kMostBytes - contents_.size());
    if (size != 0) {
        contents_.add({piece.bytes.substr(0, size), piece.owner}, items_.back().contents);
    }
    return size;
}

void EntryBatch::dropLast() {
    contents_.drop(items_.back().contents);
    items_.pop_back();
}

void EntryBatch::make(ExtractContext& context, Directories& directories, Turns& order) {
    // Emptied first: a batch that fails must not be made again.
    std::vector<Item> items = std::exchange(items_, {});
    parents_ = 0;
    try {
        makeAll(items, context, directories, order);
    } catch (...) {
        order.fail(number);
        // The other parts of these files are in later batches, whose threads would wait for this one for ever.
        for (const Item& item : items) {
            if (item.large != nullptr) {
                item.large->fail(number);
            }
        }
        throw;
    }
    contents_.clear();
    items.clear();
    items_ = std::move(items);  // for its memory
}

void EntryBatch::makeAll(std::vector<Item>& items, ExtractContext& context, Directories& directories,
                         Turns& order) const {
    if (!order.waitFor(number, number)) {
        return;  // the failure of the earlier batch is the one to be reported
    }
    std::size_t ready = 0;
    std::exception_ptr failure;
    try {
        for (; ready < items.size(); ++ready) {
            prepare(items[ready], context, directories);
        }
        order.pass(1);
    } catch (...) {
        failure = std::current_exception();
    }
    // What comes before the failure is made all the same, and may fail first.
    for (std::size_t i = 0; i < ready; ++i) {
        make(items[i], context);
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

/// The part of the work that is done in the batch's turn.
void EntryBatch::prepare(Item& item, ExtractContext& context, Directories& directories) {
    if (item.kind == Kind::part) {
        if (item.part.offset == 0) {
            item.large->openDirectory(directories);
        }
        return;
    }
    context.place.goTo(item.entryPath);
    if (item.kind == Kind::directory) {
        directories.make(item.path, item.attributes, context.place);
    } else {
        item.parent = directories.holdParent(item.path, context.place);
    }
}

void EntryBatch::make(const Item& item, ExtractContext& context) const {
    context.place.goTo(item.entryPath);
    switch (item.kind) {
        case Kind::directory:
            break;  // made in the turn
        case Kind::symlink:
            makeSymlink(context, item.parent.descriptor, nameOf(item.path), item.target, item.attributes);
            break;
        case Kind::file:
            makeFile(item, context);
            break;
        case Kind::part:
            item.large->write(contents_, item.contents, item.part, number);
            break;
    }
}

void EntryBatch::makeFile(const Item& item, ExtractContext& context) const {
    OutputFile output(context, item.parent.descriptor, nameOf(item.path));
    contents_.forEach(item.contents, [&output](std::string_view bytes) { output.write(bytes); });
    output.finish(item.attributes);
}

}  // namespace bex::stream
