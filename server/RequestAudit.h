/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The lines of one connection in the audit.
 */
#ifndef RYNVELD_REQUESTAUDIT_H
#define RYNVELD_REQUESTAUDIT_H

#include <rynvel.hpp>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Audit.h"
#include "CurrentPolicy.h"
#include "ServedDevices.h"
#include "TraceLimit.h"
#include "UnreadableRegisters.h"

namespace Rynveld {

/** The audit of a server, and what its lines contain. */
struct AuditContext {
    /** Null if the server has no audit. */
    Audit* audit = nullptr;
    /** Whether the line of a write contains the values of the registers before and after the write. */
    bool withOldValues = false;
};

/** Returns the members of a line that identify the client. */
AuditLine clientOf(const Peer& peer);

/**
 * Records the requests of one connection that open or change a device, and those that the server refuses.
 * Threads: one at a time.
 */
class RequestAudit {
public:
    RequestAudit(const AuditContext& context, const Peer& peer);

    bool isOn() const { return m_context.audit != nullptr; }

    /**
     * Locks a mutex of the device for a write, or for a request that enables or disables the interrupt. Keep the lock
     * until the line is recorded, so that the lines are in the order of the operations. Locks nothing for any other
     * request.
     */
    static std::unique_lock<std::mutex> keepOrder(const Rynvel::Request& request, ServedDevice* device);

    /** Returns whether the server may carry out the request: it does not change a device, or the audit permits changes.
     */
    bool permits(const Rynvel::Request& request);

    /**
     * Reads the registers that a write changes, if the audit records old values and the register map allows the read.
     * Call this function before the write.
     */
    void beforeWrite(ServedDevice& device, const std::string& name, const Rynvel::Request& request,
                     const Policy& policy);

    /**
     * Records a request that was carried out, if its type is recorded, or that was refused for a reason.
     *
     * @return whether the server may report to the client that the request was carried out.
     */
    bool record(const Rynvel::Request& request, const Rynvel::Response& response, const char* refusal);

    /** Records that the server ends the connection because the client does not follow the protocol. */
    void recordProtocolError(const char* reason);

private:
    bool readsOldValues(ServedDevice& device, const std::string& name, const Rynvel::Request& request,
                        const Policy& policy);
    void addWrite(const Rynvel::Request& request, bool isDone);
    void addOldValues(const Rynvel::Request& request, const std::uint32_t* values);

    const AuditContext m_context;
    /** The members that all lines of the connection share. */
    const std::string m_client;
    AuditLine& beginLine(Rynvel::RequestData::Type type, const std::string& name);

    /** The line of the current request. */
    AuditLine m_line;
    /** The members that all lines for m_typeOfBeginning and m_nameOfBeginning share. */
    std::string m_beginning;
    std::optional<Rynvel::RequestData::Type> m_typeOfBeginning;
    std::string m_nameOfBeginning;
    /** The values before the current write; empty if they were not read. */
    std::vector<std::uint32_t> m_old;
    /** The device to which m_unreadableRegisters belongs. */
    std::string m_describedDevice;
    std::optional<UnreadableRegisters> m_unreadableRegisters;
};

} // namespace Rynveld

#endif
