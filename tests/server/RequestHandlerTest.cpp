// SPDX-License-Identifier: MIT
#include "RequestHandler.h"

#include <numeric>

#include <gtest/gtest.h>

#include "BusErrorGuard.h"
#include "RecordClient.h"
#include "RequestBytes.h"
#include "TemporaryWorkingFolder.h"
#include "TestPeer.h"
#include "TraceRecorder.h"

namespace RynvelTest {
namespace {

using Rynvel::ByteOrder;
using Rynveld::CurrentPolicy;
using Rynveld::Policy;
using Rynveld::ServedDevices;

/** Returns a request with any words at any offsets. The setters of Request cannot make all of these requests. */
Request record(Type type, const std::string& name, const std::vector<WordAt>& words = {}) {
    return asRequest(requestBytes(type, name, words));
}

Request inOrder(ByteOrder order, Request request) {
    request.setByteOrder(order);
    return request;
}

Request ioctlOf(const std::string& name, std::uint32_t command) {
    Request request = requestOf(Type::Ioctl, name, 0, {7});
    request.setCommand(command);
    return request;
}

constexpr auto failed = "the device reported a failure";
constexpr auto forbiddenIoctl = "the ioctl command is not allowed";
constexpr auto notOpened = "the connection has not opened the device";
constexpr auto notSimulated = "only a simulated interrupt can be raised";

Policy simulated() {
    Policy policy;
    policy.simulate = true;
    return policy;
}

/** A connection to a server in this process. */
class Connection {
public:
    Connection(ServedDevices& devices, const CurrentPolicy& policy)
        : m_handler(devices, policy, {"10.0.0.7:4711", "10.0.0.7", *m_limit}) {}

    bool accepts(const Request& request) { return m_handler.accepts(request); }
    bool open(const std::string& name) { return succeeds(Request(Type::Open, name)); }
    bool succeeds(const Request& request) {
        const auto response = handle(request);
        EXPECT_EQ(response.getLength(), 0U);
        return response.isSuccessful();
    }
    /** Expects a successful answer, and returns its values. */
    Values values(const Request& request) {
        const auto response = handle(request);
        EXPECT_TRUE(response.isSuccessful());
        return valuesOf(response);
    }
    Response handle(const Request& request) { return m_handler.handle(request); }
    std::shared_ptr<Rynveld::ServedDevice> device() { return m_handler.device(); }

private:
    std::unique_ptr<Rynveld::TraceLimit> m_limit = std::make_unique<Rynveld::TraceLimit>();
    Rynveld::RequestHandler m_handler;
};

class Server {
public:
    explicit Server(Policy policy) : m_policy(std::move(policy)), m_devices(m_policy) {}

    Connection connect() { return {m_devices, m_policy}; }
    /** Returns a connection that has opened the device. */
    Connection connect(const std::string& name) {
        Connection connection = connect();
        EXPECT_TRUE(connection.open(name));
        return connection;
    }

private:
    const CurrentPolicy m_policy;
    ServedDevices m_devices;
};

class RequestRefusals : public testing::Test {
protected:
    explicit RequestRefusals(const Policy& policy) : m_server(policy) {}

    /** Expects the result Error without values. Expects the last trace to name the refused request and the reason. */
    void expectRefusal(Connection& connection, const Request& request, const std::string& reason,
                       const std::string& shownName) {
        m_recorder.clear();
        const auto response = connection.handle(request);
        EXPECT_EQ(response.getResult(), Rynvel::ResponseData::Result::Error);
        EXPECT_EQ(response.getLength(), 0U);
        ASSERT_FALSE(lines().empty());
        EXPECT_EQ(lines().back(), "Rynveld 4 refuse: Request of type " +
                                      std::to_string(static_cast<unsigned>(request.getType())) +
                                      " from 10.0.0.7:4711 for \"" + shownName + "\" refused: " + reason + ".");
    }
    void expectRefusal(Connection& connection, const Request& request, const std::string& reason) {
        expectRefusal(connection, request, reason, request.getDeviceName());
    }
    void expectRefusals(Connection& connection, const std::vector<Request>& requests, const std::string& reason) {
        for (const auto& request : requests) {
            expectRefusal(connection, request, reason);
        }
    }
    void expectFailedOpen(Connection& connection, const std::string& name, const std::string& reason) {
        expectRefusal(connection, Request(Type::Open, name), "the device cannot be opened");
        ASSERT_EQ(lines().size(), 2U);
        EXPECT_EQ(lines()[0],
                  "Rynveld 3 open: Device \"" + name + "\" cannot be opened for 10.0.0.7:4711: " + reason + ".");
    }

