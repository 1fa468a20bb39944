/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The file of a local socket.
 */
#ifndef RYNVELD_SOCKETFILE_H
#define RYNVELD_SOCKETFILE_H

#include "Descriptor.h"
#include "Options.h"

namespace Rynveld {

/** The file of a local socket. The destructor removes the file, unless another file has replaced it. */
class SocketFile {
public:
    /**
     * Binds a socket to a new file, and listens on the socket. Replaces the file of a server that has ended without
     * removing it. Waits while another server with a file in the same folder starts or ends.
     *
     * @param socket an unbound local socket.
     * @throws std::system_error if another server uses the file, or if the file cannot be created with its permissions
     * and its group. what() begins with the path.
     */
    SocketFile(int socket, LocalAddress address);
    SocketFile(const SocketFile&) = delete;
    SocketFile& operator=(const SocketFile&) = delete;
    ~SocketFile();

private:
    void bind(int socket);
    void setAccess() const;
    void remove() const;

    const LocalAddress m_address;
    /** A descriptor of the socket file. While the descriptor is open, no other file can have the same inode number. */
    Common::Descriptor m_file;
};

} // namespace Rynveld

#endif
