// SPDX-License-Identifier: MIT
#include "SocketFile.h"

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "Descriptor.h"

namespace Rynveld {

namespace {

[[noreturn]] void failAt(const std::string& path, const std::string& operation) {
    throw std::system_error(errno, std::generic_category(), path + ": " + operation);
}

sockaddr_un socketAddressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

/** Returns whether the file is a socket on which no server listens. */
bool isAbandoned(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) {
        return false;
    }
    const sockaddr_un address = socketAddressOf(path);
    const Common::Descriptor client(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return ::connect(client.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == -1 &&
           errno == ECONNREFUSED;
}

} // namespace

SocketFile::SocketFile(int socket, LocalAddress address) : m_address(std::move(address)) {
    if (isAbandoned(m_address.path)) {
        ::unlink(m_address.path.c_str());
    }
    bind(socket);
    try {
        setAccess();
    } catch (...) {
        ::unlink(m_address.path.c_str());
        throw;
    }
}

SocketFile::~SocketFile() { ::unlink(m_address.path.c_str()); }

// Until the file has its group and its permissions, only the user of the server may use it.
void SocketFile::bind(int socket) const {
    const sockaddr_un address = socketAddressOf(m_address.path);
    const mode_t mask = ::umask(S_IXUSR | S_IRWXG | S_IRWXO);
    const int result = ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    const int error = errno;
    ::umask(mask);
    errno = error;
    if (result != 0) {
        failAt(m_address.path, "cannot listen");
    }
}

void SocketFile::setAccess() const {
    constexpr auto sameUser = static_cast<uid_t>(-1);
    if (m_address.group && ::chown(m_address.path.c_str(), sameUser, *m_address.group) != 0) {
        failAt(m_address.path, "cannot set the group");
    }
    if (::chmod(m_address.path.c_str(), m_address.mode) != 0) {
        failAt(m_address.path, "cannot set the permissions");
    }
}

} // namespace Rynveld
