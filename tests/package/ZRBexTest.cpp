#include <gmock/gmock.h>

#include "Packages.hpp"
#include "bex/PackageManagerFactory.hpp"

namespace bex::test {
namespace {

TEST(ZRBex, BeginsEmptyAndIgnoresWhatItDoesNotSupport) {
    const std::unique_ptr<PackageManager> manager(PackageManagerFactory().createDebPackageManager());
    std::ostringstream stream;
    MemoryMappedFile file("name", 1);
    manager->open(stream);
    manager->add(file);
    manager->add(std::list<MemoryMappedFile*>{&file});
    const auto& package = dynamic_cast<const ZRBex&>(*manager);
    const CapturedOutput output;
    package.printFiles();
    package.printInfo();
    EXPECT_EQ(stream.str() + output.text() + package.getFilename(), "");
    EXPECT_EQ(package.getExtension(), "wqt");
    EXPECT_TRUE(package.getFilesOnDisk().empty());
    EXPECT_TRUE(package.getFilesInMemory().empty());
}

TEST(ZRBex, OpensWhatDoesNotExistAsNewAndKeepsItsPathWhenOpeningFails) {
    const TemporaryDirectory dir;
    const std::string path = dir / "missing/new.bex";
    Package package(dir / "first.bex");
    package.open(path);
    EXPECT_TRUE(fs::is_empty(dir.path()));
    for (const std::string& wrong : {dir.write("text", "no package"), dir.write("empty", ""), dir / ""}) {
        EXPECT_EQ(failureOf([&] { package.open(wrong); }),
                  "ArArchive::ArArchive (" + wrong + "): impossible to open " + wrong + " file.");
        EXPECT_EQ(package.getFilename(), path);
    }
}

TEST(ZRBex, SharesItsRecordsWithCopiesAndClonesAndCopiesItsExtensionBeforeItsFiles) {
    struct Recorder : Package {
        mutable std::string calls;
        const std::string& getExtension() const override {
            calls += "extension ";
            return ZRBex::getExtension();
        }
        const std::list<std::string>& getFiles() const override {
            calls += "files ";
            return ZRBex::getFiles();
        }
    } package;
    const TemporaryDirectory dir;
    package.open(dir / "p.bex");
    package.withFields().with("memory", "m").add(dir.write("f", ""), "disk");
    const ZRBex copy(package);
    const std::unique_ptr<PackageManager> clone(package.ZRBex::clone());
    EXPECT_EQ(package.calls, "extension files extension files ");
    for (const ZRBex* object : {&copy, &dynamic_cast<const ZRBex&>(*clone)}) {
        EXPECT_EQ(object->getFilename(), package.getFilename());
        EXPECT_EQ(object->getExtension(), package.getExtension());
        EXPECT_EQ(object->getFiles(), package.getFiles());
        EXPECT_EQ(object->getMetaData(), package.getMetaData());
        EXPECT_EQ(object->getFilesOnDisk(), package.getFilesOnDisk()) << "the very same records";
        EXPECT_EQ(object->getFilesInMemory(), package.getFilesInMemory()) << "the very same records";
    }
    clone->setVersion("2");
    EXPECT_EQ(package.getMetaData().at("Version"), "1.0") << "fields are each one's own";
}

// What programs link to. An explicit instantiation may name private members.
using Check = bool (ZRBex::*)(const std::string&);
template <Check, Check, Check, bool (ZRBex::*)(const std::istream&), void (ZRBex::*)(),
          sFileInMemory* (ZRBex::*)()>
struct Signatures {};
template struct Signatures<&ZRBex::isFileInArchive, &ZRBex::xCheckEssentialFormat, &ZRBex::xCheckMaintainerFormat,
                           &ZRBex::isValid, &ZRBex::xCheckMandatoryFields, &ZRBex::xWriteControlFileInMemory>;
static_assert(std::is_same_v<decltype(&ArArchive::xSetReadFormat), int (ArArchive::*)(archive*)>);
static_assert(std::is_same_v<decltype(&TarGzArchive::xSetReadFormat), int (TarGzArchive::*)(archive*)>);
static_assert(std::is_convertible_v<std::string, ArArchive> && std::is_convertible_v<std::string, BexException> &&
              std::is_convertible_v<const sFileInMemory*, TarGzArchive>);

TEST(ZRBex, KnowsAFileByItsOwnMagicNumberOnly) {
    const TemporaryDirectory dir;
    const std::pair<std::string, bool> cases[] = {{"<!arch>\n", true},      {"<!arch>\nmore", true},
                                                  {packageFile(""), false}, {" <!arch>\n", false},
                                                  {"<!arch>", false},       {"", false}};
    for (const auto& [bytes, valid] : cases) {
        EXPECT_EQ(ZRBex::isValid(dir.write("f", bytes)), valid) << bytes;
    }
    EXPECT_EQ(failureOf([&] { ZRBex::isValid(dir / "missing"); }), (dir / "missing") + " can't be opened.");
    std::istringstream magic("<!arch>\n");
    EXPECT_FALSE(ZRBex().isValid(magic));
    EXPECT_EQ(magic.tellg(), 0) << "a stream is never read";
}

}  // namespace
}  // namespace bex::test
