// SPDX-License-Identifier: MIT
#include "SocketFile.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
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

/** Locks the folder of a path while the object exists, so that only one server at a time replaces or removes a file. */
class FolderLock {
public:
    explicit FolderLock(const std::string& path)
        : m_folder(::open(std::filesystem::path(path).parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (m_folder.isOpen()) {
            ::flock(m_folder.number(), LOCK_EX);
        }
    }

private:
    const Common::Descriptor m_folder;
};

} // namespace

SocketFile::SocketFile(int socket, LocalAddress address) : m_address(std::move(address)) {
    const FolderLock lock(m_address.path);
    if (isAbandoned(m_address.path)) {
        ::unlink(m_address.path.c_str());
    }
    bind(socket);
    try {
        setAccess();
        if (::listen(socket, SOMAXCONN) != 0) {
            failAt(m_address.path, "cannot listen");
        }
    } catch (...) {
        remove();
        throw;
    }
}

SocketFile::~SocketFile() {
    const FolderLock lock(m_address.path);
    remove();
}

// The umask lets only the user of the server connect until setAccess() has set the group and the permissions.
void SocketFile::bind(int socket) {
    const sockaddr_un address = socketAddressOf(m_address.path);
    const mode_t mask = ::umask(S_IXUSR | S_IRWXG | S_IRWXO);
    const int result = ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    const int error = errno;
    ::umask(mask);
    errno = error;
    if (result != 0) {
        failAt(m_address.path, "cannot listen");
    }
    m_file = Common::Descriptor(::open(m_address.path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

// Uses the descriptor, which designates the socket file even if a symbolic link has replaced the file at the path.
void SocketFile::setAccess() const {
    constexpr auto sameUser = static_cast<uid_t>(-1);
    if (m_address.group && ::fchownat(m_file.number(), "", sameUser, *m_address.group, AT_EMPTY_PATH) != 0) {
        failAt(m_address.path, "cannot set the group");
    }
    const std::string file = "/proc/self/fd/" + std::to_string(m_file.number());
    if (::chmod(file.c_str(), m_address.mode) != 0) {
        failAt(m_address.path, "cannot set the permissions");
    }
}

// Another server may have replaced the file since this server stopped listening.
void SocketFile::remove() const {
    struct stat own {};
    struct stat present {};
    if (::fstat(m_file.number(), &own) == 0 && ::lstat(m_address.path.c_str(), &present) == 0 &&
        own.st_dev == present.st_dev && own.st_ino == present.st_ino) {
        ::unlink(m_address.path.c_str());
    }
}

} // namespace Rynveld
