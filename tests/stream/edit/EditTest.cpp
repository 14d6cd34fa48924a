#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bex/stream/PackageWriter.hpp"
#include "stream/StringSink.hpp"
#include "stream/edit/Editing.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

namespace fs = std::filesystem;
using stream::EditResult;
using stream::FindingRefused;
using stream::PackageEditor;
using testing::AllOf;
using testing::ElementsAre;
using testing::Gt;
using testing::HasSubstr;
using testing::Lt;

/// The unpacked control archive.
std::string controlTarOf(const std::string& path) {
    StringSink tar;
    stream::PackageReader(path).copyControlTar(tar);
    return tar.bytes;
}

std::string strangeMember(const std::string& name, const std::string& contents) {
    TarFields fields;
    fields.name = name;
    fields.mode = "0000751";
    fields.uid = "0001750";
    fields.mtime = "07346545010";
    return tarEntry(fields, contents);
}

TEST(PackageEditor, KeepsEveryByteThatNoChangeNames) {
    const std::string before =
        "X-Odd:kept \nPackage: tool\nversion:   1.0\nDepends: aa\n ,bb\nArchitecture: all\n"
        "Maintainer: Ann Lee <ann@example.org>\nDescription: a tool\n\tand\n .\n more\n";
    const std::string after =
        "X-Odd:kept \nPackage: tool\nversion: 1.0+b1\nArchitecture: all\n"
        "Maintainer: Ann Lee <ann@example.org>\nDescription: a tool\n\tand\n .\n more\n"
        "Section: web\n";
    const std::string data = arMember("data.tar.gz", gzipOf(tarOf(tarFile("./x", "x"))));
    const std::string unknown = arMember("later/", "odd");
    const Edited edited(
        arOf(arMember("debian-binary", "2.7\nmore\n") + arMember("_early", "e") +
             arMember("control.tar.zst",
                      packed(tarOf(tarFolder("./") + strangeMember("unknown", "u") + tarFile("control", before) +
                                   tarFile("./prerm", "#!/bin/false\n")),
                             stream::Compression::zstd)) +
             arMember("_gpgorigin", "signed") + data + unknown));
    PackageEditor editor = edited.editor();
    editor.control().set("Version", "1.0+b1");
    editor.control().set("Section", "web");
    EXPECT_TRUE(editor.control().remove("Depends"));
    editor.setControlMember("postinst", "#!/bin/sh\n");
    editor.setControlMember("prerm", "#!/bin/sh\n");
    const EditResult result = editor.write(edited.target);
    const std::string made = edited.made();
    EXPECT_EQ(made.size(), result.packageBytes);
    EXPECT_TRUE(result.payloadCopied);
    ASSERT_EQ(result.notes.size(), 1U);
    EXPECT_EQ(messageOf(result.notes[0]),
              "member \"_gpgorigin\": left out: a signature is not valid for a changed package");
    const auto script = [](const char* name) {
        TarFields fields;
        fields.name = name;
        fields.mode = "0000755";
        fields.mtime = "07346545010";
        return tarEntry(fields, "#!/bin/sh\n");
    };
    const std::string expected = tarOf(tarFolder("./") + strangeMember("unknown", "u") +
                                       tarFile("control", after) + script("./prerm") + script("postinst"));
    const auto entriesOf = [&](const std::string& tar) {
        return listingOf(arOf(headOf() + arMember("data.tar", tar)));
    };
    EXPECT_EQ(entriesOf(controlTarOf(edited.target)), entriesOf(expected));
    const std::string control = arMember("control.tar.zst", edited.member(made, "control.tar.zst"));
    EXPECT_EQ(made,
              arOf(arMember("debian-binary", "2.7\nmore\n") + arMember("_early", "e") + control + data + unknown));
    // Once more without a change: nothing but the signature goes.
    edited.editor().write(edited.target);
    EXPECT_EQ(controlTarOf(edited.target), controlTarOf(edited.path));
}

