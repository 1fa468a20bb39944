/* SPDX-License-Identifier: MIT */
/**
 * @file
 * A device that a program has opened.
 */
#ifndef RYNVEL_PYTHON_OPENDEVICE_H
#define RYNVEL_PYTHON_OPENDEVICE_H

#include <rynvel.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Deadline.h"
#include "DeviceTypeInfo.h"

namespace RynvelPython {

/** The properties of a device that do not change while it is open. */
struct DeviceProperties {
    std::string name;
    /** The properties of the device type; for a remote device, of the type on its server. */
    Common::DeviceTypeInfo type;
    /** The server of a remote device, as HOST::PORT; empty for a device of this machine. */
    std::string server;
    /** The number of registers that an address can select. */
    std::uint64_t registerCount;
    /** Whether the size of the map determines `registerCount`. Otherwise, 32-bit addresses determine it. */
    bool hasMap;
    /** Whether the unit of an address is known. If it is not, only register 0 can be used. */
    bool isUnitKnown;

    unsigned int bytes() const { return type.width / 8; }
};

/**
 * A device of this machine or of a server. The functions throw an OperationError for each failure, and a PythonError if
 * a signal handler ends them. An address must be in the unit of the device, and inside the device.
 *
 * Threads: any number of threads may use registers. Interrupts are for one thread at a time.
 */
class OpenDevice {
public:
    OpenDevice() = default;
    OpenDevice(const OpenDevice&) = delete;
    OpenDevice& operator=(const OpenDevice&) = delete;
    virtual ~OpenDevice() = default;

    const DeviceProperties& properties() const { return m_properties; }

    /** Returns whether an operation on a single register may take longer than a load or a store. */
    virtual bool mayBlock() const = 0;

    virtual std::uint32_t read(std::uint32_t address) = 0;
    virtual void write(std::uint32_t address, std::uint32_t value) = 0;
    virtual void write(std::uint32_t address, std::uint32_t value, std::uint32_t mask) = 0;

    /** Returns the maximum number of registers in a call of readInto() or writeFrom(). */
    virtual std::uint32_t maxItems() const = 0;
    /** Reads a burst into memory with the layout of an array of registers. */
    virtual void readInto(std::uint32_t address, void* registers, std::uint32_t items, bool isReversed) = 0;
    /** Writes a burst from memory with the layout of an array of registers. */
    virtual void writeFrom(std::uint32_t address, const void* registers, std::uint32_t items, bool isReversed) = 0;

    /** Prepares to receive interrupts. @return the descriptor to poll. */
    virtual int prepareInterrupts() = 0;
    virtual void enableInterrupts() = 0;
    virtual void disableInterrupts() = 0;
    /** Undoes prepareInterrupts(), even if prepareInterrupts() has failed. */
    virtual void releaseInterrupts() = 0;
    /** Returns the interrupt word when the descriptor is ready; none if there is no interrupt after all. */
    virtual std::optional<std::uint32_t> receiveInterrupt() = 0;

protected:
    void setProperties(DeviceProperties properties) { m_properties = std::move(properties); }

private:
    DeviceProperties m_properties{};
};

/** The arguments with which a program opens a device. */
struct OpenRequest {
    std::string name;
    /** The address of the server; none for a device of the device table. */
    std::optional<std::string> server;
    /** The type of the device on its server; none for the type in the device table. */
    std::optional<std::string> type;
    /** The time-out for each answer from the server. */
    std::chrono::milliseconds timeout;
};

constexpr std::chrono::seconds defaultAnswerTimeout(5);

/**
 * Prepares the process and the calling thread for bus errors. Call this function while you hold the GIL (global
 * interpreter lock), before openDevice(). A mutex instead of the GIL could stay locked forever in a forked child.
 */
void installBusErrorGuard();

/**
 * Calls installBusErrorGuard() again, because the program may have replaced the handler or blocked the signal. Does so
 * in the first call of a thread, in the first call after installBusErrorGuard(), and then once in 256 calls, because
 * the system calls take longer than the access to a register.
 */
void refreshBusErrorGuard();

/** Opens a device. May block. @throws OperationError or PythonError */
std::shared_ptr<OpenDevice> openDevice(const OpenRequest& request);

/** Returns the device of a row of this machine. @throws OperationError */
std::shared_ptr<OpenDevice> openLocal(const Rynvel::MemoryDevice& row, const Common::DeviceTypeInfo& type);

/**
 * Returns a remote device.
 *
 * @param isTypeKnown whether `type` is the type on the server. Otherwise, only its width is used.
 * @throws OperationError or PythonError
 */
std::shared_ptr<OpenDevice> openRemote(const std::string& name, const std::string& server,
                                       const Common::DeviceTypeInfo& type, bool isTypeKnown,
                                       std::chrono::milliseconds timeout);

/** Returns whether bursts must transfer single registers, because the library's bursts fail for the device type. */
inline bool hasOnlySingleTransfers(const Common::DeviceTypeInfo& type) {
    return type.access == Common::AccessMethod::Seekable && type.width > 8;
}

/** Returns the number of registers that 32-bit addresses can select. */
inline std::uint64_t addressableRegisters(const Common::DeviceTypeInfo& type) {
    return (std::uint64_t{UINT32_MAX} + 1) / (type.width / 8);
}

/** Copies the value of register `index` to or from an array of registers with this width in bits. */
void storeRegister(void* registers, std::uint32_t index, unsigned int width, std::uint32_t value, bool isReversed);
std::uint32_t loadRegister(const void* registers, std::uint32_t index, unsigned int width, bool isReversed);

} // namespace RynvelPython

#endif
