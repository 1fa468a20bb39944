#ifndef RYNVEL_TESTS_CHILDPROCESS_H
#define RYNVEL_TESTS_CHILDPROCESS_H

#include <cstdlib>

#include <gtest/gtest.h>

namespace RynvelTest {

/**
 * Runs a test's body in a process of its own, which has a Factory of its own: the expectations of the body are the
 * test's. What the process writes to standard error, its exit included, must match the pattern.
 */
template <typename Body>
void inChildProcess(Body body, const char* pattern = "") {
    EXPECT_EXIT(
        {
            body();
            std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
        },
        testing::ExitedWithCode(EXIT_SUCCESS), pattern);
}

} // namespace RynvelTest

#endif
