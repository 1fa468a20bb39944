// SPDX-License-Identifier: MIT
#include "rynvel.h"
#include "rynvel/Factory.h"
#include "rynvel/FpgaSpi32.h"
#include "rynvel/Lseek.h"
#include "rynvel/PthreadMutex.h"
#include "rynvel/Remote.h"
#include "rynvel/Tyvon.h"
#include "rynvel/TyvonInterrupt.h"
#include "rynvel/Uio.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <type_traits>
#include <utility>

#include "RynvelAssert.h"
#include "RynvelTrace.h"

namespace Rynvel {

namespace {

const std::array memoryDevices{
#include RYNVEL_DEVICE_ROWS
};

int findRow(const std::string& logicalDevName) {
    const auto* const row = std::find_if(memoryDevices.begin(), memoryDevices.end(),
                                         [&](const MemoryDevice& device) { return device.m_name == logicalDevName; });
    return row == memoryDevices.end() ? -1 : static_cast<int>(std::distance(memoryDevices.begin(), row));
}

// Returns a new backend. If the register type of the backend is not T, returns null and does not move from the
// arguments.
template <typename T, typename Backend, typename... Arguments>
std::unique_ptr<Device<T>> make(Arguments&&... arguments) {
    if constexpr (std::is_base_of_v<Device<T>, Backend>) {
        return std::make_unique<Backend>(std::forward<Arguments>(arguments)...);
    } else {
        return nullptr;
    }
}

// Returns the device that the row describes. If the device type is unknown, or if its register type is not T, returns
// null and does not move from the mutex.
template <typename T>
std::unique_ptr<Device<T>> build(const MemoryDevice& row, std::unique_ptr<IMutex>& mutex) {
    const std::string& path = row.m_devicePath;
    switch (row.m_type) {
    case DeviceType::Lseek8:
        return make<T, Lseek<std::uint8_t>>(path, std::move(mutex));
    case DeviceType::Lseek16:
        return make<T, Lseek<std::uint16_t>>(path, std::move(mutex));
    case DeviceType::Lseek32:
        return make<T, Lseek<std::uint32_t>>(path, std::move(mutex));
    case DeviceType::Uio16:
        return make<T, Uio<std::uint16_t>>(path, std::move(mutex), false);
    case DeviceType::Uio32:
        return make<T, Uio<std::uint32_t>>(path, std::move(mutex), false);
    case DeviceType::FpgaSpi32:
        return make<T, FpgaSpi32>(path, std::move(mutex), row.m_parameter);
    case DeviceType::Tyvon16:
        return make<T, Tyvon<std::uint16_t>>(path, 0, row.m_parameter, std::move(mutex), false);
    case DeviceType::Tyvon32:
        return make<T, Tyvon<std::uint32_t>>(path, 0, row.m_parameter, std::move(mutex), false);
    case DeviceType::TyvonInterrupt16:
        return make<T, TyvonInterrupt<std::uint16_t>>(path, std::move(mutex));
    case DeviceType::TyvonInterrupt32:
        return make<T, TyvonInterrupt<std::uint32_t>>(path, std::move(mutex));
    case DeviceType::Remote8:
        return make<T, Remote<std::uint8_t>>(row.m_name, path, std::move(mutex));
    case DeviceType::Remote16:
        return make<T, Remote<std::uint16_t>>(row.m_name, path, std::move(mutex));
    case DeviceType::Remote32:
        return make<T, Remote<std::uint32_t>>(row.m_name, path, std::move(mutex));
    }
    // A row that a program defines may contain any number as the device type.
    return nullptr;
}

std::unique_ptr<IDevice> buildAnyWidth(const MemoryDevice& row, std::unique_ptr<IMutex>& mutex) {
    if (auto device = build<std::uint8_t>(row, mutex)) {
        return device;
    }
    if (auto device = build<std::uint16_t>(row, mutex)) {
        return device;
    }
    return build<std::uint32_t>(row, mutex);
}

} // namespace

Factory::OpenedDevice Factory::m_openedDevices[memoryDevices.size()];
std::mutex Factory::m_rynvelListMutex;
ZilTrace Factory::m_trace("Rynvel.Factory", channelLevel, channelHeaderOption);

Factory::Factory() : m_rynvelList(memoryDevices.size()) {}

Factory::~Factory() = default;

Factory& Factory::getInstance() {
    static Factory factory;
    return factory;
}

std::shared_ptr<IDevice> Factory::create(const std::string& logicalDevName) {
    RYNVEL_ENTER(logicalDevName);
    const int index = findMemoryDeviceIndex(logicalDevName);
    if (index == -1) {
        return nullptr;
    }
    const auto slot = static_cast<std::size_t>(index);
    const std::lock_guard<std::mutex> lock(m_rynvelListMutex);
    if (m_rynvelList[slot]) {
        RYNVEL_MESSAGE(TraceLevel::life, "Device \"", logicalDevName,
                       "\" already opened. Just return existing object.");
        return m_rynvelList[slot];
    }
    fillSlot(slot, createDevice(memoryDevices[slot], std::make_unique<PthreadMutex>(PthreadMutexType::None)));
    return m_rynvelList[slot];
}

void Factory::fillSlot(std::size_t index, std::unique_ptr<IDevice> device) {
    OpenedDevice& opened = m_openedDevices[index];
    m_rynvelList[index] = std::move(device);
    IDevice* const base = m_rynvelList[index].get();
    opened.device8 = dynamic_cast<Device8*>(base);
    opened.device16 = dynamic_cast<Device16*>(base);
    opened.device32 = dynamic_cast<Device32*>(base);
    opened.device = base;
}

int Factory::getHandle(const std::shared_ptr<IDevice>& device) const {
    const auto* const end = std::cend(m_openedDevices);
    const auto* const opened = std::find_if(std::cbegin(m_openedDevices), end, [&](const OpenedDevice& candidate) {
        return candidate.device == device.get();
    });
    return opened == end ? -1 : static_cast<int>(std::distance(std::cbegin(m_openedDevices), opened));
}

int Factory::findMemoryDeviceIndex(const std::string& logicalDevName) const {
    const int index = findRow(logicalDevName);
    if (index == -1) {
        RYNVEL_MESSAGE(TraceLevel::failure, "No match for device ", logicalDevName);
    }
    return index;
}

const MemoryDevice* Factory::findMemoryDevice(const std::string& logicalDevName) const {
    const int index = findRow(logicalDevName);
    if (index == -1) {
        RYNVEL_MESSAGE(TraceLevel::failure, "No match for device ", logicalDevName);
        return nullptr;
    }
    return &memoryDevices[static_cast<std::size_t>(index)];
}

std::unique_ptr<IDevice> Factory::createDevice(const MemoryDevice& row, std::unique_ptr<IMutex> mutex) {
    RYNVEL_TRACE_POINT(here);
    auto device = buildAnyWidth(row, mutex);
    traceOutcome(row, device != nullptr, here);
    return device;
}

template <typename T>
std::unique_ptr<Device<T>> Factory::makeUnique(const std::string& logicalDevName, std::unique_ptr<IMutex> mutex,
                                               const ZilTraceHeader& caller) {
    const MemoryDevice* const row = findMemoryDevice(logicalDevName);
    if (row == nullptr) {
        return nullptr;
    }
    auto device = build<T>(*row, mutex);
    traceOutcome(*row, device != nullptr, caller);
    return device;
}

std::unique_ptr<Device8> Factory::makeUnique8(const std::string& logicalDevName, std::unique_ptr<IMutex> mutex) {
    RYNVEL_ENTER(logicalDevName);
    RYNVEL_TRACE_POINT(here);
    return makeUnique<std::uint8_t>(logicalDevName, std::move(mutex), here);
}

std::unique_ptr<Device16> Factory::makeUnique16(const std::string& logicalDevName, std::unique_ptr<IMutex> mutex) {
    RYNVEL_ENTER(logicalDevName);
    RYNVEL_TRACE_POINT(here);
    return makeUnique<std::uint16_t>(logicalDevName, std::move(mutex), here);
}

std::unique_ptr<Device32> Factory::makeUnique32(const std::string& logicalDevName, std::unique_ptr<IMutex> mutex) {
    RYNVEL_ENTER(logicalDevName);
    RYNVEL_TRACE_POINT(here);
    return makeUnique<std::uint32_t>(logicalDevName, std::move(mutex), here);
}

// Traces the creation even if the device could not be built, because users of the traces rely on this message.
void Factory::traceOutcome(const MemoryDevice& row, bool built, const ZilTraceHeader& caller) {
    if (!built) {
        RYNVEL_MESSAGE_AT(caller, TraceLevel::failure, "Unsupported device \"", row.m_name, "\"");
    }
    RYNVEL_MESSAGE_AT(caller, TraceLevel::life, "Device \"", row.m_name, "\" created.");
}

void Factory::failAssertion(const char* expression, unsigned int line, Accessor accessor) {
    // The names are arrays, because the dynamic linker would have to relocate pointers in every process.
    static constexpr char accessors[][54]{
        "Rynvel::IDevice* Rynvel::Factory::getBackend(int)",
        "Rynvel::Device8* Rynvel::Factory::getBackend8(int)",
        "Rynvel::Device16* Rynvel::Factory::getBackend16(int)",
        "Rynvel::Device32* Rynvel::Factory::getBackend32(int)",
    };
    failAssertionAt(expression, "cppsrc/RynvelFactory", line, accessors[static_cast<std::size_t>(accessor)]);
}

const Factory::OpenedDevice& Factory::openedDevice(int handle, Accessor accessor) {
    if (handle < 0) {
        failAssertion("handle >= 0", __LINE__, accessor);
    }
    if (static_cast<std::size_t>(handle) >= memoryDevices.size()) {
        failAssertion("static_cast<size_t>(handle) < m_rynvelList.size()", __LINE__, accessor);
    }
    return m_openedDevices[handle];
}

/** The lookup of devices for the C interface. The handle must be open, and the device must have the right width. */
class HandleLookup {
public:
    static IDevice& device(int handle) { return *Factory::openedDevice(handle, Factory::Accessor::AnyWidth).device; }

