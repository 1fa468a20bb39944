// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <array>
#include <cerrno>
#include <set>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "PlainMutex.h"
#include "RecordingMutex.h"
#include "ScriptedOs.h"
#include "StoredResults.h"
#include "TraceRecorder.h"

// These tests use a library whose device table is TestDeviceRows.inc. A device that create() opens stays open until its
// process ends, so tests that call create() run in child processes.

namespace {

using namespace Rynvel;
using namespace RynvelTest;

Factory& factory() { return Factory::getInstance(); }

TEST(Factory, IsOneObjectThatCannotBeCopied) {
    EXPECT_EQ(&Factory::getInstance(), &Factory::getInstance());
    EXPECT_FALSE(std::is_copy_constructible_v<Factory>);
    EXPECT_FALSE(std::is_default_constructible_v<Factory>);
}

TEST(Factory, OpensADeviceOnce) {
    inChildProcess([] {
        ScriptedOs os;
        const auto first = factory().create("lseek8");
        ASSERT_NE(first, nullptr);
        EXPECT_EQ(first->getDevName(), "/dev/lseek8");
        EXPECT_EQ(factory().create("lseek8"), first);
        EXPECT_EQ(os.log(), EventLog{"open(/dev/lseek8, 2)"});
    });
}

TEST(Factory, TracesThatTheSecondOpenFindsTheDevice) {
    inChildProcess([] {
        ScriptedOs os;
        const TraceRecorder recorder(6, "Rynvel.Factory");
        factory().create("lseek8");
        factory().create("lseek8");
        EXPECT_EQ(
            recorder.lines(),
            (EventLog{"Rynvel.Factory 6 create ENTER logicalDevName=lseek8",
                      "Rynvel.Factory 4 createDevice: Device \"lseek8\" created.",
                      "Rynvel.Factory 6 create ENTER logicalDevName=lseek8",
                      "Rynvel.Factory 4 create: Device \"lseek8\" already opened. Just return existing object."}));
        EXPECT_EQ(recorder.traces().front().file, "cppsrc/RynvelFactory");
        EXPECT_EQ(recorder.traces().front().option, 256);
    });
}

TEST(Factory, CreatesAPlainMutexForEachDevice) {
    inChildProcess([] {
        ScriptedOs os;
        const TraceRecorder recorder(6, "Rynvel.PthreadMutex");
        factory().create("lseek8");
        factory().create("lseek16");
        factory().create("lseek8");
        EXPECT_EQ(recorder.lines(),
                  (EventLog{"Rynvel.PthreadMutex 6 PthreadMutex ENTER", "Rynvel.PthreadMutex 6 PthreadMutex ENTER"}));
    });
}

TEST(Factory, KeepsWhatItOpenedWhenTheCallerReleasesIt) {
    inChildProcess([] {
        ScriptedOs os;
        EXPECT_EQ(factory().create("lseek8").use_count(), 2);
        EXPECT_EQ(os.log(), EventLog{"open(/dev/lseek8, 2)"});
    });
}

TEST(Factory, ReturnsAnEmptyPointerAndTracesOneMessageForAnUnknownName) {
    const TraceRecorder recorder(5);
    EXPECT_EQ(factory().create("lseek"), nullptr);
    EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.Factory 1 findMemoryDeviceIndex: No match for device lseek"});
}

TEST(Factory, FindsRowsByNameAndTracesAMissAtLevelOne) {
    const TraceRecorder recorder(7);
    EXPECT_EQ(factory().findMemoryDeviceIndex("lseek32"), 2);
    EXPECT_EQ(factory().findMemoryDevice("lseek32")->m_devicePath, "/dev/lseek32");
    EXPECT_EQ(recorder.lines(), EventLog{});
    EXPECT_EQ(factory().findMemoryDeviceIndex("x"), -1);
    EXPECT_EQ(factory().findMemoryDevice("y z"), nullptr);
    EXPECT_EQ(recorder.lines(), (EventLog{"Rynvel.Factory 1 findMemoryDeviceIndex: No match for device x",
                                          "Rynvel.Factory 1 findMemoryDevice: No match for device y z"}));
}

TEST(Factory, ReportsAnUnsupportedTypeAsUnsupportedAndAsCreatedAndTriesAgainTheNextTime) {
    const TraceRecorder recorder(4);
    EXPECT_EQ(factory().create("unsupported"), nullptr);
    EXPECT_EQ(factory().getBackend(3), nullptr);
    EXPECT_EQ(factory().create("unsupported"), nullptr);
    const EventLog once{"Rynvel.Factory 1 createDevice: Unsupported device \"unsupported\"",
                        "Rynvel.Factory 4 createDevice: Device \"unsupported\" created."};
    EXPECT_EQ(recorder.lines(), (EventLog{once[0], once[1], once[0], once[1]}));
}

TEST(Factory, FreesTheMutexOfADeviceThatItCannotBuild) {
    EventLog log;
    const MemoryDevice row{"x", "/dev/x", 0, static_cast<DeviceType>(0xFFFFFFFF)};
    EXPECT_EQ(factory().createDevice(row, std::make_unique<RecordingMutex>(log)), nullptr);
    EXPECT_EQ(log, EventLog{"mutex destroyed"});
}

TEST(Factory, BuildsTheDevicesOfARowThatTheProgramWrote) {
    for (const auto& [type, readCall] : {std::pair(DeviceType::Lseek8, "read(7, 1)"),
                                         {DeviceType::Lseek16, "read(7, 2)"},
                                         {DeviceType::Lseek32, "read(7, 4)"}}) {
        ScriptedOs os;
        const TraceRecorder recorder(4);
        const MemoryDevice row{"own", "/dev/own", 0, type};
        const auto device = factory().createDevice(row, std::make_unique<RecordingMutex>(os.log()));
        ASSERT_NE(device, nullptr);
        if (auto* device8 = dynamic_cast<Device8*>(device.get())) {
            readFrom(*device8);
        } else if (auto* device16 = dynamic_cast<Device16*>(device.get())) {
            readFrom(*device16);
        } else if (auto* device32 = dynamic_cast<Device32*>(device.get())) {
            readFrom(*device32);
        }
        EXPECT_EQ(os.log(), (EventLog{"open(/dev/own, 2)", "lock", "lseek(7, 0, 0)", readCall, "unlock"}));
        EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.Factory 4 createDevice: Device \"own\" created."});
        EXPECT_EQ(factory().getHandle(std::shared_ptr<IDevice>(device.get(), [](IDevice*) {})), -1);
    }
}

