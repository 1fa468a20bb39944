/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The file of a local socket.
 */
#ifndef RYNVELD_SOCKETFILE_H
#define RYNVELD_SOCKETFILE_H

#include "Options.h"

namespace Rynveld {

/** The file of a local socket. It exists as long as this object. */
class SocketFile {
public:
    /**
     * Binds a socket to a new file. Replaces the file of a server that has ended without removing it.
     *
     * @param socket an unbound local socket, on which nobody listens yet.
     * @throws std::system_error if another server uses the file, or if the file cannot be created with its permissions
     * and its group. what() begins with the path.
     */
    SocketFile(int socket, LocalAddress address);
    SocketFile(const SocketFile&) = delete;
    SocketFile& operator=(const SocketFile&) = delete;
    ~SocketFile();

private:
    void bind(int socket) const;
    void setAccess() const;

    const LocalAddress m_address;
};

} // namespace Rynveld

#endif