    /** Expects each record to end the connection, with one trace that says why. */
    void expectEnd(Connection& connection, const std::vector<Request>& requests, const std::string& reason) {
        for (const auto& request : requests) {
            m_recorder.clear();
            EXPECT_FALSE(connection.accepts(request));
            EXPECT_EQ(lines(), EventLog{"Rynveld 3 accepts: Client 10.0.0.7:4711 was disconnected: " + reason + "."});
        }
    }
    void expectEnd(const std::vector<Request>& requests, const std::string& reason) {
        auto connection = m_server.connect();
        expectEnd(connection, requests, reason);
    }

    EventLog lines() const { return m_recorder.lines(); }

    TraceRecorder m_recorder{4, "Rynveld"};
    Server m_server;
};

class RequestHandler : public RequestRefusals {
protected:
    RequestHandler() : RequestRefusals(simulated()) {}

    Connection m_uio16 = m_server.connect("uio.16");
    Connection m_uio32 = m_server.connect("uio.32");
};

TEST_F(RequestHandler, TracesNothingForRequestsThatItServes) {
    EXPECT_TRUE(m_uio32.succeeds(writeOf("uio.32", 1, {2})));
    EXPECT_TRUE(m_uio32.succeeds(Request(Type::Close, "uio.32")));
    EXPECT_EQ(lines(), EventLog{});
}

TEST_F(RequestHandler, RefusesOperationsBeforeOpenAndForADeviceOtherThanTheOpenedOne) {
    auto connection = m_server.connect();
    for (std::uint32_t type = 1; type <= 13; ++type) {
        expectRefusal(connection, readOf(static_cast<Type>(type), "uio.32", 0), notOpened);
        expectRefusal(m_uio32, readOf(static_cast<Type>(type), "uio.16", 0), notOpened);
    }
    EXPECT_TRUE(connection.open("uio.32"));
    EXPECT_EQ(m_uio32.values(readOf("uio.32", 0)), Values{0});
}

TEST_F(RequestHandler, LimitsTheTracesOfAFloodOfBadRequests) {
    auto connection = m_server.connect();
    for (unsigned int i = 0; i < 1000; ++i) {
        EXPECT_FALSE(connection.open("nothing"));
    }
    // Each failed opening causes two traces, and the limit applies to each of the two kinds.
    EXPECT_EQ(lines().size(), 2 * Rynveld::TraceLimit::linesPerPeriod);
}

TEST_F(RequestHandler, SwitchesTheDeviceWithEachOpen) {
    EXPECT_TRUE(m_uio32.open("seek.8"));
    expectRefusal(m_uio32, readOf("uio.32", 0), notOpened);
    EXPECT_EQ(m_uio32.values(readOf("seek.8", 0)), Values{0});
    EXPECT_TRUE(m_uio32.open("seek.8"));
}

TEST_F(RequestHandler, KeepsTheDeviceWhenItCannotOpenAnother) {
    expectRefusal(m_uio32, Request(Type::Open, "nothing"), "the device cannot be opened");
    EXPECT_EQ(m_uio32.values(readOf("uio.32", 0)), Values{0});
}

TEST_F(RequestHandler, ReleasesTheDeviceOnClose) {
    EXPECT_TRUE(m_uio32.succeeds(Request(Type::Close, "uio.32")));
    EXPECT_EQ(m_uio32.device(), nullptr);
    expectRefusal(m_uio32, Request(Type::Close, "uio.32"), notOpened);
    EXPECT_TRUE(m_uio32.open("uio.32"));
}

TEST_F(RequestHandler, RefusesAnEmptyNameWithoutTracingAFailure) {
    auto connection = m_server.connect();
    expectRefusal(connection, Request(Type::Open, ""), "the device name is empty");
    EXPECT_EQ(lines().size(), 1U);
}

TEST_F(RequestHandler, AcceptsOnlyOpenAsTheFirstRecord) {
    for (std::uint32_t type = 1; type <= 14; ++type) {
        expectEnd({Request(static_cast<Type>(type), "uio.32")}, "its first request is not Open");
    }
}

TEST_F(RequestHandler, AcceptsEveryOperationAfterAnOpenThatIsRefused) {
    auto connection = m_server.connect();
    EXPECT_TRUE(connection.accepts(Request(Type::Open, "nothing")));
    for (std::uint32_t type = 0; type <= 13; ++type) {
        EXPECT_TRUE(connection.accepts(readOf(static_cast<Type>(type), "", 0, 128))) << type;
    }
    EXPECT_EQ(lines(), EventLog{});
}

TEST_F(RequestHandler, AcceptsNoNameWithoutTerminator) {
    expectEnd({record(Type::Open, std::string(128, 'n'))}, "a device name has no terminating NUL");
}

TEST_F(RequestHandler, AcceptsNoNameWithControlCharacters) {
    for (const char* name : {"a\nb", "\x1b[2J", "\x7f", "\x1f"}) {
        expectEnd({Request(Type::Open, name)}, "a device name contains a control character");
    }
    EXPECT_TRUE(m_server.connect().accepts(Request(Type::Open, "\xc3\xbc ~!")));
}

TEST_F(RequestHandler, AcceptsNoUnknownType) {
    auto connection = m_server.connect();
    EXPECT_TRUE(connection.accepts(Request(Type::Open, "uio.32")));
    for (const std::uint32_t type : {14U, 15U, 0x01000000U, 0x80000000U, 0xFFFFFFFFU}) {
        expectEnd(connection, {Request(static_cast<Type>(type), "uio.32")}, "the type of a request is above 13");
    }
}

TEST_F(RequestHandler, AcceptsNoLengthAbove128ForAnyType) {
    for (std::uint32_t number = 0; number <= 13; ++number) {
        const auto type = static_cast<Type>(number);
        auto connection = m_server.connect();
        EXPECT_TRUE(connection.accepts(readOf(Type::Open, "uio.32", 0, 128)));
        expectEnd(connection,
                  {record(type, "uio.32", {{lengthAt, 129}}), record(type, "uio.32", {{lengthAt, 0xFFFFFFFF}})},
                  "the length of a request is above 128");
    }
}

TEST_F(RequestHandler, AcceptsOnlyTheByteOrdersNetworkAndHost) {
    const auto open = [](std::uint32_t order) { return record(Type::Open, "uio.32", {{byteOrderAt, order}}); };
    auto connection = m_server.connect();
    EXPECT_TRUE(connection.accepts(open(0)));
    EXPECT_TRUE(connection.accepts(open(1)));
    expectEnd(connection, {open(2), open(0x01000000), open(0xFFFFFFFF)},
              "the byte order of a request is neither 0 nor 1");
}

TEST_F(RequestHandler, ReadsANameUpToItsTerminator) {
    const std::string name = std::string("uio.32") + '\0' + std::string(121, 'n');
    EXPECT_TRUE(m_server.connect().succeeds(record(Type::Open, name)));
}

TEST_F(RequestHandler, TracesQuestionMarksForSpecialCharactersOfAName) {
    auto connection = m_server.connect();
    expectRefusal(connection, Request(Type::Open, "a\nb\x1b[\x7f\xff"), "the device cannot be opened", "a?b?[??");
}

TEST_F(RequestHandler, RefusesOperationsOfAnotherWidth) {
    struct Row {
        const char* name;
        Type read;
        Type write;
        const char* width;
    };
    const std::vector<Row> rows = {{"seek.8", Type::Read8, Type::Write8, "8"},
                                   {"uio.16", Type::Read16, Type::Write16, "16"},
                                   {"uio.32", Type::Read32, Type::Write32, "32"}};
    for (const auto& row : rows) {
        auto connection = m_server.connect(row.name);
        EXPECT_TRUE(connection.handle(readOf(row.read, row.name, 0)).isSuccessful());
        EXPECT_TRUE(connection.succeeds(requestOf(row.write, row.name, 0, {1})));
        for (const auto& other : rows) {
            if (&other != &row) {
                expectRefusals(connection,
                               {readOf(other.read, row.name, 0), requestOf(other.write, row.name, 0, {1}),
                                requestOf(other.write, row.name)},
                               std::string("the request is for registers of another width (the device has ") +
                                   row.width + "-bit registers)");
            }
        }
    }
}

TEST_F(RequestHandler, ReadsAndWritesOneRegisterWithoutSwappingWhateverTheByteOrder) {
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        EXPECT_TRUE(m_uio32.succeeds(inOrder(order, writeOf("uio.32", 5, {0x11223344}))));
        for (const auto readOrder : {ByteOrder::Host, ByteOrder::Network}) {
            EXPECT_EQ(m_uio32.values(inOrder(readOrder, readOf("uio.32", 5))), Values{0x11223344});
        }
    }
}

TEST_F(RequestHandler, SwapsBurstsOfTwoAndMoreByTheByteOrderWord) {
    const auto write = writeOf("uio.32", 5, {0x11223344, 0x55667788});
    const auto read = readOf("uio.32", 5, 2);
    EXPECT_TRUE(m_uio32.succeeds(inOrder(ByteOrder::Network, write)));
    EXPECT_EQ(m_uio32.values(readOf("uio.32", 5)), Values{0x44332211});
    EXPECT_EQ(m_uio32.values(inOrder(ByteOrder::Network, read)), (Values{0x11223344, 0x55667788}));
    EXPECT_EQ(m_uio32.values(inOrder(ByteOrder::Host, read)), (Values{0x44332211, 0x88776655}));
    EXPECT_TRUE(m_uio32.succeeds(inOrder(ByteOrder::Host, write)));
    EXPECT_EQ(m_uio32.values(inOrder(ByteOrder::Host, read)), (Values{0x11223344, 0x55667788}));
}

TEST_F(RequestHandler, MovesBurstsOf128Values) {
    Values values(128);
    std::iota(values.begin(), values.end(), 0xFF00U);
    EXPECT_TRUE(m_uio16.succeeds(inOrder(ByteOrder::Host, writeOf("uio.16", 2048 - 128, values))));
    EXPECT_EQ(m_uio16.values(inOrder(ByteOrder::Host, readOf("uio.16", 2048 - 128, 128))), values);
}

TEST_F(RequestHandler, RefusesAnEmptyRead) {
    expectRefusal(m_uio32, readOf("uio.32", 0, 0), "the length of the read is 0");
}

TEST_F(RequestHandler, AcceptsAnEmptyWriteWithoutADeviceAccess) {
    EXPECT_TRUE(m_uio32.succeeds(writeOf("uio.32", 5, {7})));
    EXPECT_TRUE(m_uio32.succeeds(writeOf("uio.32", 5, {})));
    EXPECT_EQ(m_uio32.values(readOf("uio.32", 5)), Values{7});
    EXPECT_TRUE(m_uio32.succeeds(writeOf("uio.32", 0xFFFFFFFF, {})));
    EXPECT_TRUE(m_server.connect("seek.32").succeeds(writeOf("seek.32", 3, {})));
}

TEST_F(RequestHandler, ReplacesTheBitsUnderAMaskAndTreatsAMaskOfZeroAsAPlainWrite) {
    EXPECT_TRUE(m_uio16.succeeds(masked(writeOf("uio.16", 5, {0x1234}), 0)));
    EXPECT_EQ(m_uio16.values(readOf("uio.16", 5)), Values{0x1234});
    EXPECT_TRUE(m_uio16.succeeds(masked(writeOf("uio.16", 5, {0xFFFF}), 0x0F0F)));
    EXPECT_EQ(m_uio16.values(readOf("uio.16", 5)), Values{0x1F3F});
}

TEST_F(RequestHandler, RefusesAMaskedWriteOfAnythingButOneValue) {
    for (const auto& values : {Values{}, Values{1, 2}, Values(128, 1)}) {
        expectRefusal(m_uio16, masked(writeOf("uio.16", 5, values), 1), "a masked write must have one value");
    }
    EXPECT_EQ(m_uio16.values(readOf("uio.16", 5)), Values{0});
}

TEST_F(RequestHandler, RefusesValuesAndMasksWiderThanTheRegister) {
    for (const auto& [device, wide] : {std::pair{"seek.8", 0x100U}, std::pair{"uio.16", 0x10000U}}) {
        auto connection = m_server.connect(device);
        expectRefusals(connection,
                       {writeOf(device, 0, {wide}), writeOf(device, 0, {1, wide}),
                        masked(writeOf(device, 0, {1}), wide), masked(writeOf(device, 0, {wide}), 1)},
                       "a value is wider than a register");
        EXPECT_TRUE(connection.succeeds(writeOf(device, 0, {wide - 1})));
    }
}

TEST_F(RequestHandler, ForwardsOnlyAllowedIoctlCommandsAndAnswersWithTheirResult) {
    expectRefusal(m_uio32, ioctlOf("uio.32", 0xEE00), forbiddenIoctl);
    auto policy = simulated();
    policy.ioctls = {0xEE00};
    Server server(policy);
    auto connection = server.connect("uio.32");
    EXPECT_EQ(connection.values(ioctlOf("uio.32", 0xEE00)), Values{0});
    expectRefusal(connection, ioctlOf("uio.32", 0xEE01), forbiddenIoctl);
}

TEST_F(RequestHandler, ReturnsTheInterruptTypeOfASimulatedDevice) {
    EXPECT_EQ(m_uio32.values(Request(Type::GetInterruptType, "uio.32")), Values{4});
}

TEST_F(RequestHandler, RefusesInterruptOperationsOfDevicesWithoutInterrupts) {
    auto connection = m_server.connect("seek.8");
    for (const auto type : {Type::GetInterruptType, Type::EnableInterrupt, Type::DisableInterrupt}) {
        expectRefusal(connection, Request(type, "seek.8"), failed);
    }
    expectRefusal(connection, Request(Type::WaitForInterrupt, "seek.8"), "the device has no interrupts");
    expectRefusal(connection, raiseOf("seek.8"), notSimulated);
}

/** A fixture for interrupt requests to a simulated device. */
class SimulatedInterruptRequests : public RequestHandler {
protected:
    bool raises(const Values& word = {}) { return m_uio32.succeeds(raiseOf("uio.32", word)); }
    bool succeeds(Type type) { return m_uio32.succeeds(Request(type, "uio.32")); }
    unsigned long received() {
        unsigned long word = 0;
        EXPECT_TRUE(m_uio32.device()->simulatedInterrupt()->receive(&word));
        return word;
    }
};

TEST_F(SimulatedInterruptRequests, RaiseTheInterruptWithTheWordOrTheCount) {
    EXPECT_TRUE(succeeds(Type::EnableInterrupt));
    EXPECT_TRUE(raises({0xCAFE, 1}));
    EXPECT_EQ(received(), 0xCAFEU);
    EXPECT_TRUE(raises());
    EXPECT_EQ(received(), 2U);
}

TEST_F(SimulatedInterruptRequests, EnableAndDisableTheInterrupt) {
    for (const std::uint32_t raised : {1U, 2U}) {
        EXPECT_TRUE(succeeds(Type::DisableInterrupt));
        EXPECT_TRUE(raises());
        EXPECT_TRUE(succeeds(Type::EnableInterrupt));
        EXPECT_EQ(received(), raised);
    }
}

TEST_F(RequestHandler, LetsClientsShareADeviceAndKeepsTheRegistersOfASimulatedOne) {
    {
        auto one = m_server.connect("seek.8");
        auto other = m_server.connect("seek.8");
        EXPECT_EQ(one.device(), other.device());
        EXPECT_TRUE(one.succeeds(writeOf("seek.8", 5, {7})));
        EXPECT_EQ(other.values(readOf("seek.8", 5)), Values{7});
    }
    EXPECT_EQ(m_server.connect("seek.8").values(readOf("seek.8", 5)), Values{7});
}

TEST_F(RequestHandler, SaysWhyADeviceCannotBeOpened) {
    auto policy = simulated();
    policy.devices = {"uio.32", "far"};
    Server server(policy);
    auto connection = server.connect();
    expectFailedOpen(connection, "nothing", "the device is not served");
    expectFailedOpen(connection, "uio.16", "the device is not served");
    expectFailedOpen(connection, "far", "remote devices are not served");
    EXPECT_TRUE(connection.open("uio.32"));
}

TEST_F(RequestHandler, RefusesOperationsThatChangeADeviceWhenItIsReadOnly) {
    auto policy = simulated();
    policy.readOnly = true;
    policy.ioctls = {0};
    Server server(policy);
    auto connection = server.connect("uio.32");
    for (const auto type : {Type::Write8, Type::Write16, Type::Write32, Type::Ioctl, Type::EnableInterrupt,
                            Type::DisableInterrupt, Type::WaitForInterrupt, Type::Debug}) {
        expectRefusal(connection, requestOf(type, "uio.32", 0, {1}), "the server is read-only");
    }
    EXPECT_EQ(connection.values(Request(Type::GetInterruptType, "uio.32")), Values{4});
    for (const char* name : {"uio.32", "seek.8", "uio.16"}) {
        EXPECT_TRUE(connection.open(name));
        EXPECT_EQ(connection.values(readOf(name, 0)), Values{0});
        EXPECT_TRUE(connection.succeeds(Request(Type::Close, name)));
    }
}

/** A fixture for devices of this machine, which are files in the working folder. */
class RequestsToFiles : public RequestRefusals {
protected:
    static constexpr std::uintmax_t pageSize = 4096;

