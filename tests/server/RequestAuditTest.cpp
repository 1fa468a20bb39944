// SPDX-License-Identifier: MIT
#include "RequestAudit.h"

#include <cerrno>
#include <fstream>
#include <memory>

#include <gtest/gtest.h>

#include "AuditLines.h"
#include "DescriptionText.h"
#include "RecordClient.h"
#include "RecordingSink.h"
#include "RequestHandler.h"
#include "TemporaryWorkingFolder.h"
#include "TraceRecorder.h"

namespace RynvelTest {
namespace {

using Rynveld::Audit;
using Rynveld::Policy;
using Lines = std::vector<std::string>;

Policy simulated() {
    Policy policy;
    policy.simulate = true;
    policy.ioctls = {0xEE00};
    return policy;
}

/** A server in this process with an audit, and a connection to it. */
class RequestAudits : public testing::Test {
protected:
    explicit RequestAudits(bool withOldValues = false) : m_context{&m_audit, withOldValues} {}

    Rynveld::RequestHandler connect() {
        return {m_devices, m_policy, {"10.0.0.7:4711", "10.0.0.7", m_limit}, m_context};
    }

    bool succeeds(const Request& request) { return m_handler.handle(request).isSuccessful(); }

    /** Expects one line, which begins with the members of the connection. */
    void expectLine(const std::string& members) { expectLines({members}); }
    void expectLines(const Lines& members) {
        Lines expected;
        for (const std::string& each : members) {
            expected.push_back(R"({"peer":"10.0.0.7:4711","connection":1,)" + each + "}\n");
        }
        EXPECT_EQ(withoutNumbersAndTimes(m_recording.lines), expected);
        m_recording.lines.clear();
    }

    void open(const std::string& name) {
        EXPECT_TRUE(succeeds(Request(Type::Open, name)));
        m_recording.lines.clear();
    }

    const TemporaryWorkingFolder m_folder;
    const TraceRecorder m_traces{4, "Rynveld"};
    Recording m_recording;
    Audit m_audit{std::make_unique<RecordingSink>(m_recording), Audit::OnError::RefuseWrites, [] {}};
    const Rynveld::AuditContext m_context;
    Rynveld::CurrentPolicy m_policy{simulated()};
    Rynveld::ServedDevices m_devices{m_policy};
    Rynveld::TraceLimit m_limit;
    Rynveld::RequestHandler m_handler = connect();
};

TEST_F(RequestAudits, ContainEveryRequestThatOpensOrChangesADevice) {
    EXPECT_TRUE(succeeds(Request(Type::Open, "uio.32")));
    expectLine(R"("operation":"open","device":"uio.32","result":"done")");
    EXPECT_TRUE(succeeds(writeOf("uio.32", 5, {7})));
    expectLine(
        R"("operation":"write","device":"uio.32","width":32,"address":5,"count":1,"values":[7],"result":"done")");
    EXPECT_TRUE(succeeds(masked(writeOf("uio.32", 5, {0x10}), 0x30)));
    expectLine(R"("operation":"write","device":"uio.32","width":32,"address":5,"count":1,"values":[16],"mask":48,)"
               R"("result":"done")");
    EXPECT_TRUE(succeeds(requestOf(Type::EnableInterrupt, "uio.32")));
    EXPECT_TRUE(succeeds(requestOf(Type::DisableInterrupt, "uio.32")));
    EXPECT_TRUE(succeeds(raiseOf("uio.32", {9})));
    EXPECT_TRUE(succeeds(raiseOf("uio.32")));
    expectLines({R"("operation":"enable-interrupt","device":"uio.32","result":"done")",
                 R"("operation":"disable-interrupt","device":"uio.32","result":"done")",
                 R"("operation":"raise-interrupt","device":"uio.32","word":9,"result":"done")",
                 R"("operation":"raise-interrupt","device":"uio.32","result":"done")"});
    Request ioctl = requestOf(Type::Ioctl, "uio.32", 0, {7});
    ioctl.setCommand(0xEE00);
    EXPECT_TRUE(succeeds(ioctl));
    expectLine(R"("operation":"ioctl","device":"uio.32","command":60928,"argument":7,"answer":0,"result":"done")");
}

TEST_F(RequestAudits, ContainAllValuesOfABurst) {
    open("seek.8");
    Values values(128);
    std::string list;
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<std::uint32_t>(i);
        list += (i == 0 ? "" : ",") + std::to_string(i);
    }
    Request write = writeOf("seek.8", 0, values);
    write.setByteOrder(Rynvel::ByteOrder::Host);
    EXPECT_TRUE(succeeds(write));
    expectLine(R"("operation":"write","device":"seek.8","width":8,"address":0,"count":128,"order":"host","values":[)" +
               list + R"(],"result":"done")");
}

TEST_F(RequestAudits, DoNotContainRequestsThatChangeNothing) {
    open("uio.32");
    EXPECT_TRUE(succeeds(readOf("uio.32", 0, 4)));
    EXPECT_TRUE(succeeds(requestOf(Type::GetInterruptType, "uio.32")));
    EXPECT_TRUE(succeeds(requestOf(Type::WaitForInterrupt, "uio.32")));
    EXPECT_TRUE(succeeds(requestOf(Type::Close, "uio.32")));
    expectLines({});
}

TEST_F(RequestAudits, ContainEveryRefusal) {
    EXPECT_FALSE(succeeds(readOf("uio.32", 0)));
    EXPECT_FALSE(succeeds(Request(Type::Open, "nothing")));
    open("uio.32");
    EXPECT_FALSE(succeeds(writeOf("uio.32", 5000, {1, 2})));
    EXPECT_FALSE(succeeds(requestOf(Type::Ioctl, "uio.32", 0, {3})));
    m_handler.recordAndRefuse(readOf("uio.32", 0), "a fault is simulated");
    expectLines({R"("operation":"write","device":"uio.32","width":32,"address":5000,"count":2,"order":"network",)"
                 R"("values":[1,2],"result":"error","reason":"the device reported a failure")",
                 R"("operation":"ioctl","device":"uio.32","command":0,"argument":3,"result":"error",)"
                 R"("reason":"the ioctl command is not allowed")",
                 R"("operation":"read","device":"uio.32","width":32,"address":0,"count":1,"result":"error",)"
                 R"("reason":"a fault is simulated")"});
}

TEST_F(RequestAudits, CannotBeForgedByADeviceName) {
    EXPECT_FALSE(succeeds(Request(Type::Open, "a\",\"result\":\"done\xff")));
    expectLine(R"("operation":"open","device":"a\",\"result\":\"done\u00ff","result":"error",)"
               R"("reason":"the device cannot be opened")");
}

