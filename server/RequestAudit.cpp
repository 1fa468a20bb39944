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
    /** The width of the registers; 0 if the operation does not access registers. */
    unsigned int width;
};

/** Returns the operation of a type, which accepts() has checked. */
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

std::vector<std::uint32_t> valuesIn(const Request& request) {
    std::vector<std::uint32_t> values(request.getLength());
    for (std::uint32_t i = 0; i < values.size(); ++i) {
        values[i] = request.getValue(i);
    }
    return values;
}

/** Returns the offset of the register at an address of the device, in bytes. */
std::uint64_t offsetOf(const Common::DeviceTypeInfo& type, std::uint32_t address) {
    return std::uint64_t{address} / type.addressStride * Common::bytesOf(type.width);
}

void addRegisters(AuditLine& line, const Request& request) {
    const std::uint32_t count = request.getLength();
    line.add("width", operationOf(request.getType()).width).add("address", request.getAddress()).add("count", count);
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
      m_client(isOn() ? AuditLine().add("connection", context.audit->nextConnection()).members() + ',' +
                            clientOf(peer).members()
                      : "") {}

// A request for interrupts may wait for an interrupt, and the interrupt may need a write. An ioctl request may take any
// time. Therefore, neither of them keeps writes waiting.
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
    if (!m_readEffects || m_describedDevice != name) {
        m_readEffects.emplace(policy.descriptions.find(name));
        m_describedDevice = name;
    }
    const Common::DeviceTypeInfo& type = device.type();
    const std::uint64_t size = std::uint64_t{request.getLength()} * Common::bytesOf(type.width);
    return !m_readEffects->overlap(offsetOf(type, request.getAddress()), size);
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

void RequestAudit::addOldValues(AuditLine& line, const Request& request, const std::vector<std::uint32_t>& values) {
    if (m_old.empty()) {
        line.addNull("old").addNull("new");
        return;
    }
    line.add("old", m_old.data(), m_old.size());
    if (request.getBitmask() == 0) {
        line.add("new", values.data(), values.size());
    } else {
        const std::uint32_t changed = Rynvel::replaceBits(m_old[0], values[0], request.getBitmask());
        line.add("new", &changed, 1);
    }
}

void RequestAudit::addWrite(AuditLine& line, const Request& request, bool isDone) {
    addRegisters(line, request);
    const std::vector<std::uint32_t> values = valuesIn(request);
    line.add("values", values.data(), values.size());
    if (request.getBitmask() != 0) {
        line.add("mask", request.getBitmask());
    }
    if (m_context.withOldValues && isDone) {
        addOldValues(line, request, values);
    }
}

bool RequestAudit::record(const Request& request, const Rynvel::Response& response, const char* refusal) {
    const Type type = request.getType();
    const bool isDone = refusal == nullptr;
    if (!isOn() || (isDone && type != Type::Open && !changesADevice(type))) {
        return true;
    }
    AuditLine line(m_client);
    line.add("operation", operationOf(type).name).add("device", request.getDeviceName());
    if (isWrite(type)) {
        addWrite(line, request, isDone);
    } else if (operationOf(type).width != 0) {
        addRegisters(line, request);
    } else if (type == Type::Ioctl) {
        addIoctl(line, request, response, isDone);
    } else if (type == Type::Debug && request.getLength() > 0) {
        line.add("word", request.getValue());
    }
    line.add("result", isDone ? "done" : "error");
    if (!isDone) {
        line.add("reason", refusal);
    }
    return m_context.audit->record(line) || !changesADevice(type);
}

void RequestAudit::recordProtocolError(const char* reason) {
    if (isOn()) {
        AuditLine line(m_client);
        m_context.audit->record(line.add("operation", "disconnect").add("result", "error").add("reason", reason));
    }
}

} // namespace Rynveld