    RequestsToFiles() : RequestRefusals(policy()) {
        TemporaryWorkingFolder::makeFile("registers.map", pageSize);
        TemporaryWorkingFolder::makeFile("registers.seek", 16);
    }

    static Policy policy() {
        Policy policy;
        policy.ioctls = {0xEE00};
        return policy;
    }

    TemporaryWorkingFolder m_folder;
};

TEST_F(RequestsToFiles, FailWhenTheFileIsMissing) {
    std::filesystem::remove("registers.map");
    auto connection = m_server.connect();
    expectFailedOpen(connection, "missing", "/nowhere/map: No such file or directory");
    expectRefusal(connection, Request(Type::Open, "map.32"), "the device cannot be opened");
    TemporaryWorkingFolder::makeFile("registers.map", pageSize);
    EXPECT_TRUE(connection.open("map.32"));
}

TEST_F(RequestsToFiles, SurviveBusErrors) {
    Common::BusErrorGuard::install();
    TemporaryWorkingFolder::makeFile("registers.map", 0);
    auto connection = m_server.connect("map.32");
    expectRefusals(connection, {readOf("map.32", 0), writeOf("map.32", 0, {1, 2})},
                   "the hardware reported a bus error");
    EXPECT_EQ(connection.device()->counts().busErrors, 2U);
    TemporaryWorkingFolder::makeFile("registers.map", pageSize);
    EXPECT_EQ(connection.values(readOf("map.32", 0)), Values{0});
}

TEST_F(RequestsToFiles, DoNotSeekForAnEmptyWrite) {
    auto connection = m_server.connect("seek.32");
    EXPECT_TRUE(connection.succeeds(writeOf("seek.32", 8, {})));
    EXPECT_EQ(::lseek(connection.device()->device().getNativeHandle(), 0, SEEK_CUR), 0);
}

TEST_F(RequestsToFiles, CloseTheFileWithTheLastClient) {
    auto one = m_server.connect("seek.8");
    const std::weak_ptr<Rynveld::ServedDevice> device = m_server.connect("seek.8").device();
    EXPECT_FALSE(device.expired());
    EXPECT_TRUE(one.succeeds(Request(Type::Close, "seek.8")));
    EXPECT_TRUE(device.expired());
}

TEST_F(RequestsToFiles, AreRefusedOutsideTheMapping) {
    auto connection = m_server.connect("map.32");
    constexpr std::uint32_t registers = pageSize / 4;
    const std::string reason = "the address is outside the device";
    EXPECT_TRUE(connection.succeeds(writeOf("map.32", registers - 1, {7})));
    for (const std::uint32_t address : {registers, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        const auto write = writeOf("map.32", address, {1});
        expectRefusals(connection, {readOf("map.32", address), write, readOf("map.32", address, 128), masked(write, 1)},
                       reason);
    }
    expectRefusals(connection, {readOf("map.32", registers - 1, 2), writeOf("map.32", registers - 1, {1, 2})}, reason);
    EXPECT_EQ(connection.values(readOf("map.32", registers - 1)), Values{7});
    EXPECT_TRUE(connection.succeeds(writeOf("map.32", registers, {})));
}

TEST_F(RequestsToFiles, AccessTheRegisters) {
    for (const char* name : {"seek.8", "seek.16", "seek.32"}) {
        auto connection = m_server.connect(name);
        EXPECT_TRUE(connection.succeeds(writeOf(name, 4, {0x5A})));
        EXPECT_EQ(connection.values(readOf(name, 4)), Values{0x5A});
    }
}

TEST_F(RequestsToFiles, FailAsTheDeviceDoes) {
    auto mapped = m_server.connect("map.32");
    for (const auto type : {Type::EnableInterrupt, Type::DisableInterrupt, Type::GetInterruptType}) {
        expectRefusal(mapped, Request(type, "map.32"), failed);
    }
    EXPECT_TRUE(mapped.succeeds(Request(Type::WaitForInterrupt, "map.32")));
    auto seekable = m_server.connect("seek.32");
    expectRefusals(seekable, {readOf("seek.32", 16), ioctlOf("seek.32", 0xEE00)}, failed);
}

TEST_F(RequestsToFiles, RaiseNoInterruptsOfRealDevices) {
    auto connection = m_server.connect("map.32");
    expectRefusal(connection, raiseOf("map.32"), notSimulated);
}

} // namespace
} // namespace RynvelTest
