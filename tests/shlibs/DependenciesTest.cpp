#include "bex/shlibs/Dependencies.hpp"

#include <elf.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Failure.hpp"
#include "Shell.hpp"
#include "TemporaryDirectory.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "bex/stream/StreamError.hpp"
#include "shlibs/HandMadeElf.hpp"

namespace bex::shlibs {
namespace {

using test::failureOf;
using test::HandMadeElf;
using test::TemporaryDirectory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A machine of its own in a directory: a database, libraries, and a program that uses them.
class Dependencies : public testing::Test {
protected:
    Dependencies() {
        root.write("etc/ld.so.conf", "include ld.so.conf.d/*.conf\ninclude ld.so.conf\n");
        root.write("etc/ld.so.conf.d/a.conf", "/opt/a # comment\n");
        root.write("var/lib/dpkg/status", "Package: dpkg\nArchitecture: amd64\n\n");
        install("libdemo1", "/usr/lib/libdemo.so.1", "libdemo.so.1",
                "libdemo.so.1 libdemo1 #MINVER#\n one@Base 1.0\n two@V2 2.0\n");
        program.needed = {"libdemo.so.1"};
        program.undefined = {{"one", ""}, {"two", "V2"}};
        writeProgram();
        request.sysroot = root.path().string();
        request.inputs = {root / "prog"};
        request.debianDirectory = root / "debian";
    }

    void library(const std::string& path, const std::string& soname, std::uint16_t machine = EM_X86_64) {
        HandMadeElf file;
        file.soname = soname;
        file.machine = machine;
        root.write(path.substr(1), file.bytes());
    }

    void install(const std::string& package, const std::string& path, const std::string& soname,
                 const std::string& symbols) {
        library(path, soname);
        root.write("var/lib/dpkg/info/" + package + ".list", "/.\n/usr\n" + path + "\n");
        root.write("var/lib/dpkg/info/" + package + ".symbols", symbols);
    }

    void writeProgram(const std::string& name = "prog") { root.write(name, program.bytes()); }

    std::string field() const {
        const Report report = findDependencies(request);
        return report.missing.empty() ? report.field() : "missing: " + report.missing.front().message;
    }

