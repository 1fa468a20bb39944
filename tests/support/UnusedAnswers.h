/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_UNUSEDANSWERS_H
#define RYNVEL_TESTS_UNUSEDANSWERS_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <sys/mman.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/**
 * The number of scripted results that no call has used, for each function. A test fails at its end if a result is
 * unused. The child processes of a test share the numbers with the test, because the child process of a death test
 * cannot report unused results.
 */
class UnusedAnswers : public testing::EmptyTestEventListener {
public:
    /** Returns a new object for a test double. Call of() once, before the first test. The object is never destroyed. */
    static UnusedAnswers& of(std::vector<std::string> functions) {
        auto* const unused = new UnusedAnswers(std::move(functions));
        testing::UnitTest::GetInstance()->listeners().Append(unused);
        return *unused;
    }

    void add(std::size_t function, std::size_t count) { m_counts[function] += count; }
    void remove(std::size_t function) { --m_counts[function]; }

    /** Fails the test for each function that has unused answers, and resets the numbers. */
    void OnTestEnd(const testing::TestInfo& /*test*/) override {
        for (std::size_t function = 0; function < m_functions.size(); ++function) {
            if (const std::size_t count = m_counts[function].exchange(0)) {
                ADD_FAILURE() << "unused answers of " << m_functions[function] << ": " << count;
            }
        }
    }

private:
    using Count = std::atomic<std::size_t>;

    explicit UnusedAnswers(std::vector<std::string> functions)
        : m_functions(std::move(functions)),
          m_counts(static_cast<Count*>(::mmap(nullptr, m_functions.size() * sizeof(Count), PROT_READ | PROT_WRITE,
                                              MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
        std::uninitialized_value_construct_n(m_counts, m_functions.size());
    }

    const std::vector<std::string> m_functions;
    Count* const m_counts;
};

} // namespace RynvelTest

#endif
