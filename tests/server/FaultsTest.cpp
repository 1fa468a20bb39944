// SPDX-License-Identifier: MIT
#include "Faults.h"

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Rynveld::Fault;
using Rynveld::FaultInjector;
using Rynveld::parseFault;
using namespace std::chrono_literals;

void expectFault(const std::string& text, Fault::Kind kind, std::chrono::milliseconds time, std::uint32_t every) {
    const auto fault = parseFault(text);
    ASSERT_TRUE(fault) << text;
    EXPECT_EQ(fault->kind, kind);
    EXPECT_EQ(fault->time, time);
    EXPECT_EQ(fault->every, every);
}

TEST(Faults, AffectEveryRequestUnlessACountIsGiven) {
    expectFault("delay=200ms", Fault::Kind::Delay, 200ms, 1);
    expectFault("delay=2s:3", Fault::Kind::Delay, 2s, 3);
    expectFault("error", Fault::Kind::Error, 0ms, 1);
    expectFault("error:10", Fault::Kind::Error, 0ms, 10);
    expectFault("split=1ms", Fault::Kind::Split, 1ms, 1);
    expectFault("split=1m:999999", Fault::Kind::Split, 1min, 999999);
    expectFault("disconnect", Fault::Kind::Disconnect, 0ms, 1);
    expectFault("disconnect:2", Fault::Kind::Disconnect, 0ms, 2);
}

void expectNoFaults(const std::vector<std::string>& texts) {
    for (const auto& text : texts) {
        EXPECT_FALSE(parseFault(text)) << text;
    }
}

TEST(Faults, RefuseAnythingElse) {
    expectNoFaults({"", ":", ":1", "Error", "nothing"});
    expectNoFaults({"delay", "delay=", "delay=0", "delay=0ms", "delay=1", "delay=1s:", "delay:1=1s", "split"});
    expectNoFaults({"error=1s", "error=", "error:", "error:0", "error:-1", "error:1x", "error:1000000", "error:1:1"});
    expectNoFaults({"disconnect=1s"});
}

TEST(Faults, HappenAtTheMultiplesOfTheirCounts) {
    const std::vector<Fault> faults = {{Fault::Kind::Error, 0ms, 2},
                                       {Fault::Kind::Delay, 5ms, 3},
                                       {Fault::Kind::Split, 7ms, 1},
                                       {Fault::Kind::Disconnect, 0ms, 6}};
    FaultInjector injector(faults);
    for (unsigned int request = 1; request <= 12; ++request) {
        const auto injected = injector.next();
        EXPECT_EQ(injected.fails, request % 2 == 0) << request;
        EXPECT_EQ(injected.delay, request % 3 == 0 ? 5ms : 0ms) << request;
        EXPECT_EQ(injected.split, 7ms) << request;
        EXPECT_EQ(injected.disconnects, request % 6 == 0) << request;
    }
}

TEST(Faults, AreCountedSeparatelyForEachConnection) {
    const std::vector<Fault> faults = {{Fault::Kind::Error, 0ms, 2}};
    FaultInjector one(faults);
    FaultInjector other(faults);
    EXPECT_FALSE(one.next().fails);
    EXPECT_FALSE(other.next().fails);
    EXPECT_TRUE(one.next().fails);
}

} // namespace
} // namespace RynvelTest
