/**
 * @file
 * What the server answers to the requests of one connection.
 */
#ifndef RYNVELD_REQUESTHANDLER_H
#define RYNVELD_REQUESTHANDLER_H

#include <memory>
#include <string>

#include <rynvel.hpp>

#include "Policy.h"
#include "ServedDevices.h"
#include "TraceLimit.h"

namespace Rynveld {

/** What came from outside, with nothing in it that could be taken for something else in a trace. */
std::string printable(std::string text);

/**
 * Serves the requests of one connection, whatever they hold: what cannot be done is answered with Error and traced.
 * docs/protocol.md has the rules. Threads: one at a time.
 */
class RequestHandler {
public:
    RequestHandler(ServedDevices& devices, const Policy& policy, Peer peer);

    /**
     * Whether the next record of the connection can come from a client of the protocol. When it cannot, as the body of
     * an HTTP request does not, the connection is to be closed without an answer; the reason is traced.
     */
    bool accepts(const Rynvel::Request& request);
    /** Answers a request that was accepted. */
    Rynvel::Response handle(const Rynvel::Request& request);
    /** Answers with Error and traces the reason. */
    Rynvel::Response refuse(const Rynvel::Request& request, const char* reason);

    /** Lets go of the device that this connection has open, if any. */
    void close() { m_device.reset(); }

    /** The device that this connection has open; null when there is none. */
    const std::shared_ptr<ServedDevice>& device() const { return m_device; }
    /** The name of the device that this connection has opened last. */
    const std::string& deviceName() const { return m_name; }

private:
    /** Null when the request has been done, else why it is refused. */
    using Refusal = const char*;

    const char* findProtocolError(const Rynvel::Request& request) const;
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
    const Policy& m_policy;
    const Peer m_peer;
    /** Whether the connection has begun with an Open. */
    bool m_hasSentOpen = false;
    std::string m_name;
    std::shared_ptr<ServedDevice> m_device;
};

} // namespace Rynveld

#endif
