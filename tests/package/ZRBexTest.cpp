#include <gtest/gtest.h>

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
    EXPECT_EQ(stream.str(), "");
    const auto* package = dynamic_cast<const ZRBex*>(manager.get());
    ASSERT_NE(package, nullptr);
    EXPECT_EQ(package->getFilename(), "");
    EXPECT_EQ(package->getExtension(), "wqt");
    EXPECT_TRUE(package->getFiles().empty());
    EXPECT_TRUE(package->getFilesOnDisk().empty());
    EXPECT_TRUE(package->getFilesInMemory().empty());
    EXPECT_TRUE(package->getMetaData().empty());
}

TEST(ZRBex, OpensWhatDoesNotExistAsNewAndKeepsItsPathWhenOpeningFails) {
    const TemporaryDirectory dir;
    Package package(dir / "first.bex");
    package.open(dir / "missing/new.bex");
    EXPECT_EQ(package.getFilename(), dir / "missing/new.bex");
    EXPECT_TRUE(fs::is_empty(dir.path()));
    const std::string text = dir.write("text", "no package");
    EXPECT_EQ(failureOf([&] { package.open(text); }),
              "ArArchive::ArArchive (" + text + "): impossible to open " + text + " file.");
    EXPECT_EQ(package.getFilename(), dir / "missing/new.bex");
}

TEST(ZRBex, SharesItsRecordsWithCopiesAndClones) {
    const TemporaryDirectory dir;
    Package package(dir / "p.bex");
    package.withFields().with("memory", "m").add(dir.write("f", ""), "disk");
    const ZRBex copy(package);
    const std::unique_ptr<PackageManager> clone(package.ZRBex::clone());
    for (const ZRBex* object : {&copy, dynamic_cast<const ZRBex*>(clone.get())}) {
        ASSERT_NE(object, nullptr);
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

TEST(ZRBex, KnowsAFileByItsOwnMagicNumberOnly) {
    const TemporaryDirectory dir;
    const struct {
        std::string bytes;
        bool valid;
        const char* why;
    } cases[] = {
        {"<!arch>\n", true, "the number alone"},
        {"<!arch>\nmore", true, "more behind it"},
        {packageOf(""), false, "a package, which begins as every ar file does"},
        {" <!arch>\n", false, "not at the beginning"},
        {"<!arch>", false, "a byte short"},
        {"", false, "nothing at all"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ZRBex::isValid(dir.write("f", c.bytes)), c.valid) << c.why;
    }
    EXPECT_EQ(failureOf([&] { ZRBex::isValid(dir / "missing"); }), (dir / "missing") + " can't be opened.");
    std::istringstream magic("<!arch>\n");
    EXPECT_FALSE(ZRBex().isValid(magic));
    EXPECT_EQ(magic.tellg(), 0) << "a stream is never read";
}

}  // namespace
}  // namespace bex::test
