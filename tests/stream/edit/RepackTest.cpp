#include <gmock/gmock.h>

#include <string>

#include "bex/stream/PackageWriter.hpp"
#include "stream/StringSink.hpp"
#include "stream/edit/Editing.hpp"

namespace bex::test {
namespace {

using stream::Compression;
using stream::EditResult;
using testing::HasSubstr;

std::string payloadTarOf(const std::string& path) {
    StringSink tar;
    stream::PackageReader(path).copyPayloadTar(tar);
    return tar.bytes;
}

TEST(Repack, KeepsBothTarArchivesThroughEveryCompression) {
    // More than one block of gzip, an odd name that needs a header of its own, and padding after the end marks.
    const std::string payload = tarFolder("./") + tarFile("./noise", noise(300000)) +
                                withLongName('L', "./" + std::string(150, 'n'), tarFile("./n", "long")) +
                                tarFile("./text", std::string(1200000, 'x'));
    const std::string tar = tarOf(payload) + std::string(7 * 1024, '\0');
    Edited edited(
        arOf(arMember("debian-binary", "2.0\n") +
             arMember("control.tar.xz", packed(tarOf(tarFile("control", kControlText)), Compression::xz)) +
             arMember("data.tar.bz2", bzip2Of(tar)) + arMember("_gpgbuilder", "x")));
    edited.options.digests = true;
    StringSink control;
    stream::PackageReader(edited.path).copyControlTar(control);
    std::string digest;
    for (const Compression kind :
         {Compression::gzip, Compression::xz, Compression::zstd, Compression::none, Compression::gzip}) {
        SCOPED_TRACE(nameOf(kind));
        for (const unsigned threads : {1U, 4U}) {
            edited.options.threads = threads;
            edited.options.check = threads == 1;
            const std::string target = edited.folder / (std::string(nameOf(kind)) + std::to_string(threads));
            const EditResult result = edited.editor().repack(target, {kind, std::nullopt});
            EXPECT_TRUE(payloadTarOf(target) == tar);
            StringSink found;
            stream::PackageReader(target).copyControlTar(found);
            EXPECT_EQ(found.bytes, control.bytes);
            EXPECT_EQ(result.digestBefore.size(), 64U);
            EXPECT_EQ(result.digestBefore, result.digestAfter);
            EXPECT_TRUE(digest.empty() || digest == result.digestAfter);
            digest = result.digestAfter;
            EXPECT_FALSE(result.payloadCopied);
            edited.path = target;  // the next one begins with it
        }
        EXPECT_EQ(edited.folder.read(std::string(nameOf(kind)) + "1"),
                  edited.folder.read(std::string(nameOf(kind)) + "4"));
    }
}

TEST(Repack, WritesTheFieldsThatWereChanged) {
    const Edited edited;
    stream::PackageEditor editor = edited.editor();
    editor.control().set("Version", "2");
    editor.repack(edited.target, {Compression::xz, 0});
    EXPECT_EQ(*stream::PackageReader(edited.target).control().find("Version"), "2");
}

TEST(Repack, VerifiesThePayloadOnItsWay) {
    const std::string sums = tarFile("./md5sums", std::string(32, '0') + "  x\n");
    const struct {
        std::string bytes;
        const char* code;
    } cases[] = {
        {packageOf(tarFile("./x", "x"), sums), "md5-mismatch"},
        {packageOf(tarFile("../x", "x")), "path-parent"},
        {packageOf("", tarFile("./conffiles", "/gone\n")), "conffile-missing"},
        {packageOf("", tarFile("./prerm", "#!/bin/sh\r\n")), "script-line-end"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        Edited edited(c.bytes);
        edited.folder.write("new.bex", "old");
        const auto repack = [&] { edited.editor().repack(edited.target, {Compression::zstd, 1}); };
        EXPECT_NE(failureOf(repack), "");
        stream::PackageWriter writer;
        EXPECT_EQ(failureOf([&] { edited.editor().copyTo(writer); }), failureOf(repack)) << "and so does a filter";
        EXPECT_EQ(edited.made(), "old");
        EXPECT_EQ(namesBelow(edited.folder.path()).size(), 2U);
        edited.options.allow = {c.code};
        repack();
        const stream::PackageEditor made(edited.target, edited.options);
        for (const stream::Member& member : made.members()) {
            EXPECT_EQ(member.mtime, 1000000000) << member.name;
        }
        EXPECT_TRUE(payloadTarOf(edited.target) == payloadTarOf(edited.path));
    }
    EXPECT_THAT(failureOf([] {
                    Edited().editor().repack("x", {Compression::bzip2, std::nullopt});
                }),
                HasSubstr("bzip2 is read, not written"));
    EXPECT_THAT(failureOf([] { Edited().editor().repack("x", {Compression::zstd, 99}); }), HasSubstr("level 99"));
}

}  // namespace
}  // namespace bex::test
