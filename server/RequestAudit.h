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

/** The audit of a server, and what it contains. */
struct AuditContext {
    /** Null if the server has no audit. */
    Audit* audit = nullptr;
    /** Whether a line contains the values before and after a write. */
    bool withOldValues = false;
};

/** Returns the members of a line that name the client. */
AuditLine clientOf(const Peer& peer);

/**
 * Records the requests of one connection. A request is recorded if it opens or changes a device, and if it is refused.
 * Threads: one at a time.
 */
class RequestAudit {
public:
    RequestAudit(const AuditContext& context, const Peer& peer);

    bool isOn() const { return m_context.audit != nullptr; }

    /** Keeps the lines of a device in the order of its operations, until the result is destroyed. */
    static std::unique_lock<std::mutex> keepOrder(const Rynvel::Request& request, ServedDevice* device);

    /** Returns whether the request may be carried out: it changes no device, or the audit can be written. */
    bool permits(const Rynvel::Request& request);

    /** Reads the registers that a write changes. Call it before the write. */
    void beforeWrite(ServedDevice& device, const std::string& name, const Rynvel::Request& request,
                     const Policy& policy);

    /**
     * Records a request that was carried out, if its type is recorded, or that was refused for a reason.
     *
     * @return whether the server may report to the client that the request was carried out.
     */
    bool record(const Rynvel::Request& request, const Rynvel::Response& response, const char* refusal);

    /** Records that the connection ends because the client does not follow the protocol. */
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
    /** The members that the lines of one type of request and one device share. */
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
