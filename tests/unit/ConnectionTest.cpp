// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <csignal>
#include <cstring>
#include <type_traits>

#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "MessageBytes.h"
#include "NothingTraced.h"
#include "ScriptedOs.h"
#include "SocketPair.h"
#include "TraceRecorder.h"
#include "VirtualSlot.h"

namespace {

using namespace Rynvel;
using namespace RynvelTest;

std::string hexOf(const IMessage& message) { return hexBytes(message.toBuffer(), message.getSize()); }

Request someRequest() {
    Request request(RequestData::Type::Write32, "traf.top");
    request.setAddress(0x10);
    request.addValue(0xAB);
    return request;
}

/** Sends a message and receives one. Returns both results. */
std::pair<int, int> transferOn(const Connection& connection) {
    Response response;
    const int sent = connection.send(someRequest());
    return {sent, connection.receive(response)};
}

constexpr std::pair failed(-1, -1);

/** A fixture for a connection on the descriptor 7 of a scripted operating system. */
class ScriptedConnection : public testing::Test {
protected:
    /** Expects a transfer to make a single call, which fails, and to keep the errno of the call. */
    template <typename Transfer>
    void expectFailure(Call call, const Answer& answer, Transfer transfer) {
        m_os.log().clear();
        m_os.script(call, {answer});
        errno = 0;
        EXPECT_FALSE(transfer()) << nameOf(call);
        EXPECT_EQ(errno, answer.error) << nameOf(call);
        EXPECT_EQ(m_os.log().size(), 1U) << nameOf(call);
    }

