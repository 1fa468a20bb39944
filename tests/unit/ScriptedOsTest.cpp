#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "FailsAtItsEnd.h"
#include "ScriptedOs.h"

namespace {

using RynvelTest::answering;
using RynvelTest::asUsual;
using RynvelTest::Call;
using RynvelTest::failing;
using RynvelTest::ScriptedOs;

using UnusedAnswersTest = RynvelTest::FailsAtItsEnd;

TEST_F(UnusedAnswersTest, FailTheTestOfTheirMachine) {
    ScriptedOs os;
    os.script(Call::Sleep, {asUsual, asUsual});
    os.script(Call::Close, {answering(0), failing(EIO), answering(1)});
    EXPECT_EQ(::close(3), 0);
    expectFailure("unused answers of close: 2");
    expectFailure("unused answers of sleep: 2");
}

TEST_F(UnusedAnswersTest, FailTheTestOfAMachineThatIsGone) {
    ScriptedOs().script(Call::Open, {failing(ENODEV)});
    ScriptedOs().script(Call::Open, {failing(ENODEV)});
    expectFailure("unused answers of open: 2");
}

/** What ends the process with answers of a machine of its own. */
template <typename End>
void endWith(const std::vector<std::optional<RynvelTest::Answer>>& answers, End end) {
    ScriptedOs os;
    os.script(Call::Munmap, answers);
    ::munmap(nullptr, 1);
    end();
}

TEST_F(UnusedAnswersTest, FailTheTestOfAChildProcessHoweverItEnds) {
    EXPECT_EXIT(endWith({asUsual, asUsual}, std::abort), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(endWith({asUsual, asUsual}, [] { std::raise(SIGKILL); }), testing::KilledBySignal(SIGKILL), "");
    EXPECT_EXIT(endWith({asUsual, asUsual}, [] { std::exit(0); }), testing::ExitedWithCode(0), "");
    expectFailure("unused answers of munmap: 3");
}

TEST_F(UnusedAnswersTest, AreNotThoseThatACallHasTaken) {
    endWith({asUsual}, [] {});
    EXPECT_EXIT(endWith({asUsual}, std::abort), testing::KilledBySignal(SIGABRT), "");
}

} // namespace