    template <typename T>
    static Device<T>& deviceOf(int handle) {
        if constexpr (std::is_same_v<Device<T>, Device8>) {
            return *Factory::openedDevice(handle, Factory::Accessor::Width8).device8;
        } else if constexpr (std::is_same_v<Device<T>, Device16>) {
            return *Factory::openedDevice(handle, Factory::Accessor::Width16).device16;
        } else {
            return *Factory::openedDevice(handle, Factory::Accessor::Width32).device32;
        }
    }
};

} // namespace Rynvel

namespace {

using Rynvel::ByteOrder;
using Rynvel::Factory;
using Rynvel::HandleLookup;

int result(bool success) { return success ? 0 : -1; }

ByteOrder byteOrderOf(int flag) { return flag != 0 ? ByteOrder::Network : ByteOrder::Host; }

unsigned int toIndex16(unsigned int byteAddress) { return byteAddress >> 1U; }

unsigned int toIndex32(unsigned int byteAddress) { return byteAddress >> 2U; }

template <typename T>
int readRegister(int handle, unsigned int address, T* value) {
    return result(HandleLookup::deviceOf<T>(handle).read(address, value));
}

template <typename T>
int writeRegister(int handle, unsigned int address, T value) {
    return result(HandleLookup::deviceOf<T>(handle).write(address, value));
}

template <typename T>
int writeBitmask(int handle, unsigned int address, T data, T bitmask) {
    return result(HandleLookup::deviceOf<T>(handle).write(address, data, bitmask));
}

template <typename T>
int readBurst(int handle, unsigned int address, T* values, unsigned int items, ByteOrder byteOrder) {
    return result(HandleLookup::deviceOf<T>(handle).read(address, values, items, byteOrder));
}

template <typename T>
int writeBurst(int handle, unsigned int address, const T* values, unsigned int items, ByteOrder byteOrder) {
    return result(HandleLookup::deviceOf<T>(handle).write(address, values, items, byteOrder));
}

} // namespace