TEST_F(RequestAudits, ContainClientsThatDoNotFollowTheProtocol) {
    EXPECT_FALSE(m_handler.accepts(readOf("uio.32", 0)));
    expectLine(R"("operation":"disconnect","result":"error","reason":"its first request is not Open")");
}

TEST_F(RequestAudits, NumberTheConnections) {
    auto second = connect();
    EXPECT_TRUE(second.handle(Request(Type::Open, "uio.32")).isSuccessful());
    ASSERT_EQ(m_recording.lines.size(), 1U);
    EXPECT_NE(m_recording.lines[0].find(R"("connection":2,)"), std::string::npos);
}

TEST_F(RequestAudits, NameTheProcessOfALocalClient) {
    const Rynveld::Peer peer{"process 3 of user 4", "user 4", m_limit, ucred{3, 4, 5}};
    EXPECT_EQ(clientOf(peer).members(), R"("peer":"process 3 of user 4","process":3,"user":4)");
}

TEST_F(RequestAudits, RefuseWritesButNotReadsIfTheyCannotBeWritten) {
    open("uio.32");
    EXPECT_TRUE(succeeds(writeOf("uio.32", 0, {1})));
    m_recording.error = ENOSPC;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(succeeds(writeOf("uio.32", 0, {2})));
    EXPECT_FALSE(succeeds(writeOf("uio.32", 0, {3})));
    EXPECT_FALSE(succeeds(requestOf(Type::EnableInterrupt, "uio.32")));
    EXPECT_EQ(valuesOf(m_handler.handle(readOf("uio.32", 0))), Values{2});
    EXPECT_TRUE(succeeds(Request(Type::Open, "uio.32")));
    m_recording.error = 0;
    EXPECT_TRUE(succeeds(writeOf("uio.32", 0, {4})));
    testing::internal::GetCapturedStderr();
    const std::string write = R"("operation":"write","device":"uio.32","width":32,"address":0,"count":1,"values":)";
    const std::string refused = R"("result":"error","reason":"the audit cannot be written")";
    expectLines({write + R"([1],"result":"done")", write + R"([2],"result":"done")", write + "[3]," + refused,
                 R"("operation":"enable-interrupt","device":"uio.32",)" + refused,
                 R"("operation":"open","device":"uio.32","result":"done")", write + R"([4],"result":"done")"});
}