    ScriptedOs m_os;
    Connection m_connection{ScriptedOs::descriptor};
};

TEST_F(ScriptedConnection, MakesNoCallUntilItIsUsedAndNoneWhenItIsDestroyed) {
    { const Connection connection(5); }
    IConnection::create(5).reset();
    EXPECT_EQ(m_os.log(), EventLog{});
}

TEST_F(ScriptedConnection, SendsARecordInOneCallWithoutFlags) {
    const Request request = someRequest();
    EXPECT_EQ(m_connection.send(request), 0);
    EXPECT_EQ(m_os.log(), EventLog{"send(7, " + hexOf(request) + ", 0)"});
}

TEST_F(ScriptedConnection, ReceivesARecordInOneRead) {
    m_os.memory[3] = 9;
    m_os.memory[519] = 2;
    Response response;
    EXPECT_EQ(m_connection.receive(response), 0);
    EXPECT_EQ(m_os.log(), EventLog{"read(7, 520)"});
    EXPECT_EQ(bytesOf(response), Bytes(m_os.memory.begin(), m_os.memory.begin() + 520));
}

TEST_F(ScriptedConnection, TakesTheSizeOfARecordFromTheMessage) {
    InterruptMessage interrupt;
    Request request;
    m_connection.receive(interrupt);
    m_connection.receive(request);
    EXPECT_EQ(m_os.log(), (EventLog{"read(7, 4)", "read(7, 660)"}));
}

TEST_F(ScriptedConnection, TransfersBytesInOneCall) {
    m_os.memory[0] = 0x11;
    const Bytes sent{1, 2, 3};
    Bytes received(2);
    EXPECT_TRUE(m_connection.send(sent.data(), 3));
    EXPECT_TRUE(m_connection.receive(received.data(), 2));
    EXPECT_EQ(m_os.log(), (EventLog{"send(7, 010203, 0)", "read(7, 2)"}));
    EXPECT_EQ(received, (Bytes{0x11, 0}));
}

TEST_F(ScriptedConnection, TreatsAShortTransferAsSuccessAndKeepsTheRest) {
    const NothingTraced nothingTraced(5);
    m_os.script(Call::Send, {answering(1)});
    m_os.script(Call::Read, {answering(1)});
    m_os.memory[0] = 0x55;
    Response response;
    response.setLength(3);
    EXPECT_EQ(m_connection.send(someRequest()), 0);
    EXPECT_EQ(m_connection.receive(response), 0);
    EXPECT_EQ(bytesOf(response)[0], 0x55);
    EXPECT_EQ(response.getLength(), 3U);
    EXPECT_EQ(m_os.log().size(), 2U);
}

TEST_F(ScriptedConnection, TriesATransferOnceTracesItsFailureAndKeepsTheSocketAndErrno) {
    Response response;
    std::uint8_t byte = 0;
    for (const auto& answer : {failing(EPIPE), failing(EINTR), failing(EAGAIN), failing(EIO), answering(0)}) {
        const TraceRecorder recorder(1);
        expectFailure(Call::Send, *answer, [&] { return m_connection.send(someRequest()) != -1; });
        expectFailure(Call::Send, *answer, [&] { return m_connection.send(&byte, 1); });
        EXPECT_EQ(m_os.log(), EventLog{"send(7, 00, 0)"});
        expectFailure(Call::Read, *answer, [&] { return m_connection.receive(response) != -1; });
        expectFailure(Call::Read, *answer, [&] { return m_connection.receive(&byte, 1); });
        EXPECT_EQ(m_os.log(), EventLog{"read(7, 1)"});
        const std::string channel = "Rynvel.Connection 1 ";
        const std::string reason = " socket '7' failed with: " + std::string(std::strerror(answer->error));
        const bool isClosed = answer->result == 0;
        const std::string sending = channel + "send: " + (isClosed ? "Socket '7' is closed." : "Sending to" + reason);
        const std::string receiving =
            channel + "receive: " + (isClosed ? "Socket '7' is closed." : "Reading from" + reason);
        EXPECT_EQ(recorder.lines(), (EventLog{sending, sending, receiving, receiving}));
        EXPECT_EQ(m_connection.getSocketDescriptor(), 7);
    }
}

TEST_F(ScriptedConnection, TracesNoFailureWhenLevelOneIsOff) {
    const NothingTraced nothingTraced(0);
    m_os.script(Call::Send, {failing(EPIPE), answering(0)});
    m_os.script(Call::Read, {failing(EIO), answering(0)});
    EXPECT_EQ(transferOn(m_connection), failed);
    EXPECT_EQ(transferOn(m_connection), failed);
}

TEST_F(ScriptedConnection, TracesTheEntryOfATransferOfAMessageAndRendersWhatItSends) {
    const TraceRecorder recorder(6);
    Response response;
    m_connection.send(someRequest());
    m_connection.receive(response);
    EXPECT_EQ(recorder.lines(),
              (EventLog{"Rynvel.Connection 6 send ENTER message=Request: [ type: Write32, byteOrder: Network, "
                        "logicalDeviceName: traf.top, address: 10, bitmask: 0, command: 0, length: 1, "
                        "values: { ab, } ]",
                        "Rynvel.Connection 6 receive ENTER"}));
    EXPECT_FALSE(recorder.traces()[1].hasText);
    EXPECT_EQ(recorder.traces()[0].option, 256);
    EXPECT_EQ(recorder.traces()[0].file, "cppsrc/RynvelConnection");
}

TEST_F(ScriptedConnection, TracesTheEntryBeforeTheTransfer) {
    const TraceRecorder recorder(6, "*", &m_os.log());
    Response response;
    m_connection.receive(response);
    EXPECT_EQ(m_os.takeLog(), (EventLog{"Rynvel.Connection 6 receive ENTER", "read(7, 520)"}));
    m_connection.send(response);
    EXPECT_EQ(m_os.log(), (EventLog{"Rynvel.Connection 6 send ENTER message=Response: [ result: Success, length: 0, "
                                    "values: { } ]",
                                    "send(7, " + hexOf(response) + ", 0)"}));
}

/** A message that counts how often it is printed. */
class CountingMessage : public Response {
public:
    std::ostream& toStream(std::ostream& stream) const override {
        ++renderings;
        return Response::toStream(stream);
    }
    mutable int renderings = 0;
};

TEST_F(ScriptedConnection, RendersAMessageOnlyWhenLevelSixIsOn) {
    const CountingMessage message;
    {
        const TraceRecorder recorder(5);
        m_connection.send(message);
        EXPECT_EQ(message.renderings, 0);
    }
    const TraceRecorder recorder(6);
    m_connection.send(message);
    EXPECT_EQ(message.renderings, 1);
}

TEST_F(ScriptedConnection, TracesNoEntryOfAnyOtherOperation) {
    const NothingTraced nothingTraced(7);
    Connection connection(5);
    std::uint8_t byte = 0;
    connection.send(&byte, 1);
    connection.receive(&byte, 1);
    connection.getSocketDescriptor();
    connection.close();
}

TEST_F(ScriptedConnection, ClosesItsSocketOnceEvenWhenClosingFails) {
    for (const auto& answer : {answering(0), failing(EIO)}) {
        m_os.script(Call::Close, {answer});
        Connection connection(ScriptedOs::descriptor);
        connection.close();
        EXPECT_EQ(connection.getSocketDescriptor(), -1);
        connection.close();
        EXPECT_EQ(m_os.takeLog(), EventLog{"close(7)"});
    }
}

TEST_F(ScriptedConnection, ClosesTheDescriptorZeroButNoNegativeOne) {
    for (const int none : {-1, -2}) {
        Connection connection(none);
        connection.close();
        EXPECT_EQ(connection.getSocketDescriptor(), none);
    }
    EXPECT_EQ(m_os.log(), EventLog{});
    Connection zero(0);
    zero.close();
    EXPECT_EQ(m_os.log(), EventLog{"close(0)"});
}

TEST(IConnection, IsCreatedAsAConnectionOnTheSocket) {
    const auto connection = IConnection::create(7);
    EXPECT_EQ(connection->getSocketDescriptor(), 7);
    EXPECT_NE(dynamic_cast<Connection*>(connection.get()), nullptr);
    EXPECT_EQ(IConnection::create(-1)->getSocketDescriptor(), -1);
}

TEST(IConnection, KeepsTheOrderOfItsOperations) {
    EXPECT_EQ(slotOf(&IConnection::receive), 2U);
    EXPECT_EQ(slotOf(&IConnection::send), 3U);
    EXPECT_EQ(slotOf(&IConnection::getSocketDescriptor), 4U);
    EXPECT_EQ(slotOf(&IConnection::close), 5U);
}

/** A fixture with a pair of real sockets, which ignores SIGPIPE. */
class SocketConnection : public testing::Test {
protected:
    SocketConnection() { std::signal(SIGPIPE, SIG_IGN); }
    ~SocketConnection() override { std::signal(SIGPIPE, SIG_DFL); }