TEST(PackageEditor, RefusesWhatAnEditWouldBreak) {
    const struct {
        std::function<void(PackageEditor&)> change;
        const char* message;
    } cases[] = {
        {[](auto& e) { e.control().set("Depends", ""); }, "/old.bex: control: Depends is empty"},
        {[](auto& e) { e.control().set("Depends", "a b"); },
         "/old.bex: control: Depends \"a b\" holds \"b\" out of place"},
        {[](auto& e) { e.control().remove("Version"); }, "/old.bex: control: Version is missing"},
        {[](auto& e) { e.control().set("Status", "x"); },
         "/old.bex: control: Status \"x\" is allowed only among dpkg's installed packages"},
        {[](auto& e) { e.setControlMember("control", "x"); },
         "control member \"control\": must be changed field by field"},
        {[](auto& e) { e.setControlMember("md5sums", "x"); },
         "control member \"md5sums\": belongs to the payload, which an edit does not change"},
        {[](auto& e) { e.setControlMember("a/b", "x"); }, "control member \"a/b\": is not a plain file name"},
        {[](auto& e) { e.setControlMember("prerm", "#!/bin/sh\r\n"); },
         "prerm: the first line ends with a carriage return"},
        {[](auto& e) { e.setControlMember("triggers", "x\n"); },
         "triggers: line 1 has the unknown directive \"x\""},
        {[](auto& e) { e.setControlMember("conffiles", "x\n"); }, "conffiles: \"x\" is not an absolute path"},
        {[](auto& e) { e.removeControlMember("control"); }, "control member \"control\": can't be removed"},
        {[](auto& e) { e.addConffile("/bin/gone"); }, "conffiles: \"/bin/gone\" is not in the payload"},
        {[](auto& e) { e.addConffile("bin/link"); }, "conffiles: \"/bin/link\" is not a regular file"},
    };
    const Edited edited;
    for (const auto& c : cases) {
        EXPECT_THAT(failureOf([&] {
                        PackageEditor editor = edited.editor();
                        c.change(editor);
                        editor.write(edited.target);
                    }),
                    testing::EndsWith(c.message));
    }
    EXPECT_THAT(namesBelow(edited.folder.path()), ElementsAre("old.bex"));
    PackageEditor editor = edited.editor();
    editor.addConffile("bin/tool");
    editor.addConffile("/bin/tool");
    EXPECT_FALSE(editor.removeControlMember("prerm"));
    editor.setControlMember("prerm", "true\n");
    editor.setControlMember("postrm", "true\n");
    EXPECT_TRUE(editor.removeControlMember("prerm"));
    const EditResult result = editor.write(edited.target);
    ASSERT_EQ(result.notes.size(), 1U) << "of the script that is there";
    EXPECT_THAT(messageOf(result.notes[0]), HasSubstr("postrm"));
    EXPECT_EQ(stream::PackageReader(edited.target).findControlMember("conffiles")->contents, "/bin/tool\n");
}