TEST_F(RequestAudits, FollowTheCurrentPolicy) {
    open("uio.32");
    Policy policy = simulated();
    policy.readOnlyDevices = {"uio.32"};
    m_policy.replace(policy);
    EXPECT_FALSE(succeeds(writeOf("uio.32", 0, {1})));
    policy.devices = {"uio.16"};
    m_policy.replace(policy);
    EXPECT_FALSE(succeeds(readOf("uio.32", 0)));
    m_policy.replace(simulated());
    EXPECT_EQ(valuesOf(m_handler.handle(readOf("uio.32", 0))), Values{0});
    expectLines({R"("operation":"write","device":"uio.32","width":32,"address":0,"count":1,"values":[1],)"
                 R"("result":"error","reason":"the device is read-only")",
                 R"("operation":"read","device":"uio.32","width":32,"address":0,"count":1,"result":"error",)"
                 R"("reason":"the device is no longer served")"});
}

class AuditsWithOldValues : public RequestAudits {
protected:
    AuditsWithOldValues() : RequestAudits(true) {}

    static std::string writeLine(const std::string& rest) {
        return R"("operation":"write","device":"uio.32","width":32,)" + rest + R"(,"result":"done")";
    }
};

TEST_F(AuditsWithOldValues, ContainTheValuesBeforeAndAfterAWrite) {
    open("uio.32");
    EXPECT_TRUE(succeeds(writeOf("uio.32", 2, {0xF5})));
    EXPECT_TRUE(succeeds(masked(writeOf("uio.32", 2, {0x0A}), 0x0F)));
    EXPECT_TRUE(succeeds(writeOf("uio.32", 1, {1, 2})));
    expectLines(
        {writeLine(R"("address":2,"count":1,"values":[245],"old":[0],"new":[245])"),
         writeLine(R"("address":2,"count":1,"values":[10],"mask":15,"old":[245],"new":[250])"),
         // In network order, the burst reverses the bytes of 250.
         writeLine(R"("address":1,"count":2,"order":"network","values":[1,2],"old":[0,4194304000],"new":[1,2])")});
}

TEST_F(AuditsWithOldValues, DoNotReadForARefusedWrite) {
    open("uio.32");
    EXPECT_FALSE(succeeds(writeOf("uio.32", 5000, {1})));
    expectLine(R"("operation":"write","device":"uio.32","width":32,"address":5000,"count":1,"values":[1],)"
               R"("result":"error","reason":"the device reported a failure")");
}

TEST_F(AuditsWithOldValues, LeaveOutRegistersThatTheMapForbidsToRead) {
    std::ofstream("uio.svd") << mapWith(
        "uio_32", registerAt("0", "<resetValue>5</resetValue><readAction>clear</readAction>") +
                      registerAt("4", "<fields>" + fieldIn("[3:0]", "<readAction>set</readAction>") + "</fields>") +
                      registerAt("8", "<access>write-only</access>") + registerAt("12", ""));
    Policy policy = simulated();
    EXPECT_TRUE(policy.descriptions.add("uio.svd", {"uio.32"}));
    m_policy.replace(policy);
    open("uio.32");
    EXPECT_TRUE(succeeds(writeOf("uio.32", 0, {1})));
    EXPECT_EQ(valuesOf(m_handler.handle(readOf("uio.32", 0))), Values{1});
    EXPECT_TRUE(succeeds(writeOf("uio.32", 1, {2})));
    EXPECT_TRUE(succeeds(writeOf("uio.32", 2, {3})));
    EXPECT_TRUE(succeeds(writeOf("uio.32", 2, {4, 5})));
    EXPECT_TRUE(succeeds(writeOf("uio.32", 3, {6})));
    expectLines({writeLine(R"("address":0,"count":1,"values":[1],"old":null,"new":null)"),
                 writeLine(R"("address":1,"count":1,"values":[2],"old":null,"new":null)"),
                 writeLine(R"("address":2,"count":1,"values":[3],"old":null,"new":null)"),
                 writeLine(R"("address":2,"count":2,"order":"network","values":[4,5],"old":null,"new":null)"),
                 writeLine(R"("address":3,"count":1,"values":[6],"old":[83886080],"new":[6])")});
}

} // namespace
} // namespace RynvelTest