/**
 * A row of the device table of the tests, with the class of its device and the calls that constructing the device
 * makes.
 */
struct Backend {
    const char* name;
    int width;
    bool (*isOfItsClass)(const IDevice*);
    EventLog construction;
};

template <typename Class>
bool isOf(const IDevice* device) {
    return dynamic_cast<const Class*>(device) != nullptr;
}

EventLog uioConstruction(const std::string& path) {
    EventLog log;
    for (const std::string attribute : {"offset", "size"}) {
        log.push_back("readlink(" + path + ", 4095)");
        log.push_back("open(/sys/class/uio/uio0/maps/map0/" + attribute + ", 0)");
        log.emplace_back("read(8, 19)");
        log.emplace_back("close(8)");
    }
    log.push_back("open(" + path + ", 2)");
    log.emplace_back("mmap(0, 2048, 3, 1, 7, 0)");
    return log;
}

const std::vector<Backend>& backends() {
    static const std::vector<Backend> all{
        {"lseek8", 8, isOf<Lseek<std::uint8_t>>, {"open(/dev/lseek8, 2)"}},
        {"lseek16", 16, isOf<Lseek<std::uint16_t>>, {"open(/dev/lseek16, 2)"}},
        {"lseek32", 32, isOf<Lseek<std::uint32_t>>, {"open(/dev/lseek32, 2)"}},
        {"uio16", 16, isOf<Uio<std::uint16_t>>, uioConstruction("/dev/uio16")},
        {"uio32", 32, isOf<Uio<std::uint32_t>>, uioConstruction("/dev/uio32")},
        {"fpga", 32, isOf<FpgaSpi32>, {"open(/dev/fpga, 2)"}},
        {"tyvon16", 16, isOf<Tyvon<std::uint16_t>>, {"open(/dev/tyvon16, 2)", "mmap(0, 4096, 3, 1, 7, 0)"}},
        {"tyvon32", 32, isOf<Tyvon<std::uint32_t>>, {"open(/dev/tyvon32, 2)", "mmap(0, 4096, 3, 1, 7, 0)"}},
        {"tyvonInterrupt16", 16, isOf<TyvonInterrupt<std::uint16_t>>, {"open(/dev/tyvonInterrupt16, 2)"}},
        {"tyvonInterrupt32", 32, isOf<TyvonInterrupt<std::uint32_t>>, {"open(/dev/tyvonInterrupt32, 2)"}},
    };
    return all;
}