    const SocketPair m_sockets;
};

TEST_F(SocketConnection, CarriesARecordByteByByte) {
    const Connection near(m_sockets.server());
    const Connection far(m_sockets.client());
    const Request sent = someRequest();
    Request received;
    EXPECT_EQ(near.send(sent), 0);
    EXPECT_EQ(far.receive(received), 0);
    EXPECT_EQ(bytesOf(received), bytesOf(sent));
}

TEST_F(SocketConnection, ReceivesOnlyTheFirstPieceOfARecordThatComesInTwo) {
    const Connection connection(m_sockets.server());
    const Bytes bytes = bytesOf(someRequest());
    Request received;
    received.setCommand(0x77);
    ASSERT_EQ(::write(m_sockets.client(), bytes.data(), 140), 140);
    EXPECT_EQ(connection.receive(received), 0);
    EXPECT_EQ(received.getAddress(), 0x10U);
    EXPECT_EQ(received.getCommand(), 0x77U);
    EXPECT_EQ(received.getLength(), 0U);
    ASSERT_EQ(::write(m_sockets.client(), &bytes[140], 520), 520);
    Response rest;
    EXPECT_EQ(connection.receive(rest), 0);
    EXPECT_EQ(bytesOf(rest), Bytes(bytes.begin() + 140, bytes.end()));
}

TEST_F(SocketConnection, ReportsAPeerThatHasClosed) {
    const TraceRecorder recorder(1);
    Connection connection(m_sockets.server());
    shutdown(m_sockets.client(), SHUT_RDWR);
    Response response;
    EXPECT_EQ(connection.receive(response), -1);
    EXPECT_EQ(connection.send(someRequest()), -1);
    const std::string socket = "'" + std::to_string(m_sockets.server()) + "'";
    EXPECT_EQ(recorder.lines(),
              (EventLog{"Rynvel.Connection 1 receive: Socket " + socket + " is closed.",
                        "Rynvel.Connection 1 send: Sending to socket " + socket + " failed with: Broken pipe"}));
}

TEST_F(SocketConnection, RaisesSigpipeWhenItSendsToAPeerThatIsGone) {
    EXPECT_EXIT(
        {
            std::signal(SIGPIPE, SIG_DFL);
            shutdown(m_sockets.client(), SHUT_RDWR);
            Connection(m_sockets.server()).send(someRequest());
        },
        testing::KilledBySignal(SIGPIPE), "");
}

TEST_F(SocketConnection, ReportsThatThereIsNoSocket) {
    const TraceRecorder recorder(1);
    EXPECT_EQ(transferOn(Connection(-1)), failed);
    EXPECT_EQ(recorder.lines(),
              (EventLog{"Rynvel.Connection 1 send: Sending to socket '-1' failed with: Bad file descriptor",
                        "Rynvel.Connection 1 receive: Reading from socket '-1' failed with: Bad file descriptor"}));
}

TEST_F(SocketConnection, LeavesTheSocketOpenWhenItIsDestroyed) {
    { const Connection connection(m_sockets.server()); }
    IConnection::create(m_sockets.server()).reset();
    const Connection connection(m_sockets.server());
    EXPECT_EQ(connection.send(someRequest()), 0);
}

} // namespace
