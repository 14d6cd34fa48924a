#include "stream/index/Indexed.hpp"

#include <libdeflate.h>

#include "Failure.hpp"
#include "stream/MemoryStream.hpp"
#include "stream/StringSink.hpp"
#include "stream/codec/CompressingSink.hpp"
#include "stream/index/IndexBuilder.hpp"
#include "stream/index/PayloadIndex.hpp"
#include "stream/index/Varint.hpp"

namespace bex::test {

using stream::Entry;
using stream::IndexBuilder;
using stream::IndexRow;

stream::WriteOptions blockOptions() {
    stream::WriteOptions options = datedOptions();
    options.blockBytes = 4096;
    options.md5sums = false;
    return options;
}

std::string largeContents() {
    return noise(20000) + std::string(10000, 'l');
}

std::string indexedPackage(const stream::WriteOptions& options, const std::string& salt) {
    stream::PackageWriter writer = soundWriter();
    for (int i = 0; i < 150; ++i) {
        const std::string name = std::to_string(i);
        writer.addBytes(salt + noise(static_cast<std::size_t>(i) * 11, static_cast<unsigned>(i) + 1),
                        "d/f" + std::string(4 - name.size(), '0') + name, {0644, i * 1000});
    }
    writer.addBytes(largeContents(), "large", {04755, 5});
    writer.addSymlink("large", "soft");
    writer.addHardlink("d/f0001", "hard");
    const TemporaryDirectory folder;
    return written(writer, folder, options);
}

std::string withIndex(const std::string& payloadEntries) {
    const std::string tar = tarOf(payloadEntries);
    IndexBuilder builder;
    StringSink data;
    stream::CompressionSettings settings;
    settings.blockBytes = 4096;
    settings.onBlock = [&](std::uint64_t stored, std::uint64_t unpacked) { builder.addBlock(stored, unpacked); };
    stream::CompressingSink compressing(data, settings);
    compressing.write(tar.data(), tar.size());
    compressing.finish();
    MemoryStream source(tar);
    const auto bytes = stream::openDecompressor(source, stream::Compression::none, "it", {});
    stream::TarReader reader(*bytes, stream::Limits(), "it");
    for (Entry entry; reader.next(entry);) {
        builder.add(entry, reader.extent());
    }
    return withData(data.bytes + builder.takeChain());
}

stream::IndexedPackage opened(const std::string& bytes, const stream::ReadOptions& options) {
    return {stream::Source::ofMemory(bytes), "p.bex", options};
}

std::string indexedListingOf(const std::string& bytes, const stream::ReadOptions& options) {
    std::string listing;
    const std::string failure = failureOf([&] {
        const stream::IndexedPackage package = opened(bytes, options);
        for (std::size_t i = 0; i < package.size(); ++i) {
            const Entry entry = package.at(i).entry;
            std::string contents;
            if (entry.type == stream::EntryType::file) {
                stream::EntryStream stream = package.open(i);
                char buffer[5000];
                while (const std::size_t count = stream.read(buffer, sizeof buffer)) {
                    contents.append(buffer, count);
                }
            }
            listing += listedLine(entry, contents);
        }
    });
    return failure.empty() ? listing : failure;
}

std::string dataOf(const std::string& package) {
    const std::size_t header = package.find("data.tar.gz");
    const std::size_t size = std::stoul(package.substr(header + 48, 10));
    return package.substr(header + 60, size);
}

std::string withData(const std::string& data) {
    return arOf(headOf() + arMember("data.tar.gz", data));
}

std::string indexOf(const std::string& data) {
    const stream::IndexFooter footer =
        stream::parseIndexFooter(std::string_view(data).substr(data.size() - stream::kIndexFooterBytes)).value();
    const std::size_t begin = data.size() - stream::kIndexFooterBytes - static_cast<std::size_t>(footer.bytes);
    return stream::joinIndexChain(std::string_view(data).substr(begin, static_cast<std::size_t>(footer.bytes)),
                                  footer, "it");
}

namespace {

stream::PayloadIndex parsed(const std::string& data, const stream::IndexFooter& footer) {
    return {indexOf(data), footer.offset, stream::Limits(), "it"};
}

}  // namespace

IndexFacts factsOf(const std::string& data) {
    IndexFacts facts;
    facts.footer =
        stream::parseIndexFooter(std::string_view(data).substr(data.size() - stream::kIndexFooterBytes)).value();
    const stream::PayloadIndex index = parsed(data, facts.footer);
    std::uint64_t left = index.tarBytes();
    for (std::size_t i = 0; i < index.blocks(); ++i) {
        const std::uint64_t unpacked = std::min(left, index.blockBytes());
        facts.blocks.emplace_back(index.blockEnd(i) - index.blockBegin(i), unpacked);
        left -= unpacked;
    }
    return facts;
}

std::string lying(const std::string& package, const Change& change) {
    const std::string data = dataOf(package);
    IndexFacts facts = factsOf(data);
    const std::string blocks = data.substr(0, static_cast<std::size_t>(facts.footer.offset));
    std::vector<IndexRow> rows;
    const stream::PayloadIndex index = parsed(data, facts.footer);
    for (std::size_t group = 0; group < index.groups(); ++group) {
        for (IndexRow& row : index.rows(group)) {
            rows.push_back(std::move(row));
        }
    }
    change(rows, facts);
    IndexBuilder builder;
    for (const auto& [stored, unpacked] : facts.blocks) {
        builder.addBlock(stored, unpacked);
    }
    for (const IndexRow& row : rows) {
        builder.add(row.entry, row.extent);
    }
    return withData(blocks + stream::formatIndexChain(indexOf(builder.takeChain()), blocks.size()));
}

std::string blockOf(const std::string& bytes) {
    return packed(bytes, stream::Compression::gzip);
}

std::string directoryOnly(const IndexFacts& facts, std::uint64_t entries) {
    std::string directory;
    std::uint64_t tarBytes = 0;
    for (const auto& block : facts.blocks) {
        tarBytes += block.second;
    }
    for (const std::uint64_t number :
         {facts.blocks.front().second, tarBytes, std::uint64_t{facts.blocks.size()}, entries, std::uint64_t{1}}) {
        stream::appendVarint(directory, number);
    }
    for (const auto& block : facts.blocks) {
        stream::appendVarint(directory, block.first);
    }
    libdeflate_compressor* const compressor = libdeflate_alloc_compressor(6);
    std::string packedBytes(libdeflate_deflate_compress_bound(compressor, directory.size()), '\0');
    packedBytes.resize(libdeflate_deflate_compress(compressor, directory.data(), directory.size(),
                                                   packedBytes.data(), packedBytes.size()));
    libdeflate_free_compressor(compressor);
    const auto number = [](std::size_t value) {
        return std::string{static_cast<char>(value & 0xff), static_cast<char>(value >> 8 & 0xff), '\0', '\0'};
    };
    return number(packedBytes.size()) + number(directory.size()) + packedBytes;
}

}  // namespace bex::test
