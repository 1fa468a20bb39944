// SPDX-License-Identifier: MIT
#include "RegisterDevice.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "BusErrorGuard.h"
#include "DeviceTypeInfo.h"
#include "RegisterWord.h"

namespace Common {

namespace {

template <typename T>
class WidthAdapter final : public RegisterDevice {
public:
    WidthAdapter(std::unique_ptr<Rynvel::Device<T>> device, AccessMutex* mutex, std::optional<std::uint32_t> mapSize)
        : m_device(std::move(device)), m_mutex(mutex), m_mapSize(mapSize) {}

    unsigned int width() const override { return widthOf<T>; }
    Rynvel::IDevice& device() override { return *m_device; }

    AccessResult read(std::uint32_t address, std::uint32_t& value) override {
        T data = 0;
        const AccessResult result = access(address, 1, [&] { return m_device->read(address, &data); });
        if (result == AccessResult::Success) {
            value = data;
        }
        return result;
    }

    AccessResult write(std::uint32_t address, std::uint32_t value) override {
        if (!fits(value)) {
            return AccessResult::TooWide;
        }
        return access(address, 1, [&] { return m_device->write(address, static_cast<T>(value)); });
    }

    AccessResult write(std::uint32_t address, std::uint32_t value, std::uint32_t bitmask) override {
        if (!fits(value) || !fits(bitmask)) {
            return AccessResult::TooWide;
        }
        return access(address, 1,
                      [&] { return m_device->write(address, static_cast<T>(value), static_cast<T>(bitmask)); });
    }

    AccessResult read(std::uint32_t address, std::uint32_t* values, std::uint32_t items,
                      Rynvel::ByteOrder order) override {
        if (!isInside(address, items)) {
            return AccessResult::OutOfRange;
        }
        std::vector<T> data(items);
        const AccessResult result =
            access(address, items, [&] { return m_device->read(address, data.data(), items, order); });
        if (result == AccessResult::Success) {
            std::copy(data.begin(), data.end(), values);
        }
        return result;
    }

    AccessResult write(std::uint32_t address, const std::uint32_t* values, std::uint32_t items,
                       Rynvel::ByteOrder order) override {
        if (!std::all_of(values, values + items, fits)) {
            return AccessResult::TooWide;
        }
        const std::vector<T> data(values, values + items);
        return access(address, items, [&] { return m_device->write(address, data.data(), items, order); });
    }

    AccessResult readInto(std::uint32_t address, void* registers, std::uint32_t items,
                          Rynvel::ByteOrder order) override {
        return access(address, items,
                      [&] { return m_device->read(address, static_cast<T*>(registers), items, order); });
    }

    AccessResult writeFrom(std::uint32_t address, const void* registers, std::uint32_t items,
                           Rynvel::ByteOrder order) override {
        return access(address, items,
                      [&] { return m_device->write(address, static_cast<const T*>(registers), items, order); });
    }

private:
    static bool fits(std::uint32_t value) { return value <= maxValue(widthOf<T>); }

    bool isInside(std::uint32_t address, std::uint32_t items) const {
        return !m_mapSize || std::uint64_t{address} + items <= *m_mapSize / sizeof(T);
    }

    template <typename Function>
    AccessResult access(std::uint32_t address, std::uint32_t items, const Function& operation) {
        if (!isInside(address, items)) {
            return AccessResult::OutOfRange;
        }
        bool success = false;
        const bool isComplete = BusErrorGuard::run([&] { success = operation(); });
        if (m_mutex != nullptr) {
            m_mutex->endAccess();
        }
        if (!isComplete) {
            return AccessResult::BusError;
        }
        return success ? AccessResult::Success : AccessResult::Failed;
    }

    const std::unique_ptr<Rynvel::Device<T>> m_device;
    AccessMutex* const m_mutex;
    const std::optional<std::uint32_t> m_mapSize;
};

template <typename T>
std::unique_ptr<RegisterDevice> openAs(const Rynvel::MemoryDevice& row, std::optional<std::uint32_t> mapSize) {
    auto mutex = std::make_unique<AccessMutex>(std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None));
    AccessMutex* const lock = mutex.get();
    auto device = Rynvel::Factory::getInstance().createDevice(row, std::move(mutex));
    auto* const typed = dynamic_cast<Rynvel::Device<T>*>(device.release());
    return wrap(std::unique_ptr<Rynvel::Device<T>>(typed), lock, mapSize);
}

} // namespace

template <typename T>
std::unique_ptr<RegisterDevice> wrap(std::unique_ptr<Rynvel::Device<T>> device, AccessMutex* mutex,
                                     std::optional<std::uint32_t> mapSize) {
    return std::make_unique<WidthAdapter<T>>(std::move(device), mutex, mapSize);
}

template std::unique_ptr<RegisterDevice> wrap(std::unique_ptr<Rynvel::Device8>, AccessMutex*,
                                              std::optional<std::uint32_t>);
template std::unique_ptr<RegisterDevice> wrap(std::unique_ptr<Rynvel::Device16>, AccessMutex*,
                                              std::optional<std::uint32_t>);
template std::unique_ptr<RegisterDevice> wrap(std::unique_ptr<Rynvel::Device32>, AccessMutex*,
                                              std::optional<std::uint32_t>);

std::unique_ptr<RegisterDevice> open(const Rynvel::MemoryDevice& row, std::optional<std::uint32_t> mapSize) {
    const DeviceTypeInfo* const type = findDeviceTypeInfo(row.m_type);
    if (type == nullptr) {
        return nullptr;
    }
    return withRegisterType(type->width, [&](auto zero) { return openAs<decltype(zero)>(row, mapSize); });
}

} // namespace Common