void addUioDevice(ScriptedOs& os) {
    os.files = {{"/sys/class/uio/uio0/maps/map0/offset", "0"}, {"/sys/class/uio/uio0/maps/map0/size", "2048"}};
}

TEST(Factory, BuildsTheBackendOfEveryTypeFromItsRow) {
    for (const Backend& backend : backends()) {
        ScriptedOs os;
        addUioDevice(os);
        const auto device = factory().createDevice(*factory().findMemoryDevice(backend.name), plainMutex());
        ASSERT_NE(device, nullptr) << backend.name;
        EXPECT_TRUE(backend.isOfItsClass(device.get())) << backend.name;
        EXPECT_EQ(device->getDevName(), std::string("/dev/") + backend.name);
        EXPECT_EQ(os.log(), backend.construction) << backend.name;
    }
}

TEST(Factory, MakesPrivateDevicesOfTheRequestedWidthOnly) {
    for (const Backend& backend : backends()) {
        ScriptedOs os;
        addUioDevice(os);
        const TraceRecorder recorder(0);
        const auto device8 = factory().makeUnique8(backend.name, plainMutex());
        const auto device16 = factory().makeUnique16(backend.name, plainMutex());
        const auto device32 = factory().makeUnique32(backend.name, plainMutex());
        EXPECT_EQ(device8 != nullptr, backend.width == 8) << backend.name;
        EXPECT_EQ(device16 != nullptr, backend.width == 16) << backend.name;
        EXPECT_EQ(device32 != nullptr, backend.width == 32) << backend.name;
        EXPECT_TRUE(backend.isOfItsClass(device8.get()) || backend.isOfItsClass(device16.get()) ||
                    backend.isOfItsClass(device32.get()))
            << backend.name;
        EXPECT_EQ(os.log(), backend.construction) << backend.name;
    }
}

TEST(Factory, PassesTheParameterOfTheRowToFpgaSpi32AsBlockOffset) {
    ScriptedOs os;
    const TraceRecorder recorder(6, "Rynvel.FpgaSpi");
    const auto device = factory().makeUnique32("fpga", plainMutex());
    EXPECT_EQ(recorder.lines(),
              EventLog{"Rynvel.FpgaSpi 6 FpgaSpi32 ENTER physicalDevName=/dev/fpga, blockOffset=4096"});
}

TEST(Factory, PropagatesTheExceptionOfAConstructionAndLeavesTheSlotEmptyAndTheLockFree) {
    inChildProcess([] {
        ScriptedOs os;
        os.files = {{"/sys/class/uio/uio0/maps/map0/offset", "none"}};
        EXPECT_THROW(factory().create("uio32"), std::invalid_argument);
        EXPECT_EQ(factory().getBackend(factory().findMemoryDeviceIndex("uio32")), nullptr);
        addUioDevice(os);
        EXPECT_NE(factory().create("uio32"), nullptr);
    });
}

/**
 * A fixture for the function that creates private devices with registers of type T. The device names contain the number
 * of bits.
 */
template <typename T>
class MakeUnique : public testing::Test {
protected:
    static auto make(const std::string& name, std::unique_ptr<IMutex> mutex) {
        if constexpr (sizeof(T) == 1) {
            return factory().makeUnique8(name, std::move(mutex));
        } else if constexpr (sizeof(T) == 2) {
            return factory().makeUnique16(name, std::move(mutex));
        } else {
            return factory().makeUnique32(name, std::move(mutex));
        }
    }

    const std::string m_width = std::to_string(8 * sizeof(T));
    const std::string m_function = "makeUnique" + m_width;
    const std::string m_own = "lseek" + m_width;
    const std::string m_other = sizeof(T) == 1 ? "lseek16" : "lseek8";
};

