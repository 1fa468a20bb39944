#include "RequestHandler.h"

#include <cstring>

#include <gtest/gtest.h>

#include "FaultGuard.h"
#include "OwnFolder.h"
#include "RecordClient.h"
#include "TraceRecorder.h"

namespace RynvelTest {
namespace {

using Rynvel::ByteOrder;
using Rynvel::Request;
using Rynvel::RequestData;
using Rynvel::Response;
using Rynvel::ResponseData;
using Rynveld::Policy;
using Rynveld::RequestHandler;
using Rynveld::ServedDevices;
using Type = RequestData::Type;
using Values = std::vector<std::uint32_t>;

constexpr std::size_t nameAt = 4;
constexpr std::size_t lengthAt = 648;
constexpr std::size_t byteOrderAt = 652;

/** Overwrites bytes of a record, to what the setters would not. */
template <typename Record>
void overwrite(Record& record, std::size_t offset, const std::string& bytes) {
    std::memcpy(static_cast<char*>(record.toBuffer()) + offset, bytes.data(), bytes.size());
}

Policy simulated() {
    Policy policy;
    policy.simulate = true;
    return policy;
}

/** A connection to a server in this process, and what it traces. */
class Connection {
public:
    explicit Connection(ServedDevices& devices, const Policy& policy)
        : m_handler(devices, policy, {"10.0.0.7:4711", "10.0.0.7", *m_limit}) {}

    bool accepts(const Request& request) { return m_handler.accepts(request); }
    bool open(const std::string& name) { return succeeds(Request(Type::Open, name)); }
    bool succeeds(const Request& request) {
        const auto response = m_handler.handle(request);
        EXPECT_EQ(response.getLength(), 0U);
        return response.isSuccessful();
    }
    /** The values of a successful answer. */
    Values values(const Request& request) {
        const auto response = m_handler.handle(request);
        EXPECT_TRUE(response.isSuccessful());
        return valuesOf(response);
    }
    Response handle(const Request& request) { return m_handler.handle(request); }
    std::shared_ptr<Rynveld::ServedDevice> device() { return m_handler.device(); }

private:
    std::unique_ptr<Rynveld::TraceLimit> m_limit = std::make_unique<Rynveld::TraceLimit>();
    RequestHandler m_handler;
};

class Server {
public:
    explicit Server(Policy policy) : m_policy(std::move(policy)), m_devices(m_policy) {}

    Connection connect() { return Connection(m_devices, m_policy); }
    /** A connection that has opened the device. */
    Connection connect(const std::string& name) {
        Connection connection = connect();
        EXPECT_TRUE(connection.open(name));
        return connection;
    }

private:
    const Policy m_policy;
    ServedDevices m_devices;
};

class RequestHandlerTest : public testing::Test {
protected:
    static constexpr ZilTraceLevel life = 4;

    /** Expects an empty Error and one line that says which request is refused, and why. */
    void expectRefusal(Connection& connection, const Request& request, const std::string& reason,
                       const std::string& shownName) {
        m_recorder.clear();
        const auto response = connection.handle(request);
        EXPECT_EQ(response.getResult(), ResponseData::Result::Error);
        EXPECT_EQ(response.getLength(), 0U);
        const auto traces = m_recorder.traces();
        ASSERT_FALSE(traces.empty());
        EXPECT_EQ(traces.back().level, life);
        EXPECT_EQ(traces.back().channel, "Rynveld");
        EXPECT_EQ(traces.back().text, "Request of type " + std::to_string(static_cast<unsigned>(request.getType())) +
                                          " from 10.0.0.7:4711 for \"" + shownName + "\" refused: " + reason + ".");
    }
    void expectRefusal(Connection& connection, const Request& request, const std::string& reason) {
        expectRefusal(connection, request, reason, request.getDeviceName());
    }

    /** Expects that the connection is to be closed, and one line that says why. */
    void expectEnd(Connection& connection, const Request& request, const std::string& reason) {
        m_recorder.clear();
        EXPECT_FALSE(connection.accepts(request));
        EXPECT_EQ(lines(), EventLog{"Rynveld 3 accepts: Client 10.0.0.7:4711 was disconnected: " + reason + "."});
    }

    EventLog lines() const { return m_recorder.lines(); }

