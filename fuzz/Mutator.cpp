#include "Mutator.hpp"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "Layers.hpp"

namespace bex::fuzz {
namespace {

struct Field {
    std::size_t offset;
    std::size_t size;
};

/// Of a tar header; those of GNU's sparse map last.
constexpr Field kFields[] = {{0, 100}, {100, 8},   {108, 8},  {116, 8},  {124, 12}, {136, 12},
                             {156, 1}, {157, 100}, {257, 8},  {265, 32}, {297, 32}, {329, 8},
                             {337, 8}, {345, 155}, {386, 96}, {482, 13}};

constexpr char kTypes[] = "00123456755LKxgSVDMNX7";

const char* const kNames[] = {"../x",       "/x",     "./",       "./link",        "./link/x",
                              "./folder/x", "./name", "./bin/x",  "./bin/..",      "control",
                              "./a/b/c",    "x",      "./canary", "../canary/file"};

std::string joined(const std::vector<std::string>& parts) {
    return std::accumulate(parts.begin(), parts.end(), std::string());
}

bool looksLikeGzip(std::string_view bytes) {
    return bytes.substr(0, 2) == "\x1f\x8b";
}

class Mutator {
public:
    Mutator(ChangeBytes changeBytes, unsigned seed) : changeBytes_(changeBytes), random_(seed) {}

    std::string changed(Shape shape, const std::string& input);

private:
    bool oneIn(unsigned count) { return random_() % count == 0; }
    std::size_t below(std::size_t count) { return random_() % count; }

    std::string bytes(std::string bytes);
    std::string ar(const std::string& bytes);
    std::string gzip(const std::string& bytes, Shape inside);
    std::string tar(const std::string& bytes);
    std::string pax(const std::string& bytes);
    void header(std::string& block);
    void shuffle(std::vector<std::string>& parts);

