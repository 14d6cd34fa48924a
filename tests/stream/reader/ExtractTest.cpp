#include <gtest/gtest.h>

#include "Failure.hpp"
#include "HandMade.hpp"
#include "TemporaryDirectory.hpp"
#include "stream/writer/Building.hpp"

namespace bex::test {
namespace {

using stream::Entry;
using stream::ExtractOptions;
using stream::PackageReader;

std::string namesBelow(const std::string& path) {
    return outputOf("cd " + path + " && find . -mindepth 1 -printf '%P%y ' | tr ' ' '\\n' | sort | tr '\\n' ' '");
}

TEST(Extract, TakesWhatIsSelectedAndStripsComponents) {
    const std::string payload = tarFolder("./") + tarFolder("./usr/") + tarFolder("./usr/bin/") +
                                tarFile("./usr/bin/tool", "tool") +
                                tarLink("./usr/bin/other", "./usr/bin/tool", '1') +
                                tarLink("./usr/bin/link", "tool", '2') + tarFile("./etc/conf", "conf");
    const auto named = [](const std::string& part) {
        return [part](const Entry& entry) { return entry.path.find(part) != std::string::npos; };
    };
    const struct {
        std::function<bool(const Entry&)> select;
        unsigned strip;
        const char* names;
        const char* why;
    } cases[] = {
        {nullptr, 0, "etc/conff etcd usr/bin/linkl usr/bin/otherf usr/bin/toolf usr/bind usrd", "all"},
        {named("conf"), 0, "etc/conff etcd", "folders above are made"},
        {named("tool"), 0, "usr/bin/toolf usr/bind usrd", "one of two names"},
        {nullptr, 1, "bin/linkl bin/otherf bin/toolf bind conff", "links lose components, too; symlinks are data"},
        {nullptr, 2, "linkl otherf toolf", "what has no more is left out"},
        {nullptr, 9, "", "nothing is left"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        const TemporaryDirectory folder;
        ExtractOptions options;
        options.select = c.select;
        options.stripComponents = c.strip;
        EXPECT_EQ(reading(packageOf(payload), Route::pipe,
                          [&](PackageReader& reader) { reader.extract(folder / "out", options); }),
                  "");
        std::string names = namesBelow(folder / "out");
        names.erase(0, names.find_first_not_of(' '));
        EXPECT_EQ(names.substr(0, names.find_last_not_of(' ') + 1), c.names);
    }
    ExtractOptions options;
    options.select = named("other");
    const TemporaryDirectory folder;
    EXPECT_EQ(reading(packageOf(payload), Route::file,
                      [&](PackageReader& reader) { reader.extract(folder / "out", options); }),
              "p.bex: ./usr/bin/other: is a hard link to \"./usr/bin/tool\", which is not extracted");
}

}  // namespace
}  // namespace bex::test
