// SPDX-License-Identifier: MIT
#include <rynvel.h>

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(Version, IsTheVersionOfTheProject) {
    EXPECT_STREQ(RYNVEL_VERSION, RYNVEL_PROJECT_VERSION);
    EXPECT_EQ(std::to_string(RYNVEL_VERSION_MAJOR) + '.' + std::to_string(RYNVEL_VERSION_MINOR) + '.' +
                  std::to_string(RYNVEL_VERSION_PATCH),
              RYNVEL_PROJECT_VERSION);
}

// The preprocessor must be able to compare the number.
#if RYNVEL_VERSION_NUMBER < RYNVEL_VERSION_MAJOR * 10000 || RYNVEL_VERSION_NUMBER >= (RYNVEL_VERSION_MAJOR + 1) * 10000
#error RYNVEL_VERSION_NUMBER does not order the versions
#endif

} // namespace
