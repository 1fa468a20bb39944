// SPDX-License-Identifier: MIT
#include "RequestAudit.h"

#include <algorithm>
#include <array>
#include <utility>

#include "RegisterValue.h"
#include "RegisterWord.h"

namespace Rynveld {

using Rynvel::Request;
using Type = Rynvel::RequestData::Type;

namespace {

struct Operation {
    const char* name;
    /** The width of the registers in bits; 0 if the operation does not access registers. */
    unsigned int width;
};

/** Returns the operation of a request type. RequestHandler::accepts() must have accepted the type. */
const Operation& operationOf(Type type) {
    static constexpr std::array<Operation, 14> operations{{{"open", 0},
                                                           {"close", 0},
                                                           {"read", 8},
                                                           {"read", 16},
                                                           {"read", 32},
                                                           {"write", 8},
                                                           {"write", 16},
                                                           {"write", 32},
                                                           {"ioctl", 0},
                                                           {"get-interrupt-type", 0},
                                                           {"enable-interrupt", 0},
                                                           {"disable-interrupt", 0},
                                                           {"wait-for-interrupt", 0},
                                                           {"raise-interrupt", 0}}};
    return operations.at(static_cast<std::size_t>(type));
}

bool isWrite(Type type) { return type == Type::Write8 || type == Type::Write16 || type == Type::Write32; }

bool isForInterrupts(Type type) { return type == Type::EnableInterrupt || type == Type::DisableInterrupt; }

bool changesADevice(Type type) {
    return isWrite(type) || isForInterrupts(type) || type == Type::Ioctl || type == Type::Debug;
}

/** Returns the offset of the register at an address of the device, in bytes. */
std::uint64_t offsetOf(const Common::DeviceTypeInfo& type, std::uint32_t address) {
    return std::uint64_t{address} / type.addressStride * Common::bytesOf(type.width);
}

void addRegisters(AuditLine& line, const Request& request) {
    const std::uint32_t count = request.getLength();
    line.add("address", request.getAddress()).add("count", count);
    if (count > 1) {
        line.add("order", request.getByteOrder() == Rynvel::ByteOrder::Network ? "network" : "host");
    }
}

void addIoctl(AuditLine& line, const Request& request, const Rynvel::Response& response, bool isDone) {
    line.add("command", request.getCommand()).add("argument", request.getValue());
    if (isDone) {
        line.add("answer", response.getValue());
    }
}

} // namespace

AuditLine clientOf(const Peer& peer) {
    AuditLine line;
    line.add("peer", peer.name);
    if (peer.process) {
        line.add("process", static_cast<std::uint64_t>(peer.process->pid)).add("user", peer.process->uid);
    }
    return line;
}

RequestAudit::RequestAudit(const AuditContext& context, const Peer& peer)
    : m_context(context),
      m_client(isOn() ? clientOf(peer).add("connection", context.audit->nextConnection()).members() : "") {}

// Enabling or disabling the interrupt may block until an interrupt arrives, which may require a write. An ioctl request
// may block for any time. Writes therefore do not wait for these requests.
std::unique_lock<std::mutex> RequestAudit::keepOrder(const Request& request, ServedDevice* device) {
    if (device != nullptr && isWrite(request.getType())) {
        return std::unique_lock<std::mutex>(device->writeOrder());
    }
    if (device != nullptr && isForInterrupts(request.getType())) {
        return std::unique_lock<std::mutex>(device->interruptOrder());
    }
    return {};
}

bool RequestAudit::permits(const Request& request) {
    m_old.clear();
    return !changesADevice(request.getType()) || m_context.audit->permitsChanges();
}

bool RequestAudit::readsOldValues(ServedDevice& device, const std::string& name, const Request& request,
                                  const Policy& policy) {
    if (!isOn() || !m_context.withOldValues || request.getLength() == 0) {
        return false;
    }
    if (!m_unreadableRegisters || m_describedDevice != name) {
        m_unreadableRegisters.emplace(policy.descriptions.find(name));
        m_describedDevice = name;
    }
    const Common::DeviceTypeInfo& type = device.type();
    const std::uint64_t size = std::uint64_t{request.getLength()} * Common::bytesOf(type.width);
    return !m_unreadableRegisters->overlap(offsetOf(type, request.getAddress()), size);
}

void RequestAudit::beforeWrite(ServedDevice& device, const std::string& name, const Request& request,
                               const Policy& policy) {
    if (!readsOldValues(device, name, request, policy)) {
        return;
    }
    auto& registers = device.registers();
    std::vector<std::uint32_t> values(request.getLength());
    const Common::AccessResult result =
        values.size() == 1
            ? registers.read(request.getAddress(), values[0])
            : registers.read(request.getAddress(), values.data(), request.getLength(), request.getByteOrder());
    if (result == Common::AccessResult::Success) {
        m_old = std::move(values);
    }
}

void RequestAudit::addOldValues(const Request& request, const std::uint32_t* values) {
    if (m_old.empty()) {
        m_line.addNull("old").addNull("new");
        return;
    }
    m_line.add("old", m_old.data(), m_old.size());
    if (request.getBitmask() == 0) {
        m_line.add("new", values, request.getLength());
    } else {
        const std::uint32_t changed = Rynvel::replaceBits(m_old[0], values[0], request.getBitmask());
        m_line.add("new", &changed, 1);
    }
}

void RequestAudit::addWrite(const Request& request, bool isDone) {
    addRegisters(m_line, request);
    std::array<std::uint32_t, Rynvel::recordCapacity> values;
    for (std::uint32_t i = 0; i < request.getLength(); ++i) {
        values[i] = request.getValue(i);
    }
    m_line.add("values", values.data(), request.getLength());
    if (request.getBitmask() != 0) {
        m_line.add("mask", request.getBitmask());
    }
    if (m_context.withOldValues && isDone) {
        addOldValues(request, values.data());
    }
}

// Reuses the beginning of the previous line, because successive requests usually have the same type and device.
AuditLine& RequestAudit::beginLine(Type type, const std::string& name) {
    if (type != m_typeOfBeginning || name != m_nameOfBeginning) {
        const Operation& operation = operationOf(type);
        m_line.restart(m_client).add("operation", operation.name).add("device", name);
        if (operation.width != 0) {
            m_line.add("width", operation.width);
        }
        m_beginning = m_line.members();
        m_typeOfBeginning = type;
        m_nameOfBeginning = name;
    }
    return m_line.restart(m_beginning);
}

bool RequestAudit::record(const Request& request, const Rynvel::Response& response, const char* refusal) {
    const Type type = request.getType();
    const bool isDone = refusal == nullptr;
    if (!isOn() || (isDone && type != Type::Open && !changesADevice(type))) {
        return true;
    }
    beginLine(type, request.getDeviceName());
    if (isWrite(type)) {
        addWrite(request, isDone);
    } else if (operationOf(type).width != 0) {
        addRegisters(m_line, request);
    } else if (type == Type::Ioctl) {
        addIoctl(m_line, request, response, isDone);
    } else if (type == Type::Debug && request.getLength() > 0) {
        m_line.add("word", request.getValue());
    }
    m_line.add("result", isDone ? "done" : "error");
    if (!isDone) {
        m_line.add("reason", refusal);
    }
    return m_context.audit->record(m_line) || !changesADevice(type);
}

void RequestAudit::recordProtocolError(const char* reason) {
    if (isOn()) {
        m_line.restart(m_client).add("operation", "disconnect").add("result", "error").add("reason", reason);
        m_context.audit->record(m_line);
    }
}

} // namespace Rynveld