using Widths = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(MakeUnique, Widths);

TYPED_TEST(MakeUnique, BuildsANewDeviceOfItsWidthOutsideTheListEachTime) {
    const std::string name = this->m_own;
    ScriptedOs os;
    const TraceRecorder recorder(6, "Rynvel.Factory");
    const auto first = this->make(name, std::make_unique<RecordingMutex>(os.log()));
    const auto second = this->make(name, std::make_unique<RecordingMutex>(os.log()));
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first, second);
    EXPECT_TRUE((std::is_same_v<decltype(*first), Device<TypeParam>&>));
    EXPECT_EQ(os.log(), (EventLog{"open(/dev/" + name + ", 2)", "open(/dev/" + name + ", 2)"}));
    EXPECT_EQ(factory().getBackend(factory().findMemoryDeviceIndex(name)), nullptr);
    const EventLog once{"Rynvel.Factory 6 " + this->m_function + " ENTER logicalDevName=" + name,
                        "Rynvel.Factory 4 " + this->m_function + ": Device \"" + name + "\" created."};
    EXPECT_EQ(recorder.lines(), (EventLog{once[0], once[1], once[0], once[1]}));
}

TYPED_TEST(MakeUnique, PassesTheMutexOfTheCallerToTheDevice) {
    ScriptedOs os;
    auto device = this->make(this->m_own, std::make_unique<RecordingMutex>(os.log()));
    device->write(0, TypeParam{1});
    EXPECT_EQ(os.log()[1], "lock");
    device.reset();
    EXPECT_EQ(os.log().back(), "mutex destroyed");
}

TYPED_TEST(MakeUnique, RefusesADeviceOfAnotherWidthOrOfNoKnownType) {
    for (const std::string& name : {this->m_other, std::string("unsupported")}) {
        EventLog log;
        const TraceRecorder recorder(5);
        EXPECT_EQ(this->make(name, std::make_unique<RecordingMutex>(log)), nullptr);
        EXPECT_EQ(log, EventLog{"mutex destroyed"});
        EXPECT_EQ(recorder.lines(),
                  (EventLog{"Rynvel.Factory 1 " + this->m_function + ": Unsupported device \"" + name + "\"",
                            "Rynvel.Factory 4 " + this->m_function + ": Device \"" + name + "\" created."}));
    }
}

TYPED_TEST(MakeUnique, ReturnsNullAndTracesOneMessageForAnUnknownName) {
    const TraceRecorder recorder(5);
    EXPECT_EQ(this->make("unknown", plainMutex()), nullptr);
    EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.Factory 1 findMemoryDevice: No match for device unknown"});
}

TEST(Factory, ReturnsTheIndexOfTheRowAsHandle) {
    inChildProcess([] {
        ScriptedOs os;
        EXPECT_EQ(factory().getHandle(factory().create("lseek32")), 2);
        EXPECT_EQ(factory().getHandle(factory().create("lseek8")), 0);
        EXPECT_EQ(factory().getHandle(factory().create("twin")), 4);
    });
}

TEST(Factory, ReturnsMinusOneForADeviceThatItHasNotOpened) {
    ScriptedOs os;
    const std::shared_ptr<IDevice> device = factory().makeUnique8("lseek8", plainMutex());
    EXPECT_EQ(factory().getHandle(device), -1);
}

TEST(Factory, ReturnsTheFirstEmptySlotAsTheHandleOfAnEmptyPointer) {
    inChildProcess([] {
        ScriptedOs os;
        EXPECT_EQ(factory().getHandle(nullptr), 0);
        factory().create("lseek8");
        EXPECT_EQ(factory().getHandle(nullptr), 1);
    });
}

TEST(Factory, ReturnsTheDeviceOfAHandleOnlyFromTheAccessorOfItsWidth) {
    inChildProcess([] {
        ScriptedOs os;
        const std::array devices{factory().create("lseek8"), factory().create("lseek16"), factory().create("lseek32")};
        for (int handle = 0; handle < 3; ++handle) {
            const IDevice* const device = devices[static_cast<std::size_t>(handle)].get();
            ASSERT_NE(device, nullptr);
            EXPECT_EQ(factory().getBackend(handle), device);
            EXPECT_EQ(factory().getBackend8(handle), handle == 0 ? device : nullptr);
            EXPECT_EQ(factory().getBackend16(handle), handle == 1 ? device : nullptr);
            EXPECT_EQ(factory().getBackend32(handle), handle == 2 ? device : nullptr);
        }
    });
}

