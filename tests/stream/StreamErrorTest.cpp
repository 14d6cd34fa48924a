#include "bex/stream/StreamError.hpp"

#include <gtest/gtest.h>

namespace {

using bex::stream::ErrorKind;
using bex::stream::StreamError;

TEST(StreamError, IsCaughtAsBexExceptionAndKeepsItsKindThroughACopy) {
    try {
        const StreamError original(ErrorKind::refused, "pkg.bex: ../x: leads out");
        throw StreamError(original);
    } catch (const bex::BexException& e) {
        EXPECT_EQ(e.getMessage(), "pkg.bex: ../x: leads out");
        EXPECT_EQ(dynamic_cast<const StreamError&>(e).kind(), ErrorKind::refused);
    }
}

}  // namespace
