/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The journal of systemd as the destination of the audit lines.
 */
#ifndef RYNVELD_AUDITJOURNAL_H
#define RYNVELD_AUDITJOURNAL_H

#include <chrono>
#include <string>

#include "AuditSink.h"
#include "Descriptor.h"

namespace Rynveld {

/** Sends each line to the socket of systemd-journald, as a message with the field RYNVELD_AUDIT=1. */
class AuditJournal : public AuditSink {
public:
    static constexpr std::chrono::milliseconds defaultTimeout{1000};

    /** @param timeout the longest time for which write() waits while the queue of the journal's socket is full. */
    explicit AuditJournal(std::string path = "/run/systemd/journal/socket",
                          std::chrono::milliseconds timeout = defaultTimeout);

    std::string name() const override { return "journal"; }
    int write(const std::string& line) override;

private:
    int connect();
    int send(const std::string& message);

    const std::string m_path;
    const std::chrono::milliseconds m_timeout;
    Common::Descriptor m_socket;
    /** Whether the latest message could not be sent. write() then does not wait again. */
    bool m_isStuck = false;
};

} // namespace Rynveld

#endif
