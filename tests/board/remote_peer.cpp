// SPDX-License-Identifier: MIT
// Runs a register server, and a client command with the address of the server as its last argument. Then compares the
// received requests with the requests of RemoteBoardTest.cpp, byte by byte.
// Usage: remote_peer HOST COMMAND [ARG...], where HOST is the address under which the command reaches this machine.

#include <rynvel.hpp>

#include <cstdio>
#include <limits>
#include <map>
#include <mutex>
#include <numeric>
#include <utility>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "RegisterWidth.h"
#include "RemoteBoard.h"
#include "RequestBytes.h"
#include "TestPeer.h"

namespace {

using Rynvel::Request;
using Rynvel::RequestData;
using namespace RynvelTest;

/** A server of devices that have a register at every address and raise an interrupt on request. */
class RegisterServer {
public:
    std::uint16_t port() const { return m_peer.port(); }
    std::vector<TestPeer::ReceivedRequest> requests() { return m_peer.requests(0); }

private:
    struct RemoteDevice {
        std::map<std::uint32_t, std::uint32_t> registers;
        std::size_t interrupts = 0;
    };

    Reply serve(std::size_t connection, const Request& request) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        RemoteDevice& device = m_devices[request.getDeviceName()];
        switch (request.getType()) {
        case RequestData::Type::Open:
        case RequestData::Type::EnableInterrupt:
        case RequestData::Type::DisableInterrupt:
            return success();
        case RequestData::Type::WaitForInterrupt:
            device.interrupts = connection;
            return success();
        case RequestData::Type::GetInterruptType:
            return success({3});
        case RequestData::Type::Read8:
        case RequestData::Type::Read16:
        case RequestData::Type::Read32:
            return read(device, request);
        case RequestData::Type::Write8:
        case RequestData::Type::Write16:
        case RequestData::Type::Write32:
            return write(device, request);
        case RequestData::Type::Ioctl:
            return perform(device, request);
        default:
            return refusal();
        }
    }

    static Reply read(RemoteDevice& device, const Request& request) {
        if (request.getAddress() == refusedAddress) {
            return refusal();
        }
        std::vector<std::uint32_t> values;
        for (std::uint32_t i = 0; i < request.getLength(); ++i) {
            values.push_back(device.registers[request.getAddress() + i]);
        }
        return success(values);
    }

    static Reply write(RemoteDevice& device, const Request& request) {
        if (request.getAddress() == refusedAddress) {
            return refusal();
        }
        const std::uint32_t mask = request.getBitmask() != 0 ? request.getBitmask() : 0xFFFFFFFF;
        for (std::uint32_t i = 0; i < request.getLength(); ++i) {
            std::uint32_t& place = device.registers[request.getAddress() + i];
            place = (place & ~mask) | (request.getValue(i) & mask);
        }
        return success();
    }

    Reply perform(const RemoteDevice& device, const Request& request) {
        switch (request.getCommand()) {
        case Raise:
            m_peer.send(device.interrupts, bigEndian(request.getValue()));
            return success();
        case HangUp:
            return closing();
        default:
            return refusal();
        }
    }

    static Bytes bigEndian(std::uint32_t word) {
        Bytes bytes(4);
        put(bytes, 0, word);
        return bytes;
    }

    std::mutex m_mutex;
    std::map<std::string, RemoteDevice> m_devices;
    TestPeer m_peer{[this](std::size_t connection, const Request& request) { return serve(connection, request); }};
};

/** The requests of the tests for one register width, in order. */
template <typename T>
class ExpectedRequests {
public:
    /** @param connection the number of the request connection. The interrupt connection has the next number. */
    explicit ExpectedRequests(std::size_t connection)
        : m_connection(connection), m_name("board." + std::to_string(8 * sizeof(T))) {
        announcement();
        singleAccesses();
        bursts();
        refusals();
        interruptOfAPoll();
        interruptOfAThread();
        add(RequestType::Ioctl, {{valuesAt, 0}, {lengthAt, 1}, {maskAt, 2}});
    }