int Rynvel_open(const char* name) {
    Factory& factory = Factory::getInstance();
    const auto device = factory.create(name);
    return device ? factory.getHandle(device) : -1;
}

int Rynvel_open2(const char* name) { return Rynvel_open(name); }

void Rynvel_close(int /*handle*/) {}

int Rynvel_ioctl(int handle, int request, unsigned long argument) {
    return HandleLookup::device(handle).ioctl(request, argument);
}

int Rynvel_getInterruptType(int handle, unsigned long* type) {
    return result(HandleLookup::device(handle).getInterruptType(type));
}

int Rynvel_enableInterrupts(int handle) { return result(HandleLookup::device(handle).enableInterrupt()); }

int Rynvel_disableInterrupts(int handle) { return result(HandleLookup::device(handle).disableInterrupt()); }

int Rynvel_receiveInterrupts(int handle, unsigned long* info) {
    return result(HandleLookup::device(handle).waitForInterrupt(info));
}

int Rynvel_getFileDescriptor(int handle) { return HandleLookup::device(handle).getNativeHandle(); }

int Rynvel_read8(int handle, unsigned int address, uint8_t* value) { return readRegister(handle, address, value); }

int Rynvel2_read16(int handle, unsigned int index, uint16_t* value) { return readRegister(handle, index, value); }

