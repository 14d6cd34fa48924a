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

/// The order that the scanner promises, the slow way: each path of a subdirectory comes before the first path
/// after the previous one that is greater.
List model(const std::string& dir) {
    List found{dir};
    for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
        const std::string name = dir + entry.path().filename().string();
        auto at = fs::is_directory(name) ? found.begin() : found.end();
        for (const std::string& path : fs::is_directory(name) ? model(name + "/") : List{name}) {
            at = std::find_if(at, found.end(), [&](const std::string& other) { return path < other; });
            found.insert(at, path);
        }
    }
    return found;
}

TEST(ZRBexUtils, MergesTheEntriesOfATreeOfAFewHundredAsTheModelDoes) {
    const TemporaryDirectory root;
    std::mt19937 random(20);
    std::vector<std::string> directories{""};
    for (int i = 0; i < 400; ++i) {
        const std::string name =
            directories[random() % directories.size()] + "x.-Z"[random() % 4] + std::to_string(i);
        const bool isDirectory = random() % 5 == 0;
        root.write(isDirectory ? name + "/f" : name, "");
        directories.push_back(isDirectory ? name + "/" : directories.back());
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
