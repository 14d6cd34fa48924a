#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "HandMade.hpp"
#include "TemporaryDirectory.hpp"
#include "bex/MemoryMappedFile.hpp"
#include "bex/ZRBex.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::PackageReader;

/// A tree with every kind of entry that dpkg-deb packs, in "tree" below the folder.
void makeTree(const TemporaryDirectory& folder) {
    folder.write("tree/DEBIAN/control", kControlText + "Homepage: x\n");
    folder.write("tree/DEBIAN/postinst", "#!/bin/sh\n");
    folder.write("tree/usr/bin/tool", std::string(300000, 't') + "end");
    folder.write("tree/usr/share/" + std::string(120, 'n') + "/" + std::string(200, 'm'), "long");
    folder.write("tree/usr/share/empty", "");
    folder.write("tree/usr/share/Gr\xc3\xbc\xc3\x9f\xff", "not quite UTF-8");
    const std::string tree = folder / "tree";
    outputOf("cd " + tree + " && mkdir -m 2775 usr/share/set && chmod 4755 usr/bin/tool && " +
             "chmod 755 DEBIAN/postinst && ln usr/bin/tool usr/bin/other && ln -s tool usr/bin/link && " +
             "ln -s " + std::string(300, 'z') + " usr/bin/far && find . -exec touch -h -d @1000000001 {} +");
}

/// Name, type, permissions, size, time and link target of every file below a directory, and its contents. The
/// times of directories are left out: tar makes the symlinks, which dpkg-deb packs last, behind them.
std::string treeOf(const std::string& path) {
    return outputOf("cd " + path +
                    " && find . -type d -printf '%p %m\\n' | sort && "
                    "find . ! -type d -printf '%p %y %m %s %T@ %n %l\\n' | sort && "
                    "find . -type f -exec md5sum {} + | sort");
}

/// The names of the payload's entries as GNU tar lists them.
std::string gnuNamesOf(const std::string& path) {
    return outputOf("dpkg-deb --fsys-tarfile " + path +
                    " | tar -t --quoting-style=literal --show-transformed-names");
}

class DpkgPackages : public testing::TestWithParam<const char*> {};

TEST_P(DpkgPackages, AreListedReadAndExtractedAsByDpkg) {
    const TemporaryDirectory folder;
    makeTree(folder);
    const std::string package = folder / "p.deb";
    outputOf(std::string("dpkg-deb --root-owner-group -Z") + GetParam() + " -b " + (folder / "tree") + " " +
             package);

    PackageReader reader(package);
    EXPECT_EQ(*reader.control().find("Homepage"), "x");
    EXPECT_EQ(reader.findControlMember("postinst")->contents, "#!/bin/sh\n");
    EXPECT_EQ(reader.findControlMember("postinst")->entry.mode, 0755U);
    EXPECT_EQ(reader.findControlMember("prerm"), nullptr);
    std::string names;
    stream::Entry entry;
    while (reader.next(entry)) {
        names += entry.path + '\n';
    }
    EXPECT_EQ(names, gnuNamesOf(package));
    const std::vector<stream::Finding> findings = stream::verify(package);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].code, "path-characters") << "the name that is not quite UTF-8";

    outputOf("dpkg-deb -x " + package + " " + (folder / "theirs"));
    stream::ExtractOptions options;
    options.keepSetId = true;
    const stream::ExtractResult result = PackageReader(package).extract(folder / "ours", options);
    EXPECT_EQ(treeOf(folder / "ours"), treeOf(folder / "theirs"));
    EXPECT_EQ(outputOf("find " + (folder / "ours") + " -printf '%T@\\n' | sort -u"), "1000000001.0000000000\n");
    EXPECT_EQ(result.entries, static_cast<std::uint64_t>(std::count(names.begin(), names.end(), '\n')));
    EXPECT_EQ(result.bytes, 300003U + 4 + 15);

    PackageReader(package).extract(folder / "safe");
    EXPECT_EQ(outputOf("find " + (folder / "safe") + " -perm /6000"), "")
        << "set-id bits are dropped unless asked for";

    const std::string bytes = folder.read("p.deb");
    EXPECT_EQ(listingOf(bytes, Route::pipe), listingOf(bytes, Route::file));
}

INSTANTIATE_TEST_SUITE_P(Compressions, DpkgPackages, testing::Values("none", "gzip", "xz", "zstd"));

TEST(Reading, TakesWhatTheObjectLibraryWrites) {
    const TemporaryDirectory folder;
    const std::string path = folder / "object.bex";
    folder.write("tree/usr/x", "contents");
    ZRBex package;
    package.open(path);
    package.setPackageName("tool");
    package.setVersion("1.0");
    package.setDescription("a tool");
    package.add(folder / "tree", ".");
    package.close();
    for (const FileOnDisk* record : package.getFilesOnDisk()) {
        delete record;
    }
    PackageReader reader(path);
    EXPECT_EQ(*reader.control().find("Package"), "tool");
    EXPECT_EQ(reader.controlMembers().front().entry.path, "control");
    reader.extract(folder / "out");
    EXPECT_EQ(outputOf("cd " + (folder / "out") + " && find . -name x -exec cat {} +"), "contents");
}

}  // namespace
}  // namespace bex::test