    TemporaryDirectory root;
    HandMadeElf program;
    Request request;
};

TEST_F(Dependencies, HasTheNewestVersionOfTheSymbolsUsedAndSaysWhy) {
    const Report report = findDependencies(request);
    EXPECT_THAT(report.dependencies, ElementsAre("libdemo1 (>= 2.0)"));
    ASSERT_EQ(report.reasons.size(), 1U);
    const Reason& reason = report.reasons.front();
    EXPECT_EQ(reason.dependency + "|" + reason.library + "|" + reason.path + "|" + reason.package + "|" +
                  reason.symbol + "|" + reason.version,
              "libdemo1 (>= 2.0)|libdemo.so.1|/usr/lib/libdemo.so.1|libdemo1|two@V2|2.0");
    program.undefined = {{"unknown", ""}};
    writeProgram();
    EXPECT_EQ(field(), "libdemo1 (>= 1.0)") << "the library is needed, whatever is used of it";
    root.write("var/lib/dpkg/info/libdemo1.symbols", "libdemo.so.1 libdemo1 (>= x)\n one@Base 1.0\n");
    EXPECT_EQ(failureOf([&] { field(); }), "libdemo1: libdemo1 (>= x) has no version");
}

/// Each row changes one thing of the machine.
TEST_F(Dependencies, FollowsTheRulesForPathsAndPackages) {
    const std::string other = "libdemo.so.1 other1 #MINVER#\n one@Base 7\n";
    const auto at = [&](const std::string& path) { install("other1", path, "libdemo.so.1", other); };
    const struct {
        const char* why;
        std::function<void()> change;
        const char* expected;
    } cases[] = {
        {"a directory of ld.so.conf comes after /usr/lib", [&] { at("/opt/a/libdemo.so.1"); },
         "libdemo1 (>= 2.0)"},
        {"/lib comes before /usr/lib", [&] { at("/lib/libdemo.so.1"); }, "other1 (>= 7)"},
        {"a library of another machine is passed over",
         [&] { library("/lib/libdemo.so.1", "libdemo.so.1", EM_AARCH64); }, "libdemo1 (>= 2.0)"},
        {"the file's own path comes first", [&] { program.runPath = "/nowhere:$ORIGIN/lib"; },
         "libdemo1 (>= 2.0)"},
        {"shlibs.local wins", [&] { root.write("debian/shlibs.local", "libdemo 1 local (>= 3), libmore\n"); },
         "libmore, local (>= 3)"},
        {"a build tree wins over the system",
         [&] {
             std::filesystem::remove(root / "debian/shlibs.local");
             library("/debian/built/usr/lib/libdemo.so.1", "libdemo.so.1");
             root.write("debian/built/DEBIAN/shlibs", "libdemo 1 built (= 5)\n");
         },
         "built (= 5)"},
        {"a foreign architecture's own directories come first",
         [&] {
             const std::string own = "/usr/lib/aarch64-linux-gnu/libdemo.so.1";
             program.machine = EM_AARCH64;
             at(own);
             library(own, "libdemo.so.1", EM_AARCH64);
             library("/usr/lib/libdemo.so.1", "libdemo.so.1", EM_AARCH64);
         },
         "other1 (>= 7)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        c.change();
        writeProgram();
        EXPECT_EQ(field(), c.expected);
        std::filesystem::remove_all(root / "lib");
        std::filesystem::remove_all(root / "opt");
    }
}

TEST_F(Dependencies, UsesSymlinksDiversionsOverridesAndBuildDependencies) {
    std::filesystem::rename(root / "usr/lib/libdemo.so.1", root / "usr/lib/libdemo.so.1.5");
    std::filesystem::create_symlink("/usr/lib/libdemo.so.1.5", root / "usr/lib/libdemo.so.1");
    root.write("var/lib/dpkg/info/libdemo1.list", "/usr/lib/libdemo.so.1.5\n");
    EXPECT_EQ(field(), "libdemo1 (>= 2.0)") << "the package has the name that the symlink leads to";
    root.write("debian/control", "Source: x\nBuild-Depends: libdemo-dev (>= 2.5), libdemo-dev (>= 9) [i386]\n");
    root.write("etc/dpkg/symbols/libdemo1.symbols.amd64",
               "libdemo.so.1 libdemo1 #MINVER#\n* Build-Depends-Package: libdemo-dev\n one@Base 2.1\n");
    EXPECT_EQ(field(), "libdemo1 (>= 2.5)");
    install("driver", "/usr/lib/libdemo.so.1.5", "libdemo.so.1", "libdemo.so.1 driver\n one@Base 1\n");
    root.write("var/lib/dpkg/diversions", "/usr/lib/libdemo.so.1.5\n/usr/lib/moved\ndriver\n");
    EXPECT_EQ(field(), "driver") << "the diverting package has the file";
}

TEST_F(Dependencies, TellsALibraryWithoutProvider) {
    program.needed = {"libdemo.so.1", "libgone.so.4", "plugin.so"};
    writeProgram();
    const Report report = findDependencies(request);
    ASSERT_EQ(report.missing.size(), 1U);
    EXPECT_THAT(
        report.missing.front().message,
        HasSubstr("prog: needs libgone.so.4 (amd64), which is in none of " + root.path().string() + "/lib, "));
    EXPECT_THAT(report.notes, ElementsAre(HasSubstr("needs plugin.so"))) << "a plugin may come from anywhere";
    library("/usr/lib/libgone.so.4", "libgone.so.4");
    EXPECT_THAT(field(), HasSubstr("for which no package gives a dependency; it is /usr/lib/libgone.so.4"));
    request.ignoreMissing = true;
    EXPECT_EQ(field(), "libdemo1 (>= 2.0)");
}

TEST_F(Dependencies, LooksIntoTheTreeFirstAndNamesForeignFiles) {
    program.needed = {"libdemo.so.1", "libown.so.1", "libprivate.so.1"};
    writeProgram("tree/usr/bin/prog");
    library("/tree/usr/lib/libown.so.1", "libown.so.1");
    library("/tree/opt/lib/libprivate.so.1", "libprivate.so.1");
    root.write("tree/usr/bin/script", "#!/bin/sh\n");
    program.machine = EM_AARCH64;
    writeProgram("tree/usr/bin/foreign");
    std::filesystem::create_directory_symlink("..", root / "tree/usr/cycle");
    request.inputs = {root / "tree"};
    Report report = findDependencies(request);
    ASSERT_EQ(report.missing.size(), 1U);
    EXPECT_THAT(report.missing.front().hint, HasSubstr("--libdir /opt/lib has a file of that name"));
    EXPECT_THAT(report.notes, ElementsAre(HasSubstr("usr/bin/foreign: skipped: is for arm64, not for amd64")));
    request.libdirs = {"/opt/lib"};
    EXPECT_EQ(field(), "libdemo1 (>= 2.0)");
    request.architecture = "i386";
    EXPECT_THAT(failureOf([&] { findDependencies(request); }), HasSubstr("no file is for i386: "));
}

/// An arm64 program and its library's package on any machine.
TEST_F(Dependencies, ComeOutOfPackages) {
    const auto package = [&](const std::string& file, const std::string& version, const std::string& symbols,
                             const std::string& payload) {
        stream::PackageWriter writer;
        for (const auto& [name, value] : {std::pair<const char*, std::string>{"Package", "libarm1"},
                                          {"Version", version},
                                          {"Architecture", "arm64"},
                                          {"Maintainer", "Ann Lee <ann@example.org>"},
                                          {"Description", "x"}}) {
            writer.control().set(name, value);
        }
        if (!symbols.empty()) {
            writer.addControlMember("symbols", symbols);
        }
        writer.addBytes(payload, "usr/bin/prog", {0755});
        root.write(file, "");
        writer.write(root / file);
    };
    program.machine = EM_AARCH64;
    package("debs/new.deb", "2", "libdemo.so.1 libarm1 #MINVER#\n two@V2 1.9\n", "");
    package("debs/old.deb", "1", "libdemo.so.1 libarm1 #MINVER#\n two@V2 1.1\n", "");
    package("tool.deb", "1", "", program.bytes());
    request = {};
    request.inputs = {root / "tool.deb"};
    request.from = {root / "debs"};
    request.debianDirectory = root / "debian";
    EXPECT_EQ(field(), "libarm1 (>= 1.9)");
    program.needed = {"libelse.so.1"};
    package("tool.deb", "1", "", program.bytes());
    EXPECT_THAT(field(), HasSubstr("tool.deb: usr/bin/prog: needs libelse.so.1 (arm64), which is in none of "));
    request.from = {root / "etc"};
    EXPECT_THAT(failureOf([&] { findDependencies(request); }), HasSubstr("etc: has no packages"));
}

TEST_F(Dependencies, RefuseWhatIsNoInput) {
    request.inputs = {root.write("text", "no ELF")};
    EXPECT_THAT(failureOf([&] { findDependencies(request); }),
                HasSubstr("text: is neither an ELF file nor a package"));
    request.inputs = {root.write("cut", program.bytes().substr(0, 70))};
    EXPECT_THAT(failureOf([&] { findDependencies(request); }),
                HasSubstr("cut: its program headers lie outside the file"));
    request.inputs = {root / "nosuch"};
    EXPECT_THAT(failureOf([&] { findDependencies(request); }), HasSubstr("nosuch: No such file or directory"));
}

}  // namespace
}  // namespace bex::shlibs
