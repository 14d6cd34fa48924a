#include <gmock/gmock.h>
#include <sys/stat.h>

#include "Packages.hpp"

namespace bex::test {
namespace {

using testing::ElementsAre;

Member controlMember(const std::string& name = "control.tar.gz", const std::string& entry = "control") {
    return {name, tarGz(tarEntry(entry, kControl)), ""};
}

Member dataMember(const std::string& entryName = "file") {
    return {"data.tar.gz", tarGz(tarEntry(entryName, "1")), ""};
}

TEST(LoadingAPackage, TakesItsMembersInAnyOrderAndTheLastOfAName) {
    const TemporaryDirectory dir;
    const struct {
        std::vector<Member> members;
        const char* file;
        const char* why;
    } cases[] = {
        {{controlMember(), dataMember()}, "file", "no version"},
        {{dataMember(), {"_extra", "x", ""}, controlMember()}, "file", "another order, an unknown member"},
        {{dataMember(), controlMember("./control.tar.gz")}, "file", "the other name of the control member"},
        {{dataMember("old"), controlMember(), dataMember("new")}, "new", "two payloads"},
        {{dataMember(), controlMember("./control.tar.gz", "x"), controlMember()}, "file", "both names"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        const std::string path = dir.write("p.bex", arFile(c.members));
        Package package(path);
        EXPECT_EQ(package.payload(), (Contents{{c.file, "1"}}));
        EXPECT_THAT(package.getFiles(), ElementsAre(c.file));
        EXPECT_EQ(package.getMetaData().at("Package"), "p");
        EXPECT_EQ(package.getFilename(), path);
    }
}

TEST(LoadingAPackage, SaysWhatIsMissingAndKeepsThePayload) {
    const TemporaryDirectory dir;
    const std::string path = dir / "p.bex";
    const std::string end = " in " + path + ". Maybe it is not a bex file.";
    const Member broken{"data.tar.gz", tarGz(tarEntry("x", "1", '0', "77777777777")), ""};
    const Member noArchive{"control.tar.gz", "no archive", ""};
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
        {{dataMember(), {"control.tar.gz", tarGz(""), ""}}, "Can't find control" + end, {"file"}},
        {{dataMember(), noArchive}, "TarGzArchive::TarGzArchive: can't open control.tar.gz archive.", {"file"}},
        {{{"data.tar.gz", "", ""}, controlMember()},
         "TarGzArchive::TarGzArchive: can't open data.tar.gz archive.",
         {}},
        {{broken, controlMember()}, "Archive::loadArchive : Can't load archive.", {}},
        {{dataMember(), {"control.tar.gz", "x", "9999999999"}}, "Archive::loadArchive : Can't load archive.", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        dir.write("p.bex", arFile(c.members));
        Package package;
        EXPECT_EQ(failureOf([&] { package.open(path); }), c.message);
        EXPECT_THAT(package.getFiles(), testing::ElementsAreArray(c.kept));
        EXPECT_EQ(package.payload().size(), c.kept.size());
        EXPECT_EQ(package.getFilename(), "");
    }
}

TEST(LoadingAPackage, MakesAPackageThatCanBeChangedAndWrittenBack) {
    const TemporaryDirectory dir;
    const CapturedOutput output;
    const std::string path = dir / "p.bex";
    dir.write("p.bex", packageOf(paxEntry({{"path", "caf\xc3\xa9"}}, "x", "1") + tarEntry("d/f", "2")));
    {
        Package package(path);
        EXPECT_EQ(package.payload(), (Contents{{"caf\xc3\xa9", "1"}, {"d/f", "2"}}));
        package.with("memory", "3").add(dir.write("disk", "4"), "disk");
        package.setVersion("1.1");
        package.close();
    }
    Package package(path);
    EXPECT_EQ(package.payload(), (Contents{{"disk", "4"}, {"caf\xc3\xa9", "1"}, {"d/f", "2"}, {"memory", "3"}}));
    EXPECT_EQ(package.getMetaData().at("Version"), "1.1");
    EXPECT_EQ(entriesOf(memberOf(path, "data.tar.gz")).at(2).mode, S_IFREG | 0600);
    package.open(dir.write("q.bex", packageOf(tarEntry("memory", "q"))));
    EXPECT_EQ(package.payload().size(), 5U) << "a second package adds to the first";
    EXPECT_EQ(package.getMetaData().at("Version"), "1");
}

/// The leak checker judges what a hundred packages of each kind leave behind.
TEST(LoadingAPackage, LeavesNothingBehindThatIsNotTheCallers) {
    const TemporaryDirectory dir;
    const CapturedOutput output;
    const std::string good =
        dir.write("good.bex", arFile({controlMember(), dataMember("old"), dataMember("new")}));
    const std::string bad = dir.write("bad.bex", arFile({dataMember(), controlMember("control.tar.gz", "x")}));
    const std::string lying = dir.write("lies.bex", arFile({dataMember(), {"x", "x", "9999999999"}}));
    for (int i = 0; i < 100; ++i) {
        Package package(good);
        EXPECT_EQ(package.payload().size(), 1U);
        EXPECT_NE(failureOf([&] { Package{bad}; }), "");
        EXPECT_NE(failureOf([&] { Package{lying}; }), "");
    }
    Package refused(dir / "new.bex");
    refused.with("f", "1");
    EXPECT_NE(failureOf([&] { refused.close(); }), "") << "the version record of a failed field check";
}

}  // namespace
}  // namespace bex::test
