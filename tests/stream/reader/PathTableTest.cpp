#include "stream/reader/PathTable.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <random>
#include <string>

namespace {

using bex::stream::PathTable;

/// Compares the table with a plain map of paths.
TEST(PathTable, AgreesWithASlowModel) {
    using Outcome = PathTable::Outcome;
    using Kind = PathTable::Kind;
    std::mt19937 random(3);
    const auto pathOf = [&] {
        std::string path;
        for (unsigned depth = 1 + random() % 4; depth != 0; --depth) {
            path += std::string(1, static_cast<char>('a' + random() % 3)) + (random() % 4 == 0 ? "b" : "") + "/";
        }
        return path.substr(0, path.size() - 1);
    };
    PathTable table;
    std::map<std::string, Kind> model;
    const auto modelAdd = [&](const std::string& path, Kind kind) {
        bool parentMissing = false;
        for (std::size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1)) {
            const auto [directory, missing] = model.try_emplace(path.substr(0, slash), Kind::impliedDirectory);
            const Kind above = directory->second;
            parentMissing = parentMissing || missing;
            if (above == Kind::file || above == Kind::symlink) {
                return Outcome::belowNoDirectory;
            }
        }
        const auto [found, added] = model.try_emplace(path, kind);
        const Kind before = found->second;
        if (!added && (kind != Kind::directory || before == Kind::file || before == Kind::symlink)) {
            return Outcome::doubled;
        }
        found->second = kind;
        if (!added && before == Kind::directory) {
            return Outcome::repeatedDirectory;
        }
        return parentMissing ? Outcome::addedWithoutParent : Outcome::added;
    };
    for (int i = 0; i < 3000; ++i) {
        const std::string path = pathOf();
        const Kind kind = random() % 3 != 0 ? Kind::directory : random() % 2 != 0 ? Kind::file : Kind::symlink;
        ASSERT_EQ(table.add(path, kind), modelAdd(path, kind)) << path;
        ASSERT_EQ(table.size(), model.size()) << path;
        const std::string other = pathOf();
        const auto found = model.find(other);
        ASSERT_EQ(table.hasFile(other), found != model.end() && found->second == Kind::file) << other;
    }
}

}  // namespace
