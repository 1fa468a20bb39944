#include <ZilTraceControl.h>

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

/** Takes all that the server traces. */
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
                "a trace is one line of plain characters");
    }
};

bool isRead(Type type) { return type >= Type::Read8 && type <= Type::Read32; }

/** The values of a successful response of each type. */
std::uint32_t valuesOf(const Request& request) {
    if (isRead(request.getType())) {
        return request.getLength();
    }
    return request.getType() == Type::Ioctl || request.getType() == Type::GetInterruptType ? 1 : 0;
}

/** What a connection may expect of its server, from the records alone. */
class Connection {
public:
    explicit Connection(Rynveld::ServedDevices& devices, const Rynveld::Policy& policy) : m_handler(devices, policy) {}

    void exchange(const Record& record) {
        Request request;
        record.receiveInto(request);
        const Response response = m_handler.handle(request);
        require(bytesOf(request) == record.bytes(), "a request is left as it is");
        if (response.isSuccessful()) {
            requireRight(request);
            require(response.getLength() == valuesOf(request), "a success has the values of its type");
        } else {
            require(bytesOf(response) == bytesOf(refusal()), "a refusal is an Error without values");
        }
        follow(request, response);
    }

private:
    static Response refusal() {
        Response response;
        response.setResult(Rynvel::ResponseData::Result::Error);
        return response;
    }

    void requireRight(const Request& request) const {
        require(request.getDeviceName().size() < nameSize, "a name without terminator is refused");
        require(request.getType() <= Type::Debug, "an unknown type is refused");
        require(request.getLength() <= capacity, "a length above the capacity is refused");
        require(request.getType() == Type::Open || (m_isOpen && request.getDeviceName() == m_name),
                "an operation for a device that is not open is refused");
        require(!isRead(request.getType()) || request.getLength() > 0, "a read of nothing is refused");
    }

    /** Follows which device is open, and reads what has been written. */
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

    Rynveld::RequestHandler m_handler;
    bool m_isOpen = false;
    std::string m_name;
};

Rynveld::Policy simulated() {
    Rynveld::Policy policy;
    policy.simulate = true;
    policy.ioctls = {0x5401};
    return policy;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t inputSize) {
    static Traces traces;
    static const Rynveld::Policy policy = simulated();
    Rynveld::ServedDevices devices(policy);
    Connection connection(devices, policy);
    for (std::size_t at = 0; at < inputSize; at += size) {
        connection.exchange(Record(input + at, inputSize - at, size));
    }
    return 0;
}