    ChangeBytes changeBytes_;
    std::minstd_rand random_;
};

std::string Mutator::changed(Shape shape, const std::string& input) {
    if (shape == Shape::bytes || oneIn(20)) {
        return bytes(input);
    }
    switch (shape) {
        case Shape::gzip:
            return gzip(input, Shape::bytes);
        case Shape::tar:
            return tar(input);
        default:
            return ar(input);
    }
}

std::string Mutator::bytes(std::string bytes) {
    const std::size_t size = bytes.size();
    bytes.resize(size + 1 + below(64));
    bytes.resize(changeBytes_(reinterpret_cast<std::uint8_t*>(bytes.data()), size, bytes.size()));
    return bytes;
}

/// Leaves one out, takes one twice or changes the places of two.
void Mutator::shuffle(std::vector<std::string>& parts) {
    const auto one = parts.begin() + static_cast<std::ptrdiff_t>(below(parts.size()));
    const auto other = parts.begin() + static_cast<std::ptrdiff_t>(below(parts.size()));
    if (oneIn(3)) {
        parts.erase(one);
    } else if (oneIn(2)) {
        const std::string copy = *one;
        parts.insert(other, copy);
    } else {
        std::iter_swap(one, other);
    }
}

std::string Mutator::ar(const std::string& input) {
    std::string rest;
    std::vector<std::string> members = splitAr(input, rest);
    if (members.empty()) {
        return bytes(input);
    }
    std::string& member = members[below(members.size())];
    const std::string contents = member.substr(std::min(member.size(), kArHeaderBytes));
    bool mend = true;
    if (oneIn(12)) {
        member = bytes(member.substr(0, kArHeaderBytes)) + contents;
        mend = oneIn(2);
    } else if (oneIn(12)) {
        shuffle(members);
    } else {
        member = member.substr(0, kArHeaderBytes) + (looksLikeGzip(contents)      ? gzip(contents, Shape::tar)
                                                     : contents.size() % 512 == 0 ? tar(contents)
                                                                                  : bytes(contents));
    }
    return joinAr(members, mend) + (oneIn(8) ? bytes(rest) : rest);
}

/// Three in four times changes what is inside, the archive or one member's text; else the members themselves.
std::string Mutator::gzip(const std::string& input, Shape inside) {
    std::string rest;
    std::vector<std::string> members = splitGzip(input, rest);
    if (members.empty() || oneIn(15)) {
        return bytes(input);
    }
    const bool lengths = oneIn(2);
    if (inside == Shape::tar) {
        const std::string archive = tar(joined(members));
        const std::size_t cut = oneIn(3) ? 1 + below(archive.size() + 1) : archive.size();
        return gzipMember(archive.substr(0, cut), lengths) +
               (cut < archive.size() ? gzipMember(archive.substr(cut), lengths) : "");
    }
    std::string& changed = members[below(members.size())];
    if (oneIn(3)) {
        shuffle(members);
    } else if (oneIn(2)) {
        changed = bytes(changed);
    }
    std::vector<std::string> packed;
    for (const std::string& member : members) {
        packed.push_back(gzipMember(member, oneIn(2), oneIn(9) ? static_cast<unsigned>(below(64)) - 32 : 0));
    }
    if (oneIn(3) && !packed.empty()) {
        // Deflate data that compressors do not write, in a member that is sound otherwise.
        std::string& odd = packed[below(packed.size())];
        const std::size_t header = odd[3] == 0 ? 10 : 20;
        const std::string around = gzipAround(bytes(odd.substr(header, odd.size() - header - 8)), lengths);
        odd = around.empty() ? odd : around;
    }
    return joined(packed) + (oneIn(8) ? bytes(rest) : rest);
}

std::string Mutator::tar(const std::string& input) {
    std::string rest;
    std::vector<std::string> units = splitTar(input, rest);
    if (units.empty() || oneIn(15)) {
        return bytes(input);
    }
    std::string& unit = units[below(units.size())];
    std::string head = unit.substr(0, kTarHeaderBytes);
    if (oneIn(6)) {
        shuffle(units);
    } else if (unit.size() > kTarHeaderBytes && oneIn(2)) {
        const std::string contents = unit.substr(kTarHeaderBytes);
        unit = tarUnit(head, head[156] == 'x' || head[156] == 'g' ? pax(contents) : bytes(contents));
    } else {
        header(head);
        unit.replace(0, kTarHeaderBytes, head);
    }
    for (std::string& each : units) {
        each.resize((each.size() + 511) / 512 * 512, '\0');
    }
    return joined(units) + (oneIn(10) ? bytes(rest) : rest);
}

void Mutator::header(std::string& block) {
    const Field field = kFields[below(std::size(kFields))];
    if (field.size == 1) {
        block[field.offset] = kTypes[below(sizeof kTypes - 1)];
    } else if (field.size == 100 && oneIn(2)) {
        const std::string name = kNames[below(std::size(kNames))];
        block.replace(field.offset, field.size, name + std::string(field.size - name.size(), '\0'));
    } else {
        std::string text = bytes(block.substr(field.offset, field.size));
        text.resize(field.size, '\0');
        block.replace(field.offset, field.size, text);
    }
    if (!oneIn(30)) {
        mendChecksum(block);
    }
}

std::string Mutator::pax(const std::string& input) {
    std::vector<std::string> records = splitPax(input);
    if (records.empty() || oneIn(10)) {
        return bytes(input);
    }
    std::string& record = records[below(records.size())];
    if (oneIn(4)) {
        shuffle(records);
    } else {
        record = bytes(record);
    }
    return joinPax(records);
}

}  // namespace

std::size_t mutate(Shape shape, std::uint8_t* data, std::size_t size, std::size_t maximum, unsigned seed,
                   ChangeBytes changeBytes) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string result = Mutator(changeBytes, seed).changed(shape, input);
    if (result.empty() || result.size() > maximum) {
        return changeBytes(data, size, maximum);
    }
    std::memcpy(data, result.data(), result.size());
    return result.size();
}

}  // namespace bex::fuzz
