/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Handles the requests of one connection.
 */
#ifndef RYNVELD_REQUESTHANDLER_H
#define RYNVELD_REQUESTHANDLER_H

#include <rynvel.hpp>

#include <memory>
#include <string>

#include "CurrentPolicy.h"
#include "RequestAudit.h"
#include "ServedDevices.h"
#include "TraceLimit.h"

namespace Rynveld {

/**
 * Returns the text with a "?" in place of each character that is not printable ASCII. Otherwise, received text could
 * forge a trace.
 */
std::string printableAscii(std::string text);

/**
 * Handles the requests of one connection, whatever they contain. If a request cannot be carried out, answers with Error
 * and traces the reason. docs/protocol.md defines the rules. Threads: one at a time.
 */
class RequestHandler {
public:
    RequestHandler(ServedDevices& devices, const CurrentPolicy& policy, Peer peer, const AuditContext& audit = {});

    /**
     * Returns whether the next record of the connection is a request that the protocol allows. If it is not, for
     * instance because it is a part of an HTTP request, traces the reason. The caller must then close the connection
     * without a response.
     */
    bool accepts(const Rynvel::Request& request);
    /** Carries out a request that accepts() has accepted, and returns the response. */
    Rynvel::Response handle(const Rynvel::Request& request);
    /** Refuses a request: records and traces the reason, and returns a response with Error. */
    Rynvel::Response recordAndRefuse(const Rynvel::Request& request, const char* reason);

    /** Returns the reason of the last refusal, a string literal; null if this object has not refused a request. */
    const char* refusal() const { return m_refusal; }

    /** Releases the device that this connection has opened, if any. */
    void close() { m_device.reset(); }

    /** Returns the open device of this connection; null if there is none. */
    const std::shared_ptr<ServedDevice>& device() const { return m_device; }
    /** Returns the name of the device that this connection opened last. */
    const std::string& deviceName() const { return m_name; }

private:
    /** The reason for the refusal of a request; null if the request has been carried out. */
    using Refusal = const char*;

    const char* findProtocolError(const Rynvel::Request& request) const;
    Refusal outcomeOf(Common::AccessResult result) const;
    Rynvel::Response refuse(const Rynvel::Request& request, const char* reason);
    Refusal serveAudited(const Rynvel::Request& request, Rynvel::Response& response);
    Refusal serve(const Rynvel::Request& request, Rynvel::Response& response);
    Refusal serveOpened(const Rynvel::Request& request, Rynvel::Response& response);
    Refusal open(const std::string& name);
    Refusal read(const Rynvel::Request& request, unsigned int width, Rynvel::Response& response);
    Refusal write(const Rynvel::Request& request, unsigned int width);
    Refusal ioctl(const Rynvel::Request& request, Rynvel::Response& response);
    Refusal getInterruptType(Rynvel::Response& response);
    Refusal enableInterrupt();
    Refusal disableInterrupt();
    Refusal waitForInterrupt();
    Refusal raiseInterrupt(const Rynvel::Request& request);
    bool changesDevice(Rynvel::RequestData::Type type) const;

    ServedDevices& m_devices;
    const CurrentPolicy& m_currentPolicy;
    /** The policy for the current request. */
    std::shared_ptr<const Policy> m_policy;
    const Peer m_peer;
    RequestAudit m_audit;
    /** Whether the client has sent Open, which must be its first request. */
    bool m_hasSentOpen = false;
    const char* m_refusal = nullptr;
    std::string m_name;
    std::shared_ptr<ServedDevice> m_device;
};

} // namespace Rynveld

#endif
