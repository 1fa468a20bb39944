// SPDX-License-Identifier: MIT
#include "FileReplacement.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Descriptor.h"
#include "Failure.h"
#include "TerminationSignals.h"

namespace Rynvelctl {

namespace {

constexpr mode_t newFileMode = 0666;
constexpr mode_t ownerOnlyMode = 0600;
// The mask excludes the set-user-ID and set-group-ID bits, because the new contents must not run with the rights of the
// owner or group.
constexpr mode_t permissions = 0777;
constexpr mode_t groupPermissions = 0070;

Failure lastError(const std::string& name) { return {ExitStatus::Failed, name + ": " + std::strerror(errno)}; }

/** Blocks the termination signals, so that the process leaves no temporary file. */
class DelayedSignals {
public:
    DelayedSignals() {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int number : terminationSignals) {
            sigaddset(&signals, number);
        }
        ::pthread_sigmask(SIG_BLOCK, &signals, &m_before);
    }
    DelayedSignals(const DelayedSignals&) = delete;
    DelayedSignals& operator=(const DelayedSignals&) = delete;
    ~DelayedSignals() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

private:
    sigset_t m_before{};
};

std::string folderOf(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? "." : name.substr(0, slash + 1);
}

/** A new file, which the destructor removes unless replace() has succeeded. */
class TemporaryFile {
public:
    /**
     * @param name the file to replace; the new file is in the same folder.
     * @param mode the permissions at the creation of the new file.
     */
    TemporaryFile(const std::string& name, mode_t mode) : m_name(name), m_folder(folderOf(name)) {
        for (int number = 0; !m_file.isOpen(); ++number) {
            m_path = m_folder + "/.rynvelctl." + std::to_string(::getpid()) + '.' + std::to_string(number);
            m_file = Common::Descriptor(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
            if (!m_file.isOpen() && errno != EEXIST) {
                throw lastError(m_name);
            }
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!m_hasReplaced) {
            ::unlink(m_path.c_str());
        }
    }

    /**
     * Sets the owner and the group of the file, as far as the user may do so.
     *
     * @return whether the file has the group.
     */
    bool setOwner(uid_t owner, gid_t group) const {
        constexpr auto sameOwner = static_cast<uid_t>(-1);
        return ::fchown(m_file.number(), owner, group) == 0 || ::fchown(m_file.number(), sameOwner, group) == 0;
    }

    void setMode(mode_t mode) const { require(::fchmod(m_file.number(), mode & permissions) == 0); }

    void write(std::string_view contents) const {
        while (!contents.empty()) {
            const ssize_t count = ::write(m_file.number(), contents.data(), contents.size());
            require(count >= 0 || errno == EINTR);
            contents.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
        }
        require(::fsync(m_file.number()) == 0);
    }

    void replace() {
        require(::rename(m_path.c_str(), m_name.c_str()) == 0);
        m_hasReplaced = true;
        // Ignores a failure, because not every file system can synchronize a folder, and the new file is complete
        // anyway.
        const Common::Descriptor folder(::open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        ::fsync(folder.number());
    }

private:
    void require(bool success) const {
        if (!success) {
            throw lastError(m_name);
        }
    }

    const std::string& m_name;
    const std::string m_folder;
    std::string m_path;
    Common::Descriptor m_file;
    bool m_hasReplaced = false;
};

/**
 * Checks that the user may remove a file from its folder: with the sticky bit, only the owner of the file or of the
 * folder may do so. rmdir() never removes a file, but it fails with ENOTDIR only after the system has checked the
 * permission.
 */
void requireRemovable(const std::string& file) {
    if (::rmdir(file.c_str()) != 0 && errno != ENOTDIR) {
        throw lastError(file);
    }
}

void requireRegularFile(const std::string& name, mode_t mode) {
    if (S_ISDIR(mode)) {
        throw usageError(name + ": " + std::strerror(EISDIR));
    }
    if (S_ISLNK(mode)) {
        throw usageError(name + ": the file is a symbolic link (give the name of the file itself)");
    }
    if (!S_ISREG(mode)) {
        throw usageError(name + ": the file is not a regular file (- is standard output)");
    }
    if (::faccessat(AT_FDCWD, name.c_str(), W_OK, AT_EACCESS) != 0) {
        throw lastError(name);
    }
}

/** Returns the state of the file to replace; none if it does not exist. */
std::optional<struct stat> findReplaced(const std::string& name) {
    struct stat file {};
    if (::lstat(name.c_str(), &file) == 0) {
        requireRegularFile(name, file.st_mode);
        return file;
    }
    if (errno != ENOENT) {
        throw lastError(name);
    }
    return std::nullopt;
}

} // namespace

void requireReplaceable(const std::string& name) {
    if (findReplaced(name)) {
        requireRemovable(name);
    }
    const DelayedSignals signals;
    const TemporaryFile trial(name, ownerOnlyMode);
}

void replaceFile(const std::string& name, const std::string& contents) {
    const auto replaced = findReplaced(name);
    const DelayedSignals signals;
    // A user who may not read the replaced file must not be able to open the new one before it has its permissions.
    TemporaryFile file(name, replaced ? ownerOnlyMode : newFileMode);
    if (replaced) {
        const bool hasGroup = file.setOwner(replaced->st_uid, replaced->st_gid);
        // If the new file has another group, that group must not get the permissions of the replaced file's group.
        file.setMode(hasGroup ? replaced->st_mode : replaced->st_mode & ~groupPermissions);
    }
    file.write(contents);
    file.replace();
}

} // namespace Rynvelctl