    const std::vector<TestPeer::ReceivedRequest>& all() const { return m_requests; }

private:
    void add(RequestType type, const std::vector<WordAt>& words = {}, std::size_t connection = 0) {
        m_requests.push_back({m_connection + connection, requestBytes(type, m_name, words)});
    }
    void addRead(std::uint32_t address) { add(readType<T>, {{addressAt, address}, {lengthAt, 1}}); }
    void addWrite(std::uint32_t address, std::uint32_t value, std::uint32_t mask = 0) {
        add(writeType<T>, {{addressAt, address}, {valuesAt, value}, {lengthAt, 1}, {maskAt, mask}});
    }

    void announcement() {
        add(RequestType::Open);
        add(RequestType::Open, {}, 1);
        add(RequestType::WaitForInterrupt, {}, 1);
    }

    void singleAccesses() {
        addWrite(0x10, Width<T>::value);
        addRead(0x10);
        addWrite(0x20, std::numeric_limits<T>::max());
        addWrite(0x20, 0x50, 0xF0);
        addRead(0x20);
    }

    void bursts() {
        std::vector<std::uint32_t> values(128);
        std::iota(values.begin(), values.end(), 1U);
        for (const std::uint32_t byteOrder : {1U, 0U}) {
            auto written = valueWords(values);
            written.insert(written.end(), {{addressAt, 0x100}, {byteOrderAt, byteOrder}});
            add(writeType<T>, written);
            add(readType<T>, {{addressAt, 0x100}, {lengthAt, 128}, {byteOrderAt, byteOrder}});
        }
    }

    void refusals() {
        addRead(0xFFFFFFFF);
        addWrite(0xFFFFFFFF, 1);
        add(RequestType::Ioctl, {{valuesAt, 0x1234}, {lengthAt, 1}, {maskAt, 77}});
    }

    void interruptOfAPoll() {
        add(RequestType::GetInterruptType);
        add(RequestType::EnableInterrupt);
        add(RequestType::Ioctl, {{valuesAt, 0x89ABCDEF}, {lengthAt, 1}, {maskAt, 1}});
        add(RequestType::DisableInterrupt);
    }

    void interruptOfAThread() {
        for (std::uint32_t i = 1; i <= 10; ++i) {
            addWrite(i, i);
            addRead(i);
        }
        add(RequestType::Ioctl, {{valuesAt, 7}, {lengthAt, 1}, {maskAt, 1}});
    }

    const std::size_t m_connection;
    const std::string m_name;
    std::vector<TestPeer::ReceivedRequest> m_requests;
};

std::vector<TestPeer::ReceivedRequest> expectedRequests() {
    auto all = ExpectedRequests<std::uint8_t>(0).all();
    for (const auto& more : {ExpectedRequests<std::uint16_t>(2).all(), ExpectedRequests<std::uint32_t>(4).all()}) {
        all.insert(all.end(), more.begin(), more.end());
    }
    return all;
}

/** Runs the command with one more argument. Returns the exit status, or -1 if the command does not exit. */
int run(std::vector<std::string> command, const std::string& lastArgument) {
    command.push_back(lastArgument);
    std::vector<char*> arguments;
    for (std::string& word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_t child = 0;
    int status = -1;
    if (posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0 ||
        waitpid(child, &status, 0) != child) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string host;
std::vector<std::string> command;

TEST(RemotePeer, ReceivesTheRequestsOfTheBoardsOperationsByteByByte) {
    RegisterServer server;
    EXPECT_EQ(run(command, host + "::" + std::to_string(server.port())), 0);
    const auto received = server.requests();
    const auto expected = expectedRequests();
    ASSERT_EQ(received.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(received[i].connection, expected[i].connection) << "request " << i;
        EXPECT_EQ(received[i].bytes, expected[i].bytes) << "request " << i;
    }
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc < 3) {
        std::fputs("usage: remote_peer HOST COMMAND [ARG...]\n", stderr);
        return 2;
    }
    host = argv[1];
    command.assign(argv + 2, argv + argc);
    return RUN_ALL_TESTS();
}
