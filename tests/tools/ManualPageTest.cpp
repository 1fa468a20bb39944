#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "CommandLine.h"
#include "ManPage.h"

namespace RynvelTest {
namespace {

TEST(ManualPage, IsWhatTheCommandLineSays) {
    std::ostringstream page;
    page << std::ifstream(RYNVELCTL_MANUAL_PAGE).rdbuf();
    EXPECT_EQ(page.str(), Rynvelctl::manPage(Rynvelctl::CommandLine().describe()))
        << "cmake --build BUILD --target manual brings it up to date";
}

} // namespace
} // namespace RynvelTest
