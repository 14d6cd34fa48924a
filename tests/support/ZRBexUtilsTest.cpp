#include "bex/ZRBexUtils.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <list>
#include <memory>
#include <random>
#include <string>

#include "Failure.hpp"
#include "TemporaryDirectory.hpp"

namespace bex::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using List = std::list<std::string>;

List scan(const std::string& dir) {
    const std::unique_ptr<List> found(ZRBexUtils::getInstance()->scanDir(dir));
    return *found;
}

/// The order the scanner promises, the slow way: whichever front is less goes first, the older list on a tie.
List model(const std::string& dir) {
    List found{dir};
    for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
        const std::string name = dir + entry.path().filename().string();
        if (!fs::is_directory(name)) {
            found.push_back(name);
            continue;
        }
        List below = model(name + "/");
        List merged;
        while (!found.empty() || !below.empty()) {
            List& next = found.empty() || (!below.empty() && below.front() < found.front()) ? below : found;
            merged.push_back(next.front());
            next.pop_front();
        }
        found = merged;
    }
    return found;
}

TEST(ZRBexUtils, MergesTheEntriesOfATreeOfAFewHundredAsTheModelDoes) {
    const TemporaryDirectory root;
    std::mt19937 random(20);
    std::vector<std::string> folders{""};
    for (int i = 0; i < 400; ++i) {
        const std::string name =
            folders[random() % folders.size()] + "x.-Z"[random() % 4] + std::to_string(random() % 9973);
        if (random() % 5 == 0) {
            fs::create_directories(root / name);
            folders.push_back(name + "/");
        } else if (!fs::exists(root / name)) {
            root.write(name, "");
        }
    }
    const List found = scan(root / "");
    EXPECT_GT(found.size(), 300U);
    EXPECT_EQ(found, model(root / ""));
    EXPECT_FALSE(std::is_sorted(found.begin(), found.end())) << "this tree cannot tell merging from sorting";
}

TEST(ZRBexUtils, NamesDirectoriesWithASlashAndFollowsLinksToThem) {
    const TemporaryDirectory root;
    const std::string d = root / "d/";
    root.write("d/.hidden", "");
    root.write("d/b/x", "");
    root.write("outside/o", "");
    fs::create_directory(d + "empty");
    fs::create_symlink(root / "outside", d + "link");
    fs::create_symlink(d + ".hidden", d + "file");
    fs::create_symlink(root / "nowhere", d + "broken");
    EXPECT_THAT(scan(d), testing::UnorderedElementsAre(d, d + ".hidden", d + "b/", d + "b/x", d + "broken",
                                                       d + "empty/", d + "file", d + "link/", d + "link/o"));
    EXPECT_THAT(scan(root / "d/b"), ElementsAre(root / "d/b", root / "d/bx")) << "the caller gives the slash";
    EXPECT_THAT(failureOf([&] { scan(root / "missing/"); }), testing::HasSubstr("No such file or directory"));
}

TEST(ZRBexUtils, LivesFromTheFirstUseToKill) {
    EXPECT_EQ(ZRBexUtils::getInstance(), ZRBexUtils::getInstance());
    ZRBexUtils::kill();
    ZRBexUtils::kill();
    const TemporaryDirectory root;
    EXPECT_THAT(scan(root / ""), ElementsAre(root / "")) << "a new one serves after kill";
    ZRBexUtils::kill();
}

}  // namespace
}  // namespace bex::test
