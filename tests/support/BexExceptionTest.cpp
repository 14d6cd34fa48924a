#include "bex/BexException.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(BexException, IsAnExceptionWithItsOwnTextAndTheInheritedWhat) {
    try {
        throw bex::BexException("the message");
    } catch (const std::runtime_error&) {
        FAIL() << "not a runtime_error";
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), std::exception().what());
        const auto* failure = dynamic_cast<const bex::BexException*>(&e);
        ASSERT_NE(failure, nullptr);
        EXPECT_EQ(failure->getMessage(), "the message");
    }
}

}  // namespace