int Rynvel2_read32(int handle, unsigned int index, uint32_t* value) { return readRegister(handle, index, value); }

int Rynvel_read16(int handle, unsigned int byteAddress, uint16_t* value) {
    return Rynvel2_read16(handle, toIndex16(byteAddress), value);
}

int Rynvel_read32(int handle, unsigned int byteAddress, uint32_t* value) {
    return Rynvel2_read32(handle, toIndex32(byteAddress), value);
}

int Rynvel_burstRead8(int handle, unsigned int address, uint8_t* values, unsigned int items) {
    return readBurst(handle, address, values, items, ByteOrder::Host);
}

int Rynvel2_burstRead16(int handle, unsigned int index, uint16_t* values, unsigned int items, int byteOrder) {
    return readBurst(handle, index, values, items, byteOrderOf(byteOrder));
}

int Rynvel2_burstRead32(int handle, unsigned int index, uint32_t* values, unsigned int items, int byteOrder) {
    return readBurst(handle, index, values, items, byteOrderOf(byteOrder));
}

int Rynvel_burstRead16(int handle, unsigned int byteAddress, uint16_t* values, unsigned int items, int byteOrder) {
    return Rynvel2_burstRead16(handle, toIndex16(byteAddress), values, items, byteOrder);
}

int Rynvel_burstRead32(int handle, unsigned int byteAddress, uint32_t* values, unsigned int items, int byteOrder) {
    return Rynvel2_burstRead32(handle, toIndex32(byteAddress), values, items, byteOrder);
}

int Rynvel_write8(int handle, unsigned int address, uint8_t value) { return writeRegister(handle, address, value); }

int Rynvel2_write16(int handle, unsigned int index, uint16_t value) { return writeRegister(handle, index, value); }

int Rynvel2_write32(int handle, unsigned int index, uint32_t value) { return writeRegister(handle, index, value); }

int Rynvel_write16(int handle, unsigned int byteAddress, uint16_t value) {
    return Rynvel2_write16(handle, toIndex16(byteAddress), value);
}

int Rynvel_write32(int handle, unsigned int byteAddress, uint32_t value) {
    return Rynvel2_write32(handle, toIndex32(byteAddress), value);
}

int Rynvel_burstWrite8(int handle, unsigned int address, const uint8_t* values, unsigned int items) {
    return writeBurst(handle, address, values, items, ByteOrder::Host);
}

int Rynvel2_burstWrite16(int handle, unsigned int index, const uint16_t* values, unsigned int items, int byteOrder) {
    return writeBurst(handle, index, values, items, byteOrderOf(byteOrder));
}

int Rynvel2_burstWrite32(int handle, unsigned int index, const uint32_t* values, unsigned int items, int byteOrder) {
    return writeBurst(handle, index, values, items, byteOrderOf(byteOrder));
}

int Rynvel_burstWrite16(int handle, unsigned int byteAddress, const uint16_t* values, unsigned int items,
                        int byteOrder) {
    return Rynvel2_burstWrite16(handle, toIndex16(byteAddress), values, items, byteOrder);
}

int Rynvel_burstWrite32(int handle, unsigned int byteAddress, const uint32_t* values, unsigned int items,
                        int byteOrder) {
    return Rynvel2_burstWrite32(handle, toIndex32(byteAddress), values, items, byteOrder);
}

int Rynvel_writeBitmask8(int handle, unsigned int address, uint8_t data, uint8_t bitmask) {
    return writeBitmask(handle, address, data, bitmask);
}

int Rynvel2_writeBitmask16(int handle, unsigned int index, uint16_t data, uint16_t bitmask) {
    return writeBitmask(handle, index, data, bitmask);
}

int Rynvel2_writeBitmask32(int handle, unsigned int index, uint32_t data, uint32_t bitmask) {
    return writeBitmask(handle, index, data, bitmask);
}

int Rynvel_writeBitmask16(int handle, unsigned int byteAddress, uint16_t data, uint16_t bitmask) {
    return Rynvel2_writeBitmask16(handle, toIndex16(byteAddress), data, bitmask);
}

int Rynvel_writeBitmask32(int handle, unsigned int byteAddress, uint32_t data, uint32_t bitmask) {
    return Rynvel2_writeBitmask32(handle, toIndex32(byteAddress), data, bitmask);
}