    TraceRecorder m_recorder{life, "Rynveld"};
    Server m_server{simulated()};
};

TEST_F(RequestHandlerTest, TracesNothingOfWhatItServes) {
    auto connection = m_server.connect("uio.32");
    EXPECT_TRUE(connection.succeeds(requestOf(Type::Write32, "uio.32", 1, {2})));
    EXPECT_TRUE(connection.succeeds(Request(Type::Close, "uio.32")));
    EXPECT_EQ(lines(), EventLog{});
}

TEST_F(RequestHandlerTest, RefusesOperationsBeforeOpen) {
    auto connection = m_server.connect();
    for (std::uint32_t type = 1; type <= 13; ++type) {
        expectRefusal(connection, readOf(static_cast<Type>(type), "uio.32", 0),
                      "the connection has not opened the device");
    }
    EXPECT_TRUE(connection.open("uio.32"));
}

TEST_F(RequestHandlerTest, RefusesOperationsForAnotherDeviceThanTheOpenedOne) {
    auto connection = m_server.connect("uio.32");
    for (std::uint32_t type = 1; type <= 13; ++type) {
        expectRefusal(connection, readOf(static_cast<Type>(type), "uio.16", 0),
                      "the connection has not opened the device");
    }
    EXPECT_EQ(connection.values(readOf(Type::Read32, "uio.32", 0)), Values{0});
}

TEST_F(RequestHandlerTest, TracesAFloodOfBadRequestsInPart) {
    auto connection = m_server.connect();
    constexpr std::size_t flood = 1000;
    for (std::size_t i = 0; i < flood; ++i) {
        EXPECT_FALSE(connection.open("nothing"));
    }
    // A line of each of the two kinds.
    EXPECT_EQ(lines().size(), 2 * Rynveld::TraceLimit::linesPerPeriod);
}

TEST_F(RequestHandlerTest, SwitchesTheDeviceWithEachOpen) {
    auto connection = m_server.connect("uio.32");
    EXPECT_TRUE(connection.open("seek.8"));
    expectRefusal(connection, readOf(Type::Read32, "uio.32", 0), "the connection has not opened the device");
    EXPECT_EQ(connection.values(readOf(Type::Read8, "seek.8", 0)), Values{0});
    EXPECT_TRUE(connection.open("seek.8"));
}

TEST_F(RequestHandlerTest, LetsGoOfTheDeviceWithClose) {
    auto connection = m_server.connect("uio.32");
    EXPECT_TRUE(connection.succeeds(Request(Type::Close, "uio.32")));
    EXPECT_EQ(connection.device(), nullptr);
    expectRefusal(connection, Request(Type::Close, "uio.32"), "the connection has not opened the device");
    EXPECT_TRUE(connection.open("uio.32"));
}

TEST_F(RequestHandlerTest, RefusesAClientThatOnlyAsksWhetherTheServerIsThereWithoutAFailure) {
    auto connection = m_server.connect();
    expectRefusal(connection, Request(Type::Open, ""), "the device name is empty");
    EXPECT_EQ(lines().size(), 1U);
}

TEST_F(RequestHandlerTest, KeepsTheDeviceWhenItCannotOpenAnother) {
    auto connection = m_server.connect("uio.32");
    expectRefusal(connection, Request(Type::Open, "nothing"), "the device cannot be opened");
    EXPECT_EQ(connection.values(readOf(Type::Read32, "uio.32", 0)), Values{0});
}

TEST_F(RequestHandlerTest, AcceptsNoFirstRecordButOpen) {
    for (std::uint32_t type = 1; type <= 14; ++type) {
        auto connection = m_server.connect();
        expectEnd(connection, Request(static_cast<Type>(type), "uio.32"), "its first request is not Open");
    }
}

TEST_F(RequestHandlerTest, AcceptsEveryOperationAfterAnOpenThatIsRefused) {
    auto connection = m_server.connect();
    EXPECT_TRUE(connection.accepts(Request(Type::Open, "nothing")));
    for (std::uint32_t type = 0; type <= 13; ++type) {
        EXPECT_TRUE(connection.accepts(readOf(static_cast<Type>(type), "", 0, 128))) << type;
    }
    EXPECT_EQ(lines(), EventLog{});
}

TEST_F(RequestHandlerTest, AcceptsNoNameWithoutTerminator) {
    auto connection = m_server.connect();
    Request request(Type::Open, "");
    overwrite(request, nameAt, std::string(128, 'n'));
    expectEnd(connection, request, "a device name has no terminating NUL");
}

TEST_F(RequestHandlerTest, AcceptsNoNameWithControlCharacters) {
    for (const char* name : {"a\nb", "\x1b[2J", "\x7f", "\x1f"}) {
        auto connection = m_server.connect();
        expectEnd(connection, Request(Type::Open, name), "a device name contains a control character");
    }
    auto connection = m_server.connect();
    EXPECT_TRUE(connection.accepts(Request(Type::Open, "\xc3\xbc ~!")));
}

TEST_F(RequestHandlerTest, AcceptsNoTypeThatDoesNotExist) {
    auto connection = m_server.connect();
    EXPECT_TRUE(connection.accepts(Request(Type::Open, "uio.32")));
    for (const std::uint32_t type : {14U, 15U, 0x01000000U, 0x80000000U, 0xFFFFFFFFU}) {
        expectEnd(connection, Request(static_cast<Type>(type), "uio.32"), "the type of a request is above 13");
    }
}

TEST_F(RequestHandlerTest, AcceptsNoLengthAbove128WhateverTheType) {
    for (std::uint32_t type = 0; type <= 13; ++type) {
        auto connection = m_server.connect();
        EXPECT_TRUE(connection.accepts(readOf(Type::Open, "uio.32", 0, 128)));
        Request request(static_cast<Type>(type), "uio.32");
        overwrite(request, lengthAt, std::string("\0\0\0\x81", 4));
        expectEnd(connection, request, "the length of a request is above 128");
        overwrite(request, lengthAt, std::string(4, '\xFF'));
        expectEnd(connection, request, "the length of a request is above 128");
    }
}

TEST_F(RequestHandlerTest, AcceptsNoByteOrderButNetworkAndHost) {
    auto connection = m_server.connect();
    Request request(Type::Open, "uio.32");
    for (const char order : {'\0', '\1'}) {
        overwrite(request, byteOrderAt, std::string("\0\0\0", 3) + order);
        EXPECT_TRUE(connection.accepts(request));
    }
    for (const auto& order : {std::string("\0\0\0\2", 4), std::string("\1\0\0\0", 4), std::string(4, '\xFF')}) {
        overwrite(request, byteOrderAt, order);
        expectEnd(connection, request, "the byte order of a request is neither 0 nor 1");
    }
}

TEST_F(RequestHandlerTest, TakesANameUpToItsTerminator) {
    auto connection = m_server.connect();
    Request request(Type::Open, "uio.32");
    overwrite(request, nameAt + 7, std::string(121, 'n'));
    EXPECT_TRUE(connection.succeeds(request));
}

TEST_F(RequestHandlerTest, ShowsNothingOfAStrangeNameThatCouldBeTakenForMoreLines) {
    auto connection = m_server.connect();
    expectRefusal(connection, Request(Type::Open, "a\nb\x1b[\x7f\xff"), "the device cannot be opened", "a?b?[??");
}

TEST_F(RequestHandlerTest, RefusesOperationsOfAnotherWidth) {
    struct Row {
        const char* name;
        Type read;
        Type write;
    };
    const std::vector<Row> rows = {{"seek.8", Type::Read8, Type::Write8},
                                   {"uio.16", Type::Read16, Type::Write16},
                                   {"uio.32", Type::Read32, Type::Write32}};
    for (const auto& row : rows) {
        auto connection = m_server.connect(row.name);
        for (const auto& other : rows) {
            if (&other == &row) {
                EXPECT_TRUE(connection.handle(readOf(row.read, row.name, 0)).isSuccessful());
                EXPECT_TRUE(connection.succeeds(requestOf(row.write, row.name, 0, {1})));
                continue;
            }
            expectRefusal(connection, readOf(other.read, row.name, 0), "the register width does not match the device");
            expectRefusal(connection, requestOf(other.write, row.name, 0, {1}),
                          "the register width does not match the device");
            expectRefusal(connection, requestOf(other.write, row.name), "the register width does not match the device");
        }
    }
}

TEST_F(RequestHandlerTest, ReadsAndWritesOneRegisterWithoutSwappingWhateverTheByteOrder) {
    auto connection = m_server.connect("uio.32");
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        auto write = requestOf(Type::Write32, "uio.32", 5, {0x11223344});
        write.setByteOrder(order);
        EXPECT_TRUE(connection.succeeds(write));
        auto read = readOf(Type::Read32, "uio.32", 5);
        for (const auto readOrder : {ByteOrder::Host, ByteOrder::Network}) {
            read.setByteOrder(readOrder);
            EXPECT_EQ(connection.values(read), Values{0x11223344});
        }
    }
}

TEST_F(RequestHandlerTest, SwapsBurstsOfTwoAndMoreByTheByteOrderWord) {
    auto connection = m_server.connect("uio.32");
    auto write = requestOf(Type::Write32, "uio.32", 5, {0x11223344, 0x55667788});
    write.setByteOrder(ByteOrder::Network);
    EXPECT_TRUE(connection.succeeds(write));
    EXPECT_EQ(connection.values(readOf(Type::Read32, "uio.32", 5)), Values{0x44332211});
    auto read = readOf(Type::Read32, "uio.32", 5, 2);
    read.setByteOrder(ByteOrder::Network);
    EXPECT_EQ(connection.values(read), (Values{0x11223344, 0x55667788}));
    read.setByteOrder(ByteOrder::Host);
    EXPECT_EQ(connection.values(read), (Values{0x44332211, 0x88776655}));
    write.setByteOrder(ByteOrder::Host);
    EXPECT_TRUE(connection.succeeds(write));
    EXPECT_EQ(connection.values(read), (Values{0x11223344, 0x55667788}));
}

TEST_F(RequestHandlerTest, MovesBurstsOf128Values) {
    auto connection = m_server.connect("uio.16");
    Values values;
    for (std::uint32_t i = 0; i < 128; ++i) {
        values.push_back(0xFF00 + i);
    }
    auto write = requestOf(Type::Write16, "uio.16", 2048 - 128, values);
    write.setByteOrder(ByteOrder::Host);
    EXPECT_TRUE(connection.succeeds(write));
    auto read = readOf(Type::Read16, "uio.16", 2048 - 128, 128);
    read.setByteOrder(ByteOrder::Host);
    EXPECT_EQ(connection.values(read), values);
}

TEST_F(RequestHandlerTest, RefusesAReadOfNothing) {
    auto connection = m_server.connect("uio.32");
    expectRefusal(connection, readOf(Type::Read32, "uio.32", 0, 0), "the length of the read is 0");
}

TEST_F(RequestHandlerTest, WritesNothingSuccessfullyAndTouchesNoDevice) {
    auto connection = m_server.connect("uio.32");
    EXPECT_TRUE(connection.succeeds(requestOf(Type::Write32, "uio.32", 5, {7})));
    auto nothing = requestOf(Type::Write32, "uio.32", 5);
    EXPECT_TRUE(connection.succeeds(nothing));
    EXPECT_EQ(connection.values(readOf(Type::Read32, "uio.32", 5)), Values{7});
    nothing.setAddress(0xFFFFFFFF);
    EXPECT_TRUE(connection.succeeds(nothing));
    auto seekable = m_server.connect("seek.32");
    EXPECT_TRUE(seekable.succeeds(requestOf(Type::Write32, "seek.32", 3)));
}

TEST_F(RequestHandlerTest, ReplacesTheBitsUnderAMask) {
    auto connection = m_server.connect("uio.16");
    EXPECT_TRUE(connection.succeeds(requestOf(Type::Write16, "uio.16", 5, {0x1234})));
    auto masked = requestOf(Type::Write16, "uio.16", 5, {0xFFFF});
    masked.setBitmask(0x0F0F);
    EXPECT_TRUE(connection.succeeds(masked));
    EXPECT_EQ(connection.values(readOf(Type::Read16, "uio.16", 5)), Values{0x1F3F});
}

TEST_F(RequestHandlerTest, TakesAMaskOfZeroForAPlainWrite) {
    auto connection = m_server.connect("uio.16");
    auto write = requestOf(Type::Write16, "uio.16", 5, {0x1234});
    write.setBitmask(0);
    EXPECT_TRUE(connection.succeeds(write));
    EXPECT_EQ(connection.values(readOf(Type::Read16, "uio.16", 5)), Values{0x1234});
}

TEST_F(RequestHandlerTest, RefusesAMaskedWriteOfAnythingButOneValue) {
    auto connection = m_server.connect("uio.16");
    for (const auto& values : {Values{}, Values{1, 2}, Values(128, 1)}) {
        auto masked = requestOf(Type::Write16, "uio.16", 5, values);
        masked.setBitmask(1);
        expectRefusal(connection, masked, "a masked write must have one value");
    }
    EXPECT_EQ(connection.values(readOf(Type::Read16, "uio.16", 5)), Values{0});
}

TEST_F(RequestHandlerTest, RefusesValuesAndMasksWiderThanTheRegister) {
    struct Row {
        const char* name;
        Type write;
        std::uint32_t wide;
    };
    for (const auto& row : {Row{"seek.8", Type::Write8, 0x100}, Row{"uio.16", Type::Write16, 0x10000}}) {
        auto connection = m_server.connect(row.name);
        expectRefusal(connection, requestOf(row.write, row.name, 0, {row.wide}), "a value is wider than a register");
        expectRefusal(connection, requestOf(row.write, row.name, 0, {1, row.wide}), "a value is wider than a register");
        auto masked = requestOf(row.write, row.name, 0, {1});
        masked.setBitmask(row.wide);
        expectRefusal(connection, masked, "a value is wider than a register");
        masked = requestOf(row.write, row.name, 0, {row.wide});
        masked.setBitmask(1);
        expectRefusal(connection, masked, "a value is wider than a register");
        EXPECT_TRUE(connection.succeeds(requestOf(row.write, row.name, 0, {row.wide - 1})));
    }
}

TEST_F(RequestHandlerTest, RefusesIoctlCommandsThatAreNotAllowed) {
    auto connection = m_server.connect("uio.32");
    Request request = requestOf(Type::Ioctl, "uio.32", 0, {7});
    request.setCommand(0xEE00);
    expectRefusal(connection, request, "the ioctl command is not allowed");
}

TEST_F(RequestHandlerTest, PassesAllowedIoctlCommandsOnAndAnswersWithTheirResult) {
    auto policy = simulated();
    policy.ioctls = {0xEE00};
    Server server(policy);
    auto connection = server.connect("uio.32");
    Request request = requestOf(Type::Ioctl, "uio.32", 0, {7});
    request.setCommand(0xEE00);
    EXPECT_EQ(connection.values(request), Values{0});
    request.setCommand(0xEE01);
    expectRefusal(connection, request, "the ioctl command is not allowed");
}

TEST_F(RequestHandlerTest, TellsTheInterruptTypeOfASimulatedDevice) {
    auto connection = m_server.connect("uio.32");
    EXPECT_EQ(connection.values(Request(Type::GetInterruptType, "uio.32")), Values{4});
}

TEST_F(RequestHandlerTest, RefusesInterruptOperationsOfDevicesWithoutInterrupts) {
    auto connection = m_server.connect("seek.8");
    for (const auto type : {Type::GetInterruptType, Type::EnableInterrupt, Type::DisableInterrupt}) {
        expectRefusal(connection, Request(type, "seek.8"), "the device reported a failure");
    }
    expectRefusal(connection, Request(Type::WaitForInterrupt, "seek.8"), "the device has no interrupts");
    expectRefusal(connection, Request(Type::Debug, "seek.8"), "only a simulated interrupt can be raised");
}

TEST_F(RequestHandlerTest, RaisesASimulatedInterruptWithTheWordOrTheCount) {
    auto connection = m_server.connect("uio.32");
    EXPECT_TRUE(connection.succeeds(Request(Type::EnableInterrupt, "uio.32")));
    EXPECT_TRUE(connection.succeeds(requestOf(Type::Debug, "uio.32", 0, {0xCAFE, 1})));
    auto& interrupt = *connection.device()->simulatedInterrupt();
    unsigned long word = 0;
    EXPECT_TRUE(interrupt.receive(&word));
    EXPECT_EQ(word, 0xCAFEU);
    EXPECT_TRUE(connection.succeeds(Request(Type::Debug, "uio.32")));
    EXPECT_TRUE(interrupt.receive(&word));
    EXPECT_EQ(word, 2U);
}

TEST_F(RequestHandlerTest, EnablesAndDisablesASimulatedInterrupt) {
    auto connection = m_server.connect("uio.32");
    auto& interrupt = *connection.device()->simulatedInterrupt();
    unsigned long word = 0;
    for (const std::uint32_t raised : {1U, 2U}) {
        EXPECT_TRUE(connection.succeeds(Request(Type::DisableInterrupt, "uio.32")));
        EXPECT_TRUE(connection.succeeds(Request(Type::Debug, "uio.32")));
        EXPECT_TRUE(connection.succeeds(Request(Type::EnableInterrupt, "uio.32")));
        EXPECT_TRUE(interrupt.receive(&word));
        EXPECT_EQ(word, raised);
    }
}

TEST_F(RequestHandlerTest, LetsClientsShareADeviceAndKeepsTheRegistersOfASimulatedOne) {
    {
        auto one = m_server.connect("uio.32");
        auto other = m_server.connect("uio.32");
        EXPECT_EQ(one.device(), other.device());
        EXPECT_TRUE(one.succeeds(requestOf(Type::Write32, "uio.32", 5, {7})));
        EXPECT_EQ(other.values(readOf(Type::Read32, "uio.32", 5)), Values{7});
    }
    auto later = m_server.connect("uio.32");
    EXPECT_EQ(later.values(readOf(Type::Read32, "uio.32", 5)), Values{7});
}

TEST_F(RequestHandlerTest, SaysWhyADeviceCannotBeOpened) {
    auto policy = simulated();
    policy.devices = {"uio.32", "far"};
    Server server(policy);
    auto connection = server.connect();
    for (const auto& [name, obstacle] :
         std::vector<std::pair<std::string, std::string>>{{"nothing", "the device is not served"},
                                                          {"uio.16", "the device is not served"},
                                                          {"far", "remote devices are not served"}}) {
        expectRefusal(connection, Request(Type::Open, name), "the device cannot be opened");
        const auto all = lines();
        ASSERT_EQ(all.size(), 2U);
        EXPECT_EQ(all[0],
                  "Rynveld 3 open: Device \"" + name + "\" cannot be opened for 10.0.0.7:4711: " + obstacle + ".");
    }
    EXPECT_TRUE(connection.open("uio.32"));
}

TEST_F(RequestHandlerTest, RefusesAllThatChangesADeviceWhenItIsReadOnly) {
    auto policy = simulated();
    policy.readOnly = true;
    policy.ioctls = {0};
    Server server(policy);
    auto connection = server.connect("uio.32");
    for (const auto type : {Type::Write8, Type::Write16, Type::Write32, Type::Ioctl, Type::EnableInterrupt,
                            Type::DisableInterrupt, Type::WaitForInterrupt, Type::Debug}) {
        expectRefusal(connection, requestOf(type, "uio.32", 0, {1}), "the server is read-only");
    }
    EXPECT_EQ(connection.values(readOf(Type::Read32, "uio.32", 0)), Values{0});
    EXPECT_EQ(connection.values(Request(Type::GetInterruptType, "uio.32")), Values{4});
    EXPECT_TRUE(connection.succeeds(Request(Type::Close, "uio.32")));
    for (const auto& [name, type] :
         std::vector<std::pair<std::string, Type>>{{"seek.8", Type::Read8}, {"uio.16", Type::Read16}}) {
        EXPECT_TRUE(connection.open(name));
        EXPECT_EQ(connection.values(readOf(type, name, 0)), Values{0});
    }
}

/** Devices of this machine: files in the working folder. */
class RequestsToFiles : public RequestHandlerTest {
protected:
    static constexpr std::uintmax_t pageSize = 4096;

