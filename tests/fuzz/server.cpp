// SPDX-License-Identifier: MIT
#include <ZilTraceControl.h>

#include <algorithm>
#include <memory>
#include <string>

#include "Audit.h"
#include "AuditSink.h"
#include "Record.h"
#include "RequestHandler.h"

namespace {

using Rynvel::Request;
using Rynvel::RequestData;
using Rynvel::Response;
using Type = RequestData::Type;
using namespace RynvelFuzz;

constexpr std::size_t size = 660;
constexpr std::size_t nameSize = 128;

/** A sink for all traces of the server, which checks their texts. */
class Traces : public ZilTraceControl::Sink {
public:
    Traces() {
        ZilTraceControl::setSink(this);
        ZilTraceControl::setLevel("*", 0);
        ZilTraceControl::setLevel("Rynveld", 7);
    }

    void write(const ZilTraceControl::Record& record) override {
        const std::string text = record.text;
        require(std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; }),
                "a trace is one line of printable ASCII characters");
    }
};

/** A sink for the audit of the server, which checks that no client can begin a line or end a text. */
class AuditLines : public Rynveld::AuditSink {
public:
    std::string name() const override { return "audit"; }

    int write(const std::string& line) override {
        require(line.size() > 1 && line.back() == '\n', "a line of the audit has a line end");
        bool isInText = false;
        for (std::size_t i = 0; i + 1 < line.size(); ++i) {
            require(line[i] >= ' ' && line[i] <= '~', "a line of the audit has printable ASCII characters only");
            isInText = isInText != (line[i] == '"');
            i += line[i] == '\\' ? 1U : 0U;
        }
        require(!isInText && line.substr(line.size() - 3) == "\"}\n", "a line of the audit is a whole object");
        return 0;
    }
};

Rynveld::AuditContext audit() {
    static Rynveld::Audit audit(std::make_unique<AuditLines>(), Rynveld::Audit::OnError::RefuseWrites, [] {});
    return {&audit, true};
}

bool isRead(Type type) { return type >= Type::Read8 && type <= Type::Read32; }

/** Returns the number of values in a successful response to the request. */
std::uint32_t valuesOf(const Request& request) {
    if (isRead(request.getType())) {
        return request.getLength();
    }
    return request.getType() == Type::Ioctl || request.getType() == Type::GetInterruptType ? 1 : 0;
}

/** A connection whose answers must follow the protocol. The expected answers depend on the records alone. */
class Connection {
public:
    explicit Connection(Rynveld::ServedDevices& devices, const Rynveld::CurrentPolicy& policy)
        : m_handler(devices, policy, {"10.0.0.7:4711", "10.0.0.7", m_limit}, audit()) {}

