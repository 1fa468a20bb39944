// SPDX-License-Identifier: MIT
#include <array>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

#include "Errors.h"
#include "Interpreter.h"
#include "OpenDevice.h"
#include "RemoteDevice.h"

namespace RynvelPython {

namespace {

using Common::ExchangeError;

/** The use of a connection by one thread at a time. */
struct Usage {
    std::mutex mutex;
    std::condition_variable ended;
    /** The work of the thread that uses the connection; null if none does. */
    const UnlockedWork* user = nullptr;
};

/** A lock that a signal handler of the program can interrupt. */
class InterruptibleLock {
public:
    InterruptibleLock(Usage& usage, const std::string& label) : m_usage(usage) {
        std::unique_lock<std::mutex> lock(usage.mutex);
        UnlockedWork::waitUntil(usage.ended, lock, [&] {
            requireEndOf(usage.user, label);
            return usage.user == nullptr;
        });
        usage.user = UnlockedWork::current();
    }
    InterruptibleLock(const InterruptibleLock&) = delete;
    InterruptibleLock& operator=(const InterruptibleLock&) = delete;
    ~InterruptibleLock() {
        const std::lock_guard<std::mutex> lock(m_usage.mutex);
        m_usage.user = nullptr;
        m_usage.ended.notify_one();
    }

private:
    /** @throws OperationError if a wait for the user would not end. */
    static void requireEndOf(const UnlockedWork* user, const std::string& label) {
        if (user == nullptr) {
            return;
        }
        if (user->isOfThisThread()) {
            throw OperationError(ErrorKind::InUse, label + ": a signal handler uses the device during an operation");
        }
        if (user->isLost()) {
            throw OperationError(ErrorKind::InUse,
                                 label + ": the interpreter ends during an operation of another thread");
        }
    }

    Usage& m_usage;
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
    // The first member, because its return type must be deduced before other functions use it.
    template <typename Operation>
    auto exchange(const Operation& operation) {
        const InterruptibleLock lock(m_usage, label());
        return call(label(), operation);
    }

public:
    RemoteDeviceOnServer(const Common::ServerAddress& server, DeviceProperties properties,
                         std::chrono::milliseconds timeout)
        : m_device(call(properties.name + '@' + properties.server, [&] {
              return Common::RemoteDevice(
                  server, properties.name, properties.type.width, [timeout] { return Common::Deadline(timeout); },
                  UnlockedWork::checkSignals);
          })) {
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

    int prepareInterrupts() override {
        return exchange([&] { return m_device.arm(); });
    }

    void enableInterrupts() override {
        exchange([&] { m_device.enableInterrupt(); });
    }

    void disableInterrupts() override {
        exchange([&] { m_device.disableInterrupt(); });
    }

    void releaseInterrupts() override { m_device.disarm(); }

    // Does not lock the connection for requests, because the interrupts have a connection of their own. Does not wait
    // for the rest of a record, because the caller waits until its own deadline. During a wait in this function, a
    // signal handler could close the device and destroy the connection.
    std::optional<std::uint32_t> receiveInterrupt() override {
        return call(label(), [&] { return m_device.takeInterrupt(); });
    }

private:
    std::string label() const { return properties().name + '@' + properties().server; }

    Common::RemoteDevice m_device;
    /** Serializes the requests. */
    Usage m_usage;
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
