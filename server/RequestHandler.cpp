// SPDX-License-Identifier: MIT
#include "RequestHandler.h"

#include <algorithm>
#include <array>
#include <exception>
#include <optional>
#include <utility>

#include <netinet/in.h>

#include "DeviceName.h"
#include "ServerTrace.h"

namespace Rynveld {

using Common::AccessResult;
using Rynvel::Request;
using Rynvel::Response;
using Rynvel::ResponseData;
using Type = Rynvel::RequestData::Type;

namespace {

constexpr const char* deviceFailed = "the device reported a failure";
constexpr const char* noAudit = "the audit cannot be written";

const char* refusalOf(AccessResult result) {
    switch (result) {
    case AccessResult::Success:
        return nullptr;
    case AccessResult::Failed:
        return deviceFailed;
    case AccessResult::OutOfRange:
        return "the address is outside the device";
    case AccessResult::TooWide:
        return "a value is wider than a register";
    case AccessResult::BusError:
        return "the hardware reported a bus error";
    }
    return deviceFailed;
}

/** Returns the refusal of a request whose register width differs from the register width of the device. */
const char* otherWidth(unsigned int widthOfDevice) {
    switch (widthOfDevice) {
    case 8:
        return "the request is for registers of another width (the device has 8-bit registers)";
    case 16:
        return "the request is for registers of another width (the device has 16-bit registers)";
    default:
        return "the request is for registers of another width (the device has 32-bit registers)";
    }
}

const char* refusalUnless(bool success) { return success ? nullptr : deviceFailed; }

const Rynvel::RequestData& recordOf(const Request& request) {
    return *static_cast<const Rynvel::RequestData*>(request.toBuffer());
}

} // namespace

std::string printableAscii(std::string text) {
    for (char& character : text) {
        if (character < ' ' || character > '~') {
            character = '?';
        }
    }
    return text;
}

RequestHandler::RequestHandler(ServedDevices& devices, const CurrentPolicy& policy, Peer peer,
                               const AuditContext& audit)
    : m_devices(devices), m_currentPolicy(policy), m_peer(std::move(peer)), m_audit(audit, m_peer) {}

bool RequestHandler::accepts(const Request& request) {
    const char* const reason = findProtocolError(request);
    if (reason != nullptr) {
        m_refusal = reason;
        m_audit.recordProtocolError(reason);
        RYNVELD_TRACE_LIMITED(m_peer, outcome, reason, "Client ", m_peer.name, " was disconnected: ", reason, ".");
        return false;
    }
    m_hasSentOpen = true;
    return true;
}

const char* RequestHandler::findProtocolError(const Request& request) const {
    const auto& record = recordOf(request);
    const auto& name = record.deviceName;
    const auto* const nameEnd = std::find(name.begin(), name.end(), '\0');
    if (!m_hasSentOpen && request.getType() != Type::Open) {
        return "its first request is not Open";
    }
    if (request.getType() > Type::Debug) {
        return "the type of a request is above 13";
    }
    if (nameEnd == name.end()) {
        return "a device name has no terminating NUL";
    }
    if (std::any_of(name.begin(), nameEnd, Common::isControlCharacter)) {
        return "a device name contains a control character";
    }
    if (request.getLength() > Rynvel::recordCapacity) {
        return "the length of a request is above 128";
    }
    return ntohl(record.byteOrder) > 1 ? "the byte order of a request is neither 0 nor 1" : nullptr;
}

Response RequestHandler::handle(const Request& request) {
    Response response;
    m_currentPolicy.update(m_policy);
    const Refusal refusal = m_audit.isOn() ? serveAudited(request, response) : serve(request, response);
    return refusal == nullptr ? response : refuse(request, refusal);
}

// Keeps the device open until the end of this function, because the request may release the device and its mutex.
RequestHandler::Refusal RequestHandler::serveAudited(const Request& request, Response& response) {
    const std::shared_ptr<ServedDevice> device = m_device;
    const auto order = RequestAudit::keepOrder(request, device.get());
    const Refusal refusal = m_audit.permits(request) ? serve(request, response) : noAudit;
    return m_audit.record(request, response, refusal) || refusal != nullptr ? refusal : noAudit;
}

Response RequestHandler::recordAndRefuse(const Request& request, const char* reason) {
    m_audit.record(request, {}, reason);
    return refuse(request, reason);
}

Response RequestHandler::refuse(const Request& request, const char* reason) {
    m_refusal = reason;
    RYNVELD_TRACE_LIMITED(m_peer, life, reason, "Request of type ", static_cast<std::uint32_t>(request.getType()),
                          " from ", m_peer.name, " for \"", printableAscii(request.getDeviceName()),
                          "\" refused: ", reason, ".");
    Response response;
    response.setResult(ResponseData::Result::Error);
    return response;
}

RequestHandler::Refusal RequestHandler::serve(const Request& request, Response& response) {
    const std::string name = request.getDeviceName();
    if (request.getType() == Type::Open) {
        return open(name);
    }
    if (!m_device || name != m_name) {
        return "the connection has not opened the device";
    }
    if (!m_policy->serves(name)) {
        return "the device is no longer served";
    }
    return serveOpened(request, response);
}

RequestHandler::Refusal RequestHandler::serveOpened(const Request& request, Response& response) {
    if (m_policy->isReadOnly(m_name) && changesDevice(request.getType())) {
        return m_policy->readOnly ? "the server is read-only" : "the device is read-only";
    }
    switch (request.getType()) {
    case Type::Open:
        break;
    case Type::Close:
        close();
        return nullptr;
    case Type::Read8:
        return read(request, 8, response);
    case Type::Read16:
        return read(request, 16, response);
    case Type::Read32:
        return read(request, 32, response);
    case Type::Write8:
        return write(request, 8);
    case Type::Write16:
        return write(request, 16);
    case Type::Write32:
        return write(request, 32);
    case Type::Ioctl:
        return ioctl(request, response);
    case Type::GetInterruptType:
        return getInterruptType(response);
    case Type::EnableInterrupt:
        return enableInterrupt();
    case Type::DisableInterrupt:
        return disableInterrupt();
    case Type::WaitForInterrupt:
        return waitForInterrupt();
    case Type::Debug:
        return raiseInterrupt(request);
    }
    return "the request type is unknown";
}

bool RequestHandler::changesDevice(Type type) const {
    switch (type) {
    case Type::Close:
    case Type::Read8:
    case Type::Read16:
    case Type::Read32:
    case Type::GetInterruptType:
        return false;
    default:
        return true;
    }
}

// Refuses the request after an exception, for instance when memory is exhausted. Otherwise, the exception would end the
// connection.
RequestHandler::Refusal RequestHandler::open(const std::string& name) {
    if (name.empty()) {
        return "the device name is empty";
    }
    std::string reason;
    std::shared_ptr<ServedDevice> device;
    try {
        device = m_devices.open(name, reason);
    } catch (const std::exception& exception) {
        reason = exception.what();
    }
    if (!device) {
        RYNVELD_TRACE_LIMITED(m_peer, outcome, "open", "Device \"", printableAscii(name), "\" cannot be opened for ",
                              m_peer.name, ": ", reason, ".");
        return "the device cannot be opened";
    }
    m_name = name;
    m_device = device;
    return nullptr;
}

RequestHandler::Refusal RequestHandler::outcomeOf(AccessResult result) const {
    if (result == AccessResult::BusError) {
        count(m_device->counts().busErrors);
    }
    return refusalOf(result);
}

RequestHandler::Refusal RequestHandler::read(const Request& request, unsigned int width, Response& response) {
    auto& registers = m_device->registers();
    const std::uint32_t items = request.getLength();
    if (registers.width() != width) {
        return otherWidth(registers.width());
    }
    if (items == 0) {
        return "the length of the read is 0";
    }
    std::array<std::uint32_t, Rynvel::recordCapacity> values{};
    const AccessResult result =
        items == 1 ? registers.read(request.getAddress(), values[0])
                   : registers.read(request.getAddress(), values.data(), items, request.getByteOrder());
    for (std::uint32_t i = 0; i < items; ++i) {
        response.addValue(values[i]);
    }
    return outcomeOf(result);
}

RequestHandler::Refusal RequestHandler::write(const Request& request, unsigned int width) {
    auto& registers = m_device->registers();
    const std::uint32_t items = request.getLength();
    const std::uint32_t bitmask = request.getBitmask();
    if (registers.width() != width) {
        return otherWidth(registers.width());
    }
    if (bitmask != 0 && items != 1) {
        return "a masked write must have one value";
    }
    m_audit.beforeWrite(*m_device, m_name, request, *m_policy);
    if (bitmask != 0) {
        return outcomeOf(registers.write(request.getAddress(), request.getValue(), bitmask));
    }
    if (items == 0) {
        return nullptr;
    }
    if (items == 1) {
        return outcomeOf(registers.write(request.getAddress(), request.getValue()));
    }
    std::array<std::uint32_t, Rynvel::recordCapacity> values{};
    for (std::uint32_t i = 0; i < items; ++i) {
        values[i] = request.getValue(i);
    }
    return outcomeOf(registers.write(request.getAddress(), values.data(), items, request.getByteOrder()));
}

RequestHandler::Refusal RequestHandler::ioctl(const Request& request, Response& response) {
    const std::uint32_t command = request.getCommand();
    if (m_policy->ioctls.count(command) == 0) {
        return "the ioctl command is not allowed";
    }
    const int result = m_device->device().ioctl(static_cast<int>(command), request.getValue());
    response.addValue(static_cast<std::uint32_t>(result));
    return refusalUnless(result != -1);
}

RequestHandler::Refusal RequestHandler::getInterruptType(Response& response) {
    unsigned long type = 0;
    const bool success = m_device->device().getInterruptType(&type);
    response.addValue(static_cast<std::uint32_t>(type));
    return refusalUnless(success);
}

RequestHandler::Refusal RequestHandler::enableInterrupt() { return refusalUnless(m_device->waiter().enable()); }

RequestHandler::Refusal RequestHandler::disableInterrupt() { return refusalUnless(m_device->waiter().disable()); }

// Only checks the device. The session arms the connection afterwards.
RequestHandler::Refusal RequestHandler::waitForInterrupt() {
    return m_device->hasInterrupts() ? nullptr : "the device has no interrupts";
}

RequestHandler::Refusal RequestHandler::raiseInterrupt(const Request& request) {
    if (m_device->simulatedInterrupt() == nullptr) {
        return "only a simulated interrupt can be raised";
    }
    m_device->simulatedInterrupt()->raise(request.getLength() == 0 ? std::optional<std::uint32_t>()
                                                                   : std::optional<std::uint32_t>(request.getValue()));
    return nullptr;
}

} // namespace Rynveld
