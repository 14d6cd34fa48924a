#include "Seeds.hpp"

#include <map>

#include "Layers.hpp"
#include "Target.hpp"
#include "TemporaryDirectory.hpp"
#include "bex/stream/PackageWriter.hpp"
#include "shlibs/HandMadeElf.hpp"
#include "stream/index/Indexed.hpp"
#include "stream/reader/HandMade.hpp"
#include "stream/writer/Building.hpp"

namespace bex::fuzz {
namespace {

using stream::Compression;
using namespace test;
using Seeds = std::vector<std::string>;

const std::string kGnu("ustar  \0", 8);
const std::string kLongName = "./" + std::string(120, 'n');

void append(Seeds& to, const Seeds& more) {
    to.insert(to.end(), more.begin(), more.end());
}

std::string typed(char type, const std::string& contents = {}) {
    TarFields fields;
    fields.name = "./odd";
    fields.type = type;
    return tarEntry(fields, contents);
}

/// Rows of tar entries.
Seeds entryRows() {
    TarFields prefixed;
    prefixed.name = "tool";
    prefixed.prefix = "./usr/bin";
    prefixed.mode = "0006755";
    TarFields large;
    large.name = "./large";
    large.mtime = std::string("\x80\0\0\0\0\0\0\0\x7f\0\0\0", 12);
    large.magic = kGnu;
    large.gid = std::string("\x80\0\0\0\xff\xff\xff\xfe", 8);
    large.uid = std::string("\x80\0\0\0\0\1\0\0", 8);
    return {
        tarFolder("./") + tarFolder("./bin/") + tarFile("./bin/tool", "echo tool\n") +
            tarLink("./bin/link", "tool", '2') + tarLink("./bin/other", "./bin/tool", '1'),
        tarEntry(prefixed, "x") + tarEntry(large, std::string(700, 'l')),
        withLongName('L', kLongName, tarFile("./n", "long")) +
            withLongName('K', kLongName, tarLink("./l", "x", '2')),
        withPax({{"path", kLongName}, {"mtime", "12.5"}, {"size", "3"}}, tarFile("./n", "pax")) +
            withPax({{"linkpath", "elsewhere"}, {"uname", "ann"}, {"SCHILY.xattr.user.a", "b"}},
                    tarLink("./l", "x", '2')),
        withPax({{"mtime", "-1.5"}, {"uid", "70000000"}, {"gid", "7"}, {"gname", "\xc3\xa4"}, {"comment", ""}},
                tarFolder("./d")) +
            typed('1') + typed('0', std::string(512, 'b')),
        typed('S') + withPax({{"GNU.sparse.map", "0,1"}}, tarFile("./sparse", "abc")),
        tarFile("./folder/x", "through a link that was there"),
        tarFile("./link", "through a link") + tarFile("./name", "through a hard link"),
        tarFolder("./folder/") + tarFile("./folder/x", "inside"),
        tarLink("./a", "..", '2') + tarFile("./a/canary/file", "through"),
        tarLink("./a", "../canary/file", '1') + tarFile("./a", "through"),
        tarFile("../canary/new"),
        tarFile("/canary"),
        tarFile("./f") + tarFile("./f/g") + tarFile("./f"),
        typed('3') + typed('6') + typed('g', "9 a=bcde\n") + typed('V') + typed('7', "contiguous"),
        tarFile("./esc\x1b[31m\n\xff\xe2\x80\xae", "name"),
        "",
    };
}

/// Control members beside the paragraph, and what verify has to say of them.
std::string controlEntries() {
    return tarFile("./md5sums", "2a60d3f6e2a6da3ad5d1d0b3ee0a4b7c  bin/tool\n") +
           tarFile("./conffiles", "/bin/tool\n") + tarFile("./postinst", "#!/bin/sh\n");
}

Seeds tars() {
    Seeds seeds;
    for (const std::string& row : entryRows()) {
        seeds.push_back(tarOf(row));
    }
    append(seeds,
           {tarFile("./cut", "no end marks"), tarFile("./one") + std::string(512, '\0'),
            tarOf(tarFile("./x")) + "behind", tarOf(tarFile("./control", kControlText) + controlEntries())});
    return seeds;
}

/// What the streaming writer makes, in each of its ways.
Seeds written() {
    const TemporaryDirectory folder;
    folder.write("etc/tool.conf", "a = b\n");
    folder.write("bin/tool", std::string(3000, 'x') + "tool\n");
    std::filesystem::create_hard_link(folder / "bin/tool", folder / "bin/other");
    std::filesystem::create_symlink("tool", folder / "bin/link");
    stream::PackageWriter writer = soundWriter();
    writer.control().set("Depends", "libc6 (>= 2.36), mail | exim4:any");
    writer.addTree(folder.path().string());
    writer.addBytes("bytes", kLongName + "/f", {04755, 5});
    writer.addConffile("etc/tool.conf");
    writer.addControlMember("postinst", "#!/bin/sh\n");
    Seeds seeds;
    for (const Compression compression :
         {Compression::gzip, Compression::none, Compression::zstd, Compression::xz}) {
        stream::WriteOptions options = datedOptions();
        options.compression = compression;
        options.level = 1;
        options.blockBytes = 2000;
        seeds.push_back(written(writer, folder, options));
    }
    return seeds;
}

/// As the object library writes it: names end with "/", the control file stands in no folder.
std::string objectPackage(const std::string& entries) {
    return arOf(arMember("debian-binary/", "2.0\n") +
                arMember("control.tar.gz/", gzipOf(tarOf(tarFile("control", kControlText)))) +
                arMember("data.tar.gz/", gzipOf(tarOf(entries))));
}

Seeds packages() {
    Seeds seeds = written();
    for (const std::string& row : entryRows()) {
        seeds.push_back(packageOf(row));
        seeds.push_back(objectPackage(row));
    }
    const std::string tar = tarOf(tarFile("./f", "file"));
    append(seeds, {indexedPackage(), withIndex(entryRows()[2] + tarFile("./zz", std::string(5000, 'z'))),
                   soundPackage(), packageOf(tarFile("./bin/tool", "x"), controlEntries()),
                   arOf(headOf() + arMember("_extra", "?") + arMember("data.tar.bz2", bzip2Of(tar))),
                   arOf(headOf() + arMember("data.tar.gz", gzipMember(tar, true) + gzipMember("", true))),
                   arOf(headOf() + arMember("data.tar.gz", gzipMember(tar, true, 9))),
                   arOf(headOf() + arMember("data.tar", tar) + arMember("behind", "data"))});
    return seeds;
}

Seeds ars() {
    return {soundPackage(),
            arOf(""),
            arOf(arMember("a/", "odd") + arMember("b", "even")),
            arOf(arMember("#1/20", "x") + arMember("//", "names/\n")),
            arOf(arMember("big", "x", "9999999999")),
            arOf(arMember("a", "x")) + "trailing",
            arOf(arMember("last", "odd")).substr(0, 71)};
}

Seeds gzips() {
    const std::string text(5000, 't');
    const std::string block = gzipMember(text, true);
    const std::string plain = gzipMember("plain", false);
    std::string wrong = block;
    wrong[wrong.size() - 8] ^= 1;
    const std::string named =
        plain.substr(0, 3) + '\x18' + plain.substr(4, 6) + std::string("name\0comment\0", 13) + plain.substr(10);
    return {gzipOf(text),
            packed(text, Compression::gzip, 1000),
            block + plain + block,
            plain + block,
            named,
            gzipMember("", true) + block,
            gzipMember(text, true, 1),
            gzipMember(text, true, 0U - 30U),
            gzipMember(text, true, 8) + block.substr(block.size() - 8),
            wrong,
            block + std::string(20, '\0'),
            block + "behind",
            block.substr(0, block.size() - 3),
            gzipMember(std::string(std::size_t{5} << 20, '\0'), true)};
}

Seeds texts() {
    return {
        kControlText,
        "1:2.36-9+deb12u1\n1:2.36~rc1-1",
        "libc6:any (>= 2.36), mail | exim4 (<< 1:4.9-2~)\n",
        "etc/*.conf\netc/a/b.conf",
        kControlText + "\n" + kControlText,
        kControlText + "Source: tool (1:2.0)\nSection: contrib/net\nPriority: optional\nInstalled-Size: 12\n" +
            "Essential: no\nProtected: yes\nMulti-Arch: foreign\nBreaks: a (<< 2)\nProvides: b (= 1), c\n",
        std::string("Package: A b\nVersion: 1:\nArchitecture: linux-any\nMaintainer: nobody\nDescription:\n x\n") +
            "Source: Tool\nSection: a/b/c\nPriority: Optional!\nInstalled-Size: 1k\nEssential: maybe\n" +
            "Multi-Arch: all\nDepends: a (> 1), |\nProvides: b (>= 1)\nEnhances: \xff\nX-Empty:\n",
        "# comment\n\nPackage: a\nDescription: s\n long\n .\n\tmore\nDepends: a (>= 1:2~b-3), b | c:any [amd64]\n",
        "Package:a\r\nPACKAGE : b\nVersion: 1\n\nSecond: x\n",
        "A: \x1b]0;x\x07\n \n",
        "Essential: YES\nA:b",
        "d41d8cd98f00b204e9800998ecf8427e  usr/bin/tool\nD41D8CD98F00B204E9800998ECF8427E *b\\c\n",
        "a\\b\n\t\x7f\xc2\x9b\xe2\x80\xae\xd8\x9c\xe2\x81\xa7\xff\xf0\x9f\x98\x80\xed\xa0\x80 \xc3\xa4"};
}

Seeds elfs() {
    HandMadeElf library;
    library.soname = "libx.so.1";
    HandMadeElf program;
    program.machine = EM_AARCH64;
    program.needed = {"libx.so.1", "libc.so.6"};
    program.runPath = "$ORIGIN/../lib:/opt/lib";
    program.undefined = {{"one", "V1"}, {"two", "V2"}, {"plain", ""}};
    return {library.bytes(), program.bytes(), program.bytes().substr(0, 300)};
}

Seeds symbolsFiles() {
    return {
        "libx.so.1 libx1 #MINVER#, libx-data\n| libx1-extra #MINVER# | other (>> 1)\n"
        "* Build-Depends-Package: libx-dev\n one@Base 1:1.0-1\n two@V2 1.2~rc1 1\n",
        "libx.so.1 libx1\n (optional|arch=!i386 any-arm)f@V2 1\n (arch-bits=64|arch-endian=big)g@Base 2\n"
        " (c++)\"ns::f(int)@Base\" 3\n (symver)V2 4\n (c++|regex)^ns:: 5\n (regex)\"^re_(a|b)*x\" 6\n *@V3 7\n",
        "# comment\n#MISSING: 1# a@Base 1\nliby-1.2.so y\nlibx.so.1 x | y:any (<= 2) [amd64] <!a b>\n",
        "libx 1 libx1 (>= 1)\nudeb: libx 1 u\ndeb: libx 1 d, e\n",
        "a (>= 1) | b, c:any (<< 2) [!i386] <x> <!y>, d"};
}

/// Indexes of packages, as the chain holds them.
Seeds indexes() {
    Seeds seeds;
    for (const std::size_t row :
         {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{3}, std::size_t{8}}) {
        seeds.push_back(indexOf(dataOf(withIndex(entryRows()[row] + tarFile("./zz", std::string(5000, 'z'))))));
    }
    seeds.push_back(indexOf(dataOf(indexedPackage())));
    return seeds;
}

Seeds buildFiles() {
    return {
        "name: site\nversion: v1.2.0-rc1+git\nmaintainer: &m Ann Lee <a@b.c>\ndescription: |\n  one\n  two\n"
        "depends: [auto, 'adduser | x (>= 1)']\ncontents:\n  - { src: a, dst: /usr, type: tree }\n"
        "  - { dst: /etc/x, type: config, file_info: { mode: 0640, owner: o, group: g, mtime: 2024-01-02 } }\n"
        "scripts: { postinstall: p }\nsystemd: { units: [x.service], enable: true, start: no }\nstrip: dbgsym\n",
        "name: ${NAME:-x}\narch: amd64\nversion: 1\nepoch: 2\nrelease: 3\numask: 0o022\n"
        "overrides: { deb: { depends: [a] }, rpm: { depends: [b] } }\n"
        "deb: { fields: { Bugs: x }, triggers: { interest: [t] }, compression: 'zstd:19', scripts: { rules: r } "
        "}\n"
        "rpm: { group: g }\ncontents: [{ src: 'a/**/*.{h,c}', dst: /x/, expand: true, packager: deb }]\n",
        "base: &b { x: &y [1, *b] }\nname: { <<: *b }\n",
        "a: {b: {c: {d: [[[[[[[[[]]]]]]]]]}}}\n--- \nsecond: 1\n",
        "nmae: \x1b[2J\nversion: [1\n",
        "#!/bin/sh -e\nexit 1\n",
        "#!/usr/bin/env bash\n:\n",
        "usr/**/{a,b{c,d}}/*.[ch]\nusr/x/y/bc/z.c\nusr/a/q.h\n"};
}

Seeds repositories() {
    const std::string sum(64, 'a');
    const std::string stanza =
        "Package: a\nVersion: 1:1~b-2\nArchitecture: all\nFilename: ./pool/a.deb\nSize: 12\nMD5sum: " +
        std::string(32, '0') + "\nSHA256: " + sum +
        "\nDepends: b (>= 1) | c\nDescription: one\n two\n .\n three\n";
    const std::string release =
        "Origin: o\nSuite: stable\nDate: Sun, 22 Nov 2026 05:40:00 UTC\nAcquire-By-Hash: yes\n"
        "SHA256:\n " +
        sum + " 12 main/binary-amd64/Packages\n " + sum + "  7 main/Contents-all.gz\n";
    const std::string signature =
        "-----BEGIN PGP SIGNATURE-----\n\nwsBzBAABCAAdFiEEAAAA\n=AAAA\n-----END PGP SIGNATURE-----\n";
    return {stanza + "\n" + stanza,
            "\n\n" + stanza + "SHA1: x\n",
            release,
            "-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA256\n\n" + release + signature,
            signature,
            "Bex-Shard: 1\nDigests: sha256 md5\n\n" + stanza + "\nBex-Shard-End: 1 " + sum + "\n"};
}

/// Decisions for the round trip: options, then kind, name, attributes and contents of each thing to add.
Seeds decisions() {
    const auto thing = [](char kind, const std::string& name, const std::string& value) {
        return kind + (static_cast<char>(name.size()) + name) + std::string("\0\0\1\xed\1\0\0\1\0\2", 10) +
               static_cast<char>(value.size()) + value;
    };
    const std::string things = thing(0, "a/b", "bytes") + thing(1, "/c/d e", std::string(90, 'x')) +
                               thing(2, "l", "a/b") + thing(3, "./empty/", "");
    Seeds seeds;
    for (char way = 0; way < 4; ++way) {
        const std::string options = way + std::string("\1\1\1\1\1\x40\0\0\0", 9);
        append(seeds, {options + things,
                       options + things + thing(4, "X-Notes", "x\n.y\n\n z") + thing(4, "X-Blank", " v "),
                       options + things + thing(5, "postinst", "#!") + thing(6, "*", "") + thing(7, "a/b", "")});
    }
    return seeds;
}

}  // namespace

std::vector<std::string> seedsFor(std::string_view target) {
    const std::map<std::string_view, Seeds (*)()> byName{
        {"roundtrip", decisions},  {"index", indexes},           {"elf", elfs},
        {"symbols", symbolsFiles}, {"repository", repositories}, {"buildfile", buildFiles}};
    switch (targetNamed(target).shape) {
        case Shape::ar:
            return ars();
        case Shape::gzip:
            return gzips();
        case Shape::tar:
            return tars();
        case Shape::package:
            return packages();
        default:
            break;
    }
    const auto found = byName.find(target);
    return found != byName.end() ? found->second() : texts();
}

}  // namespace bex::fuzz