TEST(PackageEditor, RefusesErrorsOfVerifyUnlessTheyAreAllowedOrMended) {
    const auto keep = [](PackageEditor& editor) { editor.control().set("Section", "web"); };
    const auto mend = [](PackageEditor& editor) { editor.setControlMember("prerm", "#!/bin/sh\n"); };
    const std::string twice = arMember("data.tar", tarOf(""));
    const std::string sums = tarFile("./md5sums", std::string(32, '0') + "  x\n");
    const std::string control = tarFile("control", kControlText);
    const std::string faulty = tarFile("control", kControlText + "Depends: a b\n");
    const std::string data = arMember("data.tar", tarOf(""));
    const struct {
        std::string bytes;
        const char* code;
        std::function<void(PackageEditor&)> change;
        bool payload;  ///< only --check sees it
        bool mended;
    } cases[] = {
        {packageOf("", tarFile("./prerm", "#!/bin/sh\r\n")), "script-line-end", keep, false, false},
        {packageOf("", tarFile("./prerm", "#!/bin/sh\r\n")), "script-line-end", mend, false, true},
        {packageOf(tarFile("./a", "a") + tarFile("./b", "b"), tarFile("./conffiles", "/a")), "conffile-newline",
         [](auto& e) { e.addConffile("b"); }, false, true},
        {arOf(headOf() + twice + arMember("data.tar.gz", gzipOf(tarOf("")))), "member-second", keep, false, false},
        {packageOf(tarFile("./x", "x"), sums), "md5-mismatch", keep, true, false},
        {arOf(arMember("debian-binary", "2.0\n") + arMember("control.tar.bz2", bzip2Of(tarOf(control))) + data),
         "member-compression", keep, false, false},
        {arOf(arMember("debian-binary", "2.0\n") + arMember("control.tar", tarOf(faulty)) + data), "field", keep,
         false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        Edited edited(c.bytes);
        const auto edit = [&] {
            PackageEditor editor = edited.editor();
            c.change(editor);
            editor.write(edited.target);
        };
        edited.options.check = c.payload;
        if (c.mended) {
            edit();
            EXPECT_THAT(findingsOf(edited.made()), Not(testing::Contains(HasSubstr(c.code))));
            continue;
        }
        try {
            edit();
            ADD_FAILURE() << "was written";
        } catch (const FindingRefused& refused) {
            EXPECT_EQ(refused.code(), c.code);
        }
        EXPECT_THAT(namesBelow(edited.folder.path()), ElementsAre("old.bex"));
        edited.options.allow = {c.code, "ar-trailing"};
        edit();
        EXPECT_EQ(failureOf([&] {
                      edited.options.allow = {"ar-trailing"};
                      edit();
                  }).empty(),
                  false);
        edited.options = {};
        if (c.payload) {
            edit();  // does not look
        }
    }
    // What cannot be read is refused whatever is allowed.
    Edited cut(soundPackage().substr(0, 250));
    cut.options.allow = stream::findingCodes();
    EXPECT_THAT(failureOf([&] { cut.editor(); }), HasSubstr("ends after"));
}

TEST(PackageEditor, ReplacesThePackageInPlaceAndKeepsItsMode) {
    const Edited edited;
    fs::permissions(edited.path, fs::perms(0640));
    fs::create_symlink("old.bex", edited.folder / "link.bex");
    PackageEditor editor = edited.editor();
    editor.control().set("Version", "2");
    const auto modeOf = [](const std::string& path) {
        struct stat status {};
        lstat(path.c_str(), &status);
        return status.st_mode;
    };
    const std::string before = edited.old();
    editor.write(edited.folder / "link.bex");
    EXPECT_EQ(edited.old(), before) << "the link is replaced, not what it leads to";
    EXPECT_EQ(modeOf(edited.folder / "link.bex"), S_IFREG | 0640U);
    editor.write(edited.path);
    EXPECT_EQ(modeOf(edited.path), S_IFREG | 0640U);
    EXPECT_EQ(*stream::PackageReader(edited.path).control().find("Version"), "2");
    EXPECT_EQ(edited.old(), edited.folder.read("link.bex"));
    edited.editor().write(edited.target);
    EXPECT_NE(modeOf(edited.target), S_IFREG | 0640U);
}

TEST(PackageEditor, CopiesAlikeWhateverTheKernelCanDo) {
    // Longer than what is copied at once.
    constexpr std::uint64_t size = std::uint64_t{34} << 20;
    Edited edited(
        arOf(headOf() + arMember("data.tar", tarOf(tarFile("./x", noise(100000) + std::string(size, 'x'))))));
    std::vector<std::uint64_t> done;
    edited.options.progress = [&done](const stream::Progress& progress) {
        done.push_back(progress.bytesDone);
        return true;
    };
    const auto edit = [&](FailingSystem& system) {
        PackageEditor editor = edited.editor(system);
        editor.control().set("Version", "2");
        editor.write(edited.target);
        return edited.made();
    };
    FailingSystem usual;
    const std::string expected = edit(usual);
    EXPECT_LT(usual.count("write"), 10U) << "the payload does not pass through memory";
    ASSERT_GT(done.size(), 1U);
    EXPECT_THAT(done.front(), AllOf(Gt(size / 2), Lt(size))) << "while it is copied";
    EXPECT_GT(done.back(), size);
    EXPECT_TRUE(Edited::member(expected, "data.tar") == Edited::member(edited.old(), "data.tar"));
    for (const int error : {0, EXDEV, ENOSYS, EOPNOTSUPP}) {
        FailingSystem system;
        if (error != 0) {
            system.failAlways(error, "copyFileRange");
        }
        system.limitTransfers(1000000);
        EXPECT_EQ(edit(system), expected) << error;
    }
}

TEST(PackageEditor, KeepsToTheLimits) {
    Edited edited;
    edited.options.limits.controlBytes = 10;
    const std::string message = failureOf([&] {
        PackageEditor editor = edited.editor();
        editor.control().set("Version", "2");
        editor.write(edited.target);
    });
    EXPECT_THAT(message, HasSubstr("controlBytes"));
}

TEST(PackageEditor, NoticesAPackageThatChangesMeanwhile) {
    const struct {
        const char* reason;
        bool inPlace;
        std::function<void(const Edited&)> change;
    } cases[] = {
        {"changed while it was read", false, [](const Edited& e) { std::ofstream(e.path, std::ios::app) << "x"; }},
        {"changed while it was read", false,
         [](const Edited& e) {
             const auto time = fs::last_write_time(e.path);
             e.folder.write("old.bex", std::string(fs::file_size(e.path), 'x'));
             fs::last_write_time(e.path, time);
         }},
        {"became shorter while it was read", false, [](const Edited& e) { fs::resize_file(e.path, 300); }},
        {"was replaced while it was edited", true,
         [](const Edited& e) { fs::rename(e.folder.write("other", "other"), e.path); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reason);
        const Edited edited;
        FailingSystem system;
        PackageEditor editor = edited.editor(system);
        editor.control().set("Version", "2");
        std::string changed;
        system.watch([&](const std::string& call, std::size_t) {
            if (call == "copyFileRange" && changed.empty()) {
                c.change(edited);
                changed = edited.old();
            }
        });
        const std::string target = c.inPlace ? edited.path : edited.target;
        const std::string expected = edited.path + ": " + c.reason;
        EXPECT_EQ(failureOf([&] { editor.write(target); }), expected);
        EXPECT_EQ(edited.old(), changed);
        EXPECT_THAT(namesBelow(edited.folder.path()), ElementsAre("old.bex"));
    }
    const Edited copied;
    stream::PackageWriter writer;
    const auto touch = [&](const stream::Entry&) {
        fs::permissions(copied.path, fs::perms(0600));
        return true;
    };
    EXPECT_EQ(failureOf([&] { copied.editor().copyTo(writer, touch); }),
              copied.path + ": changed while it was read");
}

TEST(PackageEditor, CopiesToAWriterAndKeepsHardLinksWhole) {
    const std::string files = tarFolder("./") + tarFile("./a", "data") + tarLink("./b", "./a", '1') +
                              tarLink("./c", "./b", '1') + tarFile("./d", "other") + tarLink("./e", "d", '1') +
                              tarLink("./f", "e", '1') + tarFile("./g", "gone") + tarFile("./i", "heir") +
                              tarLink("./j", "./i", '1') + tarLink("./k", "./j", '1') + tarLink("./l", "./i", '1');
    const std::string lists =
        tarFile("./conffiles", "/d\n/g\nremove-on-upgrade /h\n") + tarFile("./preinst", "#!/bin/sh\n");
    const Edited edited(packageOf(files, lists));
    stream::PackageWriter writer;
    PackageEditor editor = edited.editor();
    editor.control().set("Version", "2");
    const auto keep = [](const stream::Entry& entry) {
        const std::string leftOut = "./a ./e ./g ./i ./j";
        return leftOut.find(entry.path) == std::string::npos || entry.path == "./";
    };
    EXPECT_THAT(editor.copyTo(writer, keep), ElementsAre("g"));
    writer.write(edited.target);
    EXPECT_THAT(listingOf(edited.made()),
                testing::MatchesRegex("d0755 .* \\./\nf0644 [^\n]* \\./b = data\nh0644 [^\n]* \\./c -> \\./b\n"
                                      "f0644 [^\n]* \\./d = other\nh0644 [^\n]* \\./f -> \\./d\n"
                                      "f0644 [^\n]* \\./k = heir\nh0644 [^\n]* \\./l -> \\./k\n"));
    const stream::PackageReader made(edited.target);
    EXPECT_EQ(*made.control().find("Version"), "2");
    EXPECT_EQ(made.findControlMember("conffiles")->contents, "/d\nremove-on-upgrade /h\n");
    EXPECT_EQ(made.findControlMember("preinst")->contents, "#!/bin/sh\n");
}

}  // namespace
}  // namespace bex::test