    /** Sends a record. Returns false if the server closes the connection. */
    bool exchange(const Record& record) {
        Request request;
        record.receiveInto(request);
        const bool isAccepted = m_handler.accepts(request);
        require(isAccepted == isWellFormed(record), "a record is accepted if and only if it is well-formed");
        if (isAccepted) {
            m_hasBegun = true;
            answer(request, record);
        }
        return isAccepted;
    }

private:
    /** Returns whether the protocol allows the record. */
    bool isWellFormed(const Record& record) const {
        const std::uint32_t type = record.word(0);
        const std::string name = record.text(4, nameSize);
        return (m_hasBegun ? type <= 13 : type == 0) && name.size() < nameSize &&
               std::none_of(name.begin(), name.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; }) &&
               record.word(648) <= capacity && record.word(652) <= 1;
    }

    void answer(const Request& request, const Record& record) {
        const Response response = m_handler.handle(request);
        require(bytesOf(request) == record.bytes(), "the server does not change a request");
        if (response.isSuccessful()) {
            requireRight(request);
            require(response.getLength() == valuesOf(request), "a success has the values of its type");
        } else {
            require(bytesOf(response) == bytesOf(refusal()), "a refusal is an Error without values");
        }
        follow(request, response);
    }

    static Response refusal() {
        Response response;
        response.setResult(Rynvel::ResponseData::Result::Error);
        return response;
    }

    void requireRight(const Request& request) const {
        require(request.getType() == Type::Open || (m_isOpen && request.getDeviceName() == m_name),
                "an operation on a device that is not open is refused");
        require(!isRead(request.getType()) || request.getLength() > 0, "an empty read is refused");
    }

    /** Keeps track of the open device. Requires that a register keeps a value that was written without a mask. */
    void follow(const Request& request, const Response& response) {
        if (!response.isSuccessful()) {
            return;
        }
        if (request.getType() == Type::Open || request.getType() == Type::Close) {
            m_isOpen = request.getType() == Type::Open;
            m_name = request.getDeviceName();
        }
        require((m_handler.device() != nullptr) == m_isOpen, "a device is open from Open to Close");
        const bool isPlainWrite = request.getType() >= Type::Write8 && request.getType() <= Type::Write32 &&
                                  request.getLength() == 1 && request.getBitmask() == 0;
        if (isPlainWrite) {
            requireValue(request);
        }
    }

    void requireValue(const Request& write) {
        Request read(static_cast<Type>(static_cast<std::uint32_t>(write.getType()) - 3), m_name);
        read.setAddress(write.getAddress());
        read.setLength(1);
        const Response response = m_handler.handle(read);
        require(response.isSuccessful() && response.getValue() == write.getValue(),
                "a register keeps what was written");
    }

    Rynveld::TraceLimit m_limit;
    Rynveld::RequestHandler m_handler;
    bool m_hasBegun = false;
    bool m_isOpen = false;
    std::string m_name;
};

Rynveld::Policy simulated() {
    Rynveld::Policy policy;
    policy.simulate = true;
    policy.ioctls = {0x5401};
    return policy;
}

/** Sends the records of the input over a new connection, until the server closes the connection. */
void converse(Rynveld::ServedDevices& devices, const Rynveld::CurrentPolicy& policy, const std::uint8_t* input,
              std::size_t inputSize) {
    Connection connection(devices, policy);
    for (std::size_t at = 0; at < inputSize; at += size) {
        if (!connection.exchange(Record(input + at, inputSize - at, size))) {
            break;
        }
    }
}

/** Requires all registers of traf.top, the device of the HTTP inputs in the corpus, to be zero. */
void requireUntouched(Rynveld::ServedDevices& devices, const Rynveld::CurrentPolicy& policy) {
    Rynveld::TraceLimit limit;
    Rynveld::RequestHandler beside(devices, policy, {"127.0.0.1:1", "127.0.0.1", limit});
    require(beside.accepts(Request(Type::Open, "traf.top")), "an Open is accepted");
    require(beside.handle(Request(Type::Open, "traf.top")).isSuccessful(), "a device that is served is opened");
    for (std::uint32_t address = 0; address < Rynveld::simulatedSize / 4; address += capacity) {
        Request read(Type::Read32, "traf.top");
        read.setAddress(address);
        read.setLength(capacity);
        const Response response = beside.handle(read);
        for (std::uint32_t i = 0; i < capacity; ++i) {
            require(response.getValue(i) == 0, "an HTTP request reaches no register");
        }
    }
}

/** Sends the input after the first letters of an HTTP request, and requires that no register changes. */
void postOverHttp(const std::uint8_t* input, std::size_t inputSize, const Rynveld::CurrentPolicy& policy) {
    Rynveld::ServedDevices devices(policy);
    for (const std::string method : {"POST", "PUT ", "GET ", "OPTI"}) {
        std::vector<std::uint8_t> bytes(method.begin(), method.end());
        bytes.insert(bytes.end(), input, input + inputSize);
        converse(devices, policy, bytes.data(), bytes.size());
    }
    requireUntouched(devices, policy);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t inputSize) {
    static Traces traces;
    static const Rynveld::CurrentPolicy policy(simulated());
    Rynveld::ServedDevices devices(policy);
    converse(devices, policy, input, inputSize);
    postOverHttp(input, inputSize, policy);
    return 0;
}
