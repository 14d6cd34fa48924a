#include <gmock/gmock.h>
#include <sys/stat.h>

#include "Packages.hpp"

namespace bex::test {
namespace {

Member controlMember(const std::string& name = "control.tar.gz", const std::string& entry = "control",
                     const std::string& text = kControl) {
    return {name, tarGz(tarEntry(entry, text)), ""};
}

Member dataMember(const std::string& entryName = "file") {
    return {"data.tar.gz", tarGz(tarEntry(entryName, "1")), ""};
}

TEST(LoadingAPackage, TakesItsMembersInAnyOrderAndTheLastOfAName) {
    const TemporaryDirectory dir;
    const struct {
        std::vector<Member> members;
        const char* file;
    } cases[] = {
        {{controlMember(), dataMember()}, "file"},
        {{dataMember(), controlMember("./control.tar.gz")}, "file"},
        {{dataMember("old"), controlMember(), dataMember("new")}, "new"},
        {{dataMember(), controlMember("./control.tar.gz", "x"), controlMember()}, "file"},
    };
    for (const auto& c : cases) {
        const std::string path = dir.write("p.bex", arFile(c.members));
        Package package(path);
        EXPECT_EQ(package.payload(), (Contents{{c.file, "1"}}));
        EXPECT_THAT(package.getFiles(), testing::ElementsAre(c.file));
        EXPECT_EQ(package.getMetaData().at("Package"), "p");
        EXPECT_EQ(package.getFilename(), path);
    }
}

TEST(LoadingAPackage, SaysWhatIsMissingAndKeepsThePayload) {
    const TemporaryDirectory dir;
    const std::string path = dir / "p.bex";
    const std::string end = " in " + path + ". Maybe it is not a bex file.";
    const std::string cannotLoad = "Archive::loadArchive : Can't load archive.";
    const std::string cannotOpen = "TarGzArchive::TarGzArchive: can't open ";
    const auto controlOf = [](const char* text) { return controlMember("control.tar.gz", "control", text); };
    const Member broken{"data.tar.gz", tarGz(tarEntry("x", "1", '0', "77777777777")), ""};
    const struct {
        std::vector<Member> members;
        std::string message;
        Strings kept;
    } cases[] = {
        {{}, "Can't find data.tar.gz" + end, {}},
        {{controlMember(), {"./data.tar.gz", "", ""}}, "Can't find data.tar.gz" + end, {}},
        {{dataMember()}, "Can't find control.tar.gz" + end, {"file"}},
        {{dataMember(), controlMember("Control.tar.gz")}, "Can't find control.tar.gz" + end, {"file"}},
        {{dataMember(), controlMember("control.tar.gz", "./control")}, "Can't find control" + end, {"file"}},
        {{dataMember(), {"control.tar.gz", "text", ""}}, cannotOpen + "control.tar.gz archive.", {"file"}},
        {{{"data.tar.gz", "", ""}, controlMember()}, cannotOpen + "data.tar.gz archive.", {}},
        {{broken, controlMember()}, cannotLoad, {}},
        {{dataMember(), controlOf("S: s\nPackage: p\nDescription: d\n")}, "Missing version.", {"file"}},
        {{dataMember(), controlOf("S: s\nVersion: \nPackage: p\n")}, "Missing version.", {"file"}},
        {{dataMember(), controlOf("S: s\nVersion: 1\nDescription: d\n")}, "Missing package name.", {"file"}},
        {{dataMember(), controlOf("S: s\nVersion: 1\nPackage: p\n")}, "Missing description", {"file"}},
        {{dataMember(), {"control.tar.gz", "x", "9999999999"}}, cannotLoad, {}},
    };
    for (const auto& c : cases) {
        dir.write("p.bex", arFile(c.members));
        Package package;
        EXPECT_EQ(failureOf([&] { package.open(path); }), c.message);
        EXPECT_THAT(package.getFiles(), testing::ElementsAreArray(c.kept)) << c.message;
        EXPECT_EQ(package.payload().size(), c.kept.size()) << c.message;
        EXPECT_EQ(package.getMetaData().count("S"), c.message.find("Missing") == 0 ? 1U : 0U) << c.message;
        EXPECT_EQ(package.getMetaData().count("Maintainer"), 0U) << "a default comes last";
        EXPECT_EQ(package.getFilename(), "");
    }
}

TEST(LoadingAPackage, MakesAPackageThatCanBeChangedAndWrittenBack) {
    const TemporaryDirectory dir;
    const std::string path = dir / "p.bex";
    const std::string entries = withPax({{"path", "caf\u00e9"}}, tarEntry("x", "1")) + tarEntry("d/f", "2");
    dir.write("p.bex", packageFile(entries, kControl + "Depends: x\nalpha: a\n"));
    Package changed;
    changed.setSection("kept");
    changed.setVersion("replaced");
    changed.open(path);
    changed.with("memory", "3").add(dir.write("disk", "4"), "disk");
    changed.close();
    EXPECT_EQ(contentsOf(memberOf(path, "control.tar.gz")).at(0).second,
              "Depends: x\nDescription: d\nEssential: \nMaintainer: \nPackage: p\nSection: kept\n"
              "Version: 1\nalpha: a\n");
    Package package(path);
    EXPECT_EQ(package.payload(), (Contents{{"disk", "4"}, {"caf\u00e9", "1"}, {"d/f", "2"}, {"memory", "3"}}));
    EXPECT_EQ(entriesOf(memberOf(path, "data.tar.gz")).at(2).mode, S_IFREG | 0600);
    package.open(dir.write("q.bex", packageFile(tarEntry("memory", "q"))));
    EXPECT_EQ(package.payload().size(), 5U) << "a second package adds to the first";
}

}  // namespace
}  // namespace bex::test
