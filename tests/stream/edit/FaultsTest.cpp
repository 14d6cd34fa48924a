#include <gmock/gmock.h>

#include <cerrno>
#include <string>
#include <vector>

#include "stream/edit/Editing.hpp"

namespace bex::test {
namespace {

using stream::Compression;
using stream::PackageEditor;
using testing::HasSubstr;

class EditorFaults : public testing::Test {
protected:
    /// In place, each from the same old package.
    void change(stream::System& system, bool repacks) {
        edited_.folder.write("old.bex", package_);
        PackageEditor editor = edited_.editor(system);
        editor.control().set("Version", "2");
        if (repacks) {
            editor.repack(edited_.path, {Compression::gzip, 1});
        } else {
            editor.write(edited_.path);
        }
    }

    const std::string package_ = packageOf(tarFile("./x", noise(100000)));
    Edited edited_;
};

TEST_F(EditorFaults, EveryFailingCallLeavesTheOldPackageOrMakesTheWholeNewOne) {
    edited_.options.threads = 1;
    for (const bool repacks : {false, true}) {
        edited_.options.check = repacks;
        change(stream::System::real(), repacks);
        const std::string whole = edited_.old();
        FailingSystem inPieces;
        inPieces.limitTransfers(1000);
        change(inPieces, repacks);
        EXPECT_TRUE(edited_.old() == whole);
        const std::size_t descriptors = openDescriptors();
        // A full disk, and the ways for file systems that can less.
        for (const int error : {ENOSPC, EOPNOTSUPP}) {
            std::size_t failures = 0;
            failEachCall(
                error, [&](stream::System& system) { change(system, repacks); },
                [&](const std::string& failure, const std::string& call) {
                    SCOPED_TRACE(call);
                    EXPECT_EQ(openDescriptors(), descriptors);
                    const bool isWritten =
                        failure.empty() || failure.find("but the file is written") != std::string::npos;
                    EXPECT_TRUE(edited_.old() == (isWritten ? whole : package_));
                    EXPECT_EQ(namesBelow(edited_.folder.path()), std::vector<std::string>{"old.bex"});
                    EXPECT_THAT(failure, testing::AnyOf("", HasSubstr(edited_.path)));
                    failures += failure.empty() ? 0 : 1;
                });
            EXPECT_GT(failures, 15U);
        }
    }
}

TEST_F(EditorFaults, ACallbackThatSaysNoCancelsAtAnyPoint) {
    for (const bool repacks : {false, true}) {
        bool cancelled = true;
        std::size_t refused = 1;
        for (; cancelled; ++refused) {
            edited_.options.progress = [left = refused](const stream::Progress&) mutable { return --left != 0; };
            const std::string failure = failureOf([&] { change(stream::System::real(), repacks); });
            cancelled = !failure.empty();
            EXPECT_THAT(failure, testing::AnyOf("", HasSubstr("cancelled")));
            EXPECT_EQ(edited_.old() == package_, cancelled);
        }
        EXPECT_GT(refused, 2U);
    }
}

}  // namespace
}  // namespace bex::test
