/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_FAILSATITSEND_H
#define RYNVEL_TESTS_FAILSATITSEND_H

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace RynvelTest {

/**
 * A fixture for tests that fail after their bodies. The fixture expects exactly the failures that the tests announce.
 */
class FailsAtItsEnd : public testing::Test {
protected:
    static void SetUpTestSuite() {
        s_expected.clear();
        s_failures = std::make_unique<testing::TestPartResultArray>();
        s_reporter = std::make_unique<testing::ScopedFakeTestPartResultReporter>(
            testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, s_failures.get());
    }

    static void TearDownTestSuite() {
        s_reporter.reset();
        std::vector<std::string> failures;
        for (int i = 0; i < s_failures->size(); ++i) {
            failures.emplace_back(s_failures->GetTestPartResult(i).message());
        }
        EXPECT_EQ(failures, s_expected);
        s_failures.reset();
    }

    static void expectFailure(const std::string& message) { s_expected.push_back("Failed\n" + message); }

private:
    static inline std::vector<std::string> s_expected;
    static inline std::unique_ptr<testing::TestPartResultArray> s_failures;
    static inline std::unique_ptr<testing::ScopedFakeTestPartResultReporter> s_reporter;
};

} // namespace RynvelTest

#endif
