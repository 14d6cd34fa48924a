#include <gtest/gtest.h>

#include "HandMade.hpp"
#include "TemporaryDirectory.hpp"

namespace bex::test {
namespace {

using stream::Entry;
using stream::ExtractOptions;
using stream::PackageReader;

TEST(Extract, ALinkToAFileThatIsLeftOutIsRefused) {
    const TemporaryDirectory folder;
    ExtractOptions options;
    options.select = [](const Entry& entry) { return entry.path == "./other"; };
    EXPECT_EQ(reading(packageOf(tarFile("./tool", "tool") + tarLink("./other", "./tool", '1')), Route::pipe,
                      [&](PackageReader& reader) { reader.extract(folder / "out", options); }),
              "p.bex: ./other: is a hard link to \"./tool\", which is not extracted");
}

}  // namespace
}  // namespace bex::test