TEST(Factory, HasMemberFunctionsThatReturnDevicesByHandle) {
    EXPECT_TRUE((std::is_same_v<decltype(&Factory::getBackend), IDevice* (Factory::*)(int)>));
    EXPECT_TRUE((std::is_same_v<decltype(&Factory::getBackend8), Device8* (Factory::*)(int)>));
    EXPECT_TRUE((std::is_same_v<decltype(&Factory::getBackend16), Device16* (Factory::*)(int)>));
    EXPECT_TRUE((std::is_same_v<decltype(&Factory::getBackend32), Device32* (Factory::*)(int)>));
}

TEST(Factory, ReturnsNullForAHandleThatWasNotOpened) {
    EXPECT_EQ(factory().getBackend(0), nullptr);
    EXPECT_EQ(factory().getBackend8(0), nullptr);
    EXPECT_EQ(factory().getBackend16(1), nullptr);
    EXPECT_EQ(factory().getBackend32(2), nullptr);
}

/**
 * Expects every accessor to end the process if the handle is wrong. The message names the accessor and the assertion.
 */
void expectEndOn(int handle, int extreme, const std::string& assertion) {
    const auto message = [&](const std::string& width) {
        return "cppsrc/RynvelFactory:[0-9]+: Rynvel::" + (width.empty() ? "IDevice" : "Device" + width) +
               "\\* Rynvel::Factory::getBackend" + width + "\\(int\\): Assertion `" + assertion + "' failed";
    };
    EXPECT_DEATH(factory().getBackend(handle), message(""));
    EXPECT_DEATH(factory().getBackend8(handle), message("8"));
    EXPECT_DEATH(factory().getBackend16(extreme), message("16"));
    EXPECT_DEATH(factory().getBackend32(handle), message("32"));
}

TEST(Factory, EndsTheProcessOnANegativeHandle) { expectEndOn(-1, -2147483647, "handle >= 0"); }

TEST(Factory, EndsTheProcessOnAHandleBeyondTheTable) {
    const std::array rows{
#include "TestDeviceRows.inc"
    };
    expectEndOn(static_cast<int>(rows.size()), 2147483647, "static_cast<size_t>\\(handle\\) < m_rynvelList.size\\(\\)");
}

TEST(Factory, OpensOneDeviceForThreadsThatOpenTheSameName) {
    inChildProcess([] {
        constexpr int threadCount = 8;
        std::vector<std::shared_ptr<IDevice>> devices(threadCount);
        std::vector<std::thread> threads;
        const TraceRecorder recorder(4, "Rynvel.Factory");
        for (auto& device : devices) {
            threads.emplace_back([&device] {
                ScriptedOs os;
                device = factory().create("lseek8");
                EXPECT_EQ(factory().getBackend8(factory().getHandle(device)), device.get());
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(std::set<std::shared_ptr<IDevice>>(devices.begin(), devices.end()).size(), 1U);
        const auto lines = recorder.lines();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "Rynvel.Factory 4 createDevice: Device \"lseek8\" created."),
                  1);
    });
}

TEST(Factory, LetsAccessorsReadWhileAnotherThreadOpens) {
    inChildProcess([] {
        std::thread opener([] {
            ScriptedOs os;
            factory().create("lseek8");
        });
        while (factory().getBackend8(0) == nullptr) {
            std::this_thread::yield();
        }
        EXPECT_EQ(factory().getBackend8(0)->getDevName(), "/dev/lseek8");
        opener.join();
    });
}

TEST(Factory, ReleasesItsDevicesAtExitWhileTheTraceChannelsLive) {
    inChildProcess(
        [] {
            ScriptedOs os;
            factory().create("lseek8");
            ZilTraceControl::setLevel("*", 6);
        },
        "~Lseek.*\n.*~Lseek.*Device name: /dev/lseek8\n.*~PthreadMutex");
}

} // namespace
