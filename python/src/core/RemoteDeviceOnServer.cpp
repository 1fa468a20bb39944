// SPDX-License-Identifier: MIT
#include <array>
#include <atomic>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <sys/socket.h>

#include "Errors.h"
#include "Interpreter.h"
#include "OpenDevice.h"
#include "RemoteDevice.h"

namespace RynvelPython {

namespace {

using Common::ExchangeError;

/** A mutex that knows its owner. */
struct OwnedMutex {
    std::timed_mutex mutex;
    std::atomic<std::thread::id> owner{};
};

/** A lock that a signal handler of the program can interrupt. */
class InterruptibleLock {
public:
    InterruptibleLock(OwnedMutex& mutex, const std::string& label)
        : m_mutex(mutex), m_lock(mutex.mutex, std::defer_lock) {
        if (mutex.owner == std::this_thread::get_id()) {
            throw OperationError(ErrorKind::InUse, label + ": a signal handler uses the device during an operation");
        }
        constexpr std::chrono::milliseconds checkInterval(100);
        while (!m_lock.try_lock_for(checkInterval)) {
            UnlockedWork::checkSignals();
        }
        m_mutex.owner = std::this_thread::get_id();
    }
    InterruptibleLock(const InterruptibleLock&) = delete;
    InterruptibleLock& operator=(const InterruptibleLock&) = delete;
    ~InterruptibleLock() { m_mutex.owner = std::thread::id(); }

private:
    OwnedMutex& m_mutex;
    std::unique_lock<std::timed_mutex> m_lock;
};

ErrorKind kindOf(ExchangeError::Cause cause) {
    switch (cause) {
    case ExchangeError::Cause::TimedOut:
        return ErrorKind::Timeout;
    case ExchangeError::Cause::NotServed:
    case ExchangeError::Cause::Refused:
        return ErrorKind::Refused;
    default:
        return ErrorKind::ConnectionLost;
    }
}

/** Calls an operation that exchanges records with a server. @throws OperationError instead of an ExchangeError */
template <typename Operation>
auto call(const std::string& label, const Operation& operation) {
    try {
        return operation();
    } catch (const ExchangeError& error) {
        throw OperationError(kindOf(error.cause()), label + ": " + error.what());
    }
}

class RemoteDeviceOnServer final : public OpenDevice {
    // The functions below deduce their types from the result of this one.
    template <typename Operation>
    auto exchange(const Operation& operation) {
        const InterruptibleLock lock(m_mutex, label());
        return call(label(), operation);
    }

public:
    RemoteDeviceOnServer(const Common::ServerAddress& server, DeviceProperties properties,
                         std::chrono::milliseconds timeout)
        : m_device(call(properties.name + '@' + properties.server,
                        [&] {
                            return Common::RemoteDevice(
                                server, properties.name, properties.type.width,
                                [timeout] { return Common::Deadline(timeout); }, UnlockedWork::checkSignals);
                        })),
          m_timeout(timeout) {
        setProperties(std::move(properties));
    }

    bool mayBlock() const override { return true; }

    std::uint32_t read(std::uint32_t address) override {
        return exchange([&] { return m_device.read(address); });
    }

    void write(std::uint32_t address, std::uint32_t value) override {
        exchange([&] { m_device.write(address, value); });
    }

    void write(std::uint32_t address, std::uint32_t value, std::uint32_t mask) override {
        exchange([&] { m_device.write(address, value, mask); });
    }

    std::uint32_t maxItems() const override {
        return hasOnlySingleTransfers(properties().type) ? 1 : Rynvel::recordCapacity;
    }

    void readInto(std::uint32_t address, void* registers, std::uint32_t items, bool isReversed) override {
        const auto values = exchange([&] { return m_device.read(address, items, Rynvel::ByteOrder::Host); });
        for (std::uint32_t i = 0; i < items; ++i) {
            storeRegister(registers, i, properties().type.width, values[i], isReversed);
        }
    }

    void writeFrom(std::uint32_t address, const void* registers, std::uint32_t items, bool isReversed) override {
        std::array<std::uint32_t, Rynvel::recordCapacity> values{};
        for (std::uint32_t i = 0; i < items; ++i) {
            values[i] = loadRegister(registers, i, properties().type.width, isReversed);
        }
        exchange([&] { m_device.write(address, values.data(), items); });
    }

    // With this limit, poll() reports the socket as readable only when a whole record has arrived, or when the
    // connection has ended. A server that is silent in the middle of a record cannot block the receiver.
    int prepareInterrupts() override {
        return exchange([&] {
            const int socket = m_device.arm();
            const int recordSize = sizeof(std::uint32_t);
            ::setsockopt(socket, SOL_SOCKET, SO_RCVLOWAT, &recordSize, sizeof(recordSize));
            return socket;
        });
    }

    void enableInterrupts() override {
        exchange([&] { m_device.enableInterrupt(); });
    }

    void disableInterrupts() override {
        exchange([&] { m_device.disableInterrupt(); });
    }

    void releaseInterrupts() override { m_device.disarm(); }

    // Does not lock the mutex, because the interrupts have a connection of their own.
    std::optional<std::uint32_t> receiveInterrupt() override {
        return call(label(), [&] { return m_device.receiveInterrupt(Common::Deadline(m_timeout)); });
    }

private:
    std::string label() const { return properties().name + '@' + properties().server; }

    Common::RemoteDevice m_device;
    const std::chrono::milliseconds m_timeout;
    /** Serializes the requests. */
    OwnedMutex m_mutex;
};

Common::ServerAddress parse(const std::string& text) {
    try {
        return Common::parseServerAddress(text);
    } catch (const Common::ServerAddressError& error) {
        throw OperationError(ErrorKind::Value, error.what());
    }
}

} // namespace

std::shared_ptr<OpenDevice> openRemote(const std::string& name, const std::string& server,
                                       const Common::DeviceTypeInfo& type, bool isTypeKnown,
                                       std::chrono::milliseconds timeout) {
    const Common::ServerAddress address = parse(server);
    return std::make_shared<RemoteDeviceOnServer>(
        address, DeviceProperties{name, type, Common::textOf(address), addressableRegisters(type), false, isTypeKnown},
        timeout);
}

} // namespace RynvelPython