    OwnFolder m_folder;
    Server m_files{Policy()};
};

TEST_F(RequestsToFiles, FailWhenTheFileIsMissing) {
    auto connection = m_files.connect();
    expectRefusal(connection, Request(Type::Open, "missing"), "the device cannot be opened");
    EXPECT_EQ(lines()[0], "Rynveld 3 open: Device \"missing\" cannot be opened for 10.0.0.7:4711: /nowhere/map: No "
                          "such file or directory.");
    expectRefusal(connection, Request(Type::Open, "map.32"), "the device cannot be opened");
    OwnFolder::makeFile("registers.map", pageSize);
    EXPECT_TRUE(connection.open("map.32"));
}

TEST_F(RequestsToFiles, ReachTheRegisters) {
    OwnFolder::makeFile("registers.seek", 16);
    for (const auto& [name, write, read] :
         {std::tuple{"seek.8", Type::Write8, Type::Read8}, std::tuple{"seek.16", Type::Write16, Type::Read16},
          std::tuple{"seek.32", Type::Write32, Type::Read32}}) {
        auto connection = m_files.connect(name);
        EXPECT_TRUE(connection.succeeds(requestOf(write, name, 4, {0x5A})));
        EXPECT_EQ(connection.values(readOf(read, name, 4)), Values{0x5A});
    }
}

TEST_F(RequestsToFiles, WriteNothingWithoutMovingTheFile) {
    OwnFolder::makeFile("registers.seek", 16);
    auto connection = m_files.connect("seek.32");
    EXPECT_TRUE(connection.succeeds(requestOf(Type::Write32, "seek.32", 8)));
    EXPECT_EQ(::lseek(connection.device()->device().getNativeHandle(), 0, SEEK_CUR), 0);
}

TEST_F(RequestsToFiles, CloseTheFileWithTheLastClient) {
    OwnFolder::makeFile("registers.seek", 16);
    std::weak_ptr<Rynveld::ServedDevice> device;
    auto one = m_files.connect("seek.8");
    {
        auto other = m_files.connect("seek.8");
        device = other.device();
    }
    EXPECT_FALSE(device.expired());
    EXPECT_TRUE(one.succeeds(Request(Type::Close, "seek.8")));
    EXPECT_TRUE(device.expired());
}

TEST_F(RequestsToFiles, AreRefusedOutsideOfTheMapping) {
    OwnFolder::makeFile("registers.map", pageSize);
    auto connection = m_files.connect("map.32");
    constexpr std::uint32_t registers = pageSize / 4;
    const std::string reason = "the address is outside the device";
    EXPECT_TRUE(connection.succeeds(requestOf(Type::Write32, "map.32", registers - 1, {7})));
    for (const std::uint32_t address : {registers, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        expectRefusal(connection, readOf(Type::Read32, "map.32", address), reason);
        expectRefusal(connection, requestOf(Type::Write32, "map.32", address, {1}), reason);
        expectRefusal(connection, readOf(Type::Read32, "map.32", address, 128), reason);
        auto masked = requestOf(Type::Write32, "map.32", address, {1});
        masked.setBitmask(1);
        expectRefusal(connection, masked, reason);
    }
    expectRefusal(connection, readOf(Type::Read32, "map.32", registers - 1, 2), reason);
    expectRefusal(connection, requestOf(Type::Write32, "map.32", registers - 1, {1, 2}), reason);
    EXPECT_EQ(connection.values(readOf(Type::Read32, "map.32", registers - 1)), Values{7});
    EXPECT_TRUE(connection.succeeds(requestOf(Type::Write32, "map.32", registers)));
}

TEST_F(RequestsToFiles, SurviveBusErrors) {
    Common::FaultGuard::install();
    OwnFolder::makeFile("registers.map", 0);
    auto connection = m_files.connect("map.32");
    expectRefusal(connection, readOf(Type::Read32, "map.32", 0), "the hardware reported a bus error");
    expectRefusal(connection, requestOf(Type::Write32, "map.32", 0, {1, 2}), "the hardware reported a bus error");
    OwnFolder::makeFile("registers.map", pageSize);
    EXPECT_EQ(connection.values(readOf(Type::Read32, "map.32", 0)), Values{0});
}

TEST_F(RequestsToFiles, FailAsTheDeviceDoes) {
    OwnFolder::makeFile("registers.map", pageSize);
    OwnFolder::makeFile("registers.seek", 4);
    auto mapped = m_files.connect("map.32");
    for (const auto type : {Type::EnableInterrupt, Type::DisableInterrupt, Type::GetInterruptType}) {
        expectRefusal(mapped, Request(type, "map.32"), "the device reported a failure");
    }
    EXPECT_TRUE(mapped.succeeds(Request(Type::WaitForInterrupt, "map.32")));
    auto seekable = m_files.connect("seek.32");
    expectRefusal(seekable, readOf(Type::Read32, "seek.32", 4), "the device reported a failure");
}

TEST_F(RequestsToFiles, FailAsAnAllowedIoctlDoes) {
    Policy policy;
    policy.ioctls = {0xEE00};
    Server server(policy);
    OwnFolder::makeFile("registers.seek", 4);
    auto connection = server.connect("seek.32");
    Request request = requestOf(Type::Ioctl, "seek.32", 0, {7});
    request.setCommand(0xEE00);
    expectRefusal(connection, request, "the device reported a failure");
}

TEST_F(RequestsToFiles, RaiseNoInterruptsOfRealDevices) {
    OwnFolder::makeFile("registers.map", pageSize);
    auto connection = m_files.connect("map.32");
    expectRefusal(connection, Request(Type::Debug, "map.32"), "only a simulated interrupt can be raised");
}

} // namespace
} // namespace RynvelTest
