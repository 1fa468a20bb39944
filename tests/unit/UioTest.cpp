// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "NothingTraced.h"
#include "RecordingMutex.h"
#include "ScriptedOs.h"
#include "StoredResults.h"
#include "TraceRecorder.h"

extern "C" int __vsnprintf_chk(char* text, size_t size, int flag, size_t room, const char* format, std::va_list values);

namespace {

thread_local bool formattingFails = false;

int formatUnlessItFails(char* text, size_t size, int flag, size_t room, const char* format, std::va_list values) {
    return formattingFails ? -1 : __vsnprintf_chk(text, size, flag, room, format, values);
}

} // namespace

// These functions replace those of the C library, because no argument that the library passes makes formatting fail. A
// fortified build of the library calls the second function.
extern "C" {

int snprintf(char* text, size_t size, const char* format, ...) noexcept {
    std::va_list values;
    va_start(values, format);
    const int length = formatUnlessItFails(text, size, 0, size, format, values);
    va_end(values);
    return length;
}

int __snprintf_chk(char* text, size_t size, int flag, size_t room, const char* format, ...) noexcept {
    std::va_list values;
    va_start(values, format);
    const int length = formatUnlessItFails(text, size, flag, room, format, values);
    va_end(values);
    return length;
}
}

namespace {

using Rynvel::Uio;
using namespace RynvelTest;

constexpr auto path = "/dev/tomkar_traffic";
const std::string offsetPath = "/sys/class/uio/uio3/maps/map0/offset";
const std::string sizePath = "/sys/class/uio/uio3/maps/map0/size";
const std::string readingLink = "readlink(/dev/tomkar_traffic, 4095)";
const std::string opening = "open(/dev/tomkar_traffic, 2)";
const std::string enabling = "write(7, " + inMemory(std::int32_t{1}) + ")";
const std::string disabling = "write(7, 00000000)";

/** A scope in which the formatting of a path fails. */
class FailingFormat {
public:
    FailingFormat() { formattingFails = true; }
    FailingFormat(const FailingFormat&) = delete;
    FailingFormat& operator=(const FailingFormat&) = delete;
    ~FailingFormat() { formattingFails = false; }
};

template <typename T>
class UioTest : public testing::Test {
protected:
    UioTest() {
        m_os.linkText = "uio3";
        setMap("0x0\n", "0x1000\n");
    }

    void setMap(const std::string& offset, const std::string& size) {
        m_os.files = {{offsetPath, offset}, {sizePath, size}};
    }

    std::unique_ptr<Uio<T>> make(bool fake = false) {
        return std::make_unique<Uio<T>>(path, std::make_unique<RecordingMutex>(m_os.log()), fake);
    }

    std::unique_ptr<Uio<T>> opened() {
        auto device = make();
        m_os.log().clear();
        return device;
    }

    T stored(std::size_t place) const { return m_os.stored<T>(place); }

    static unsigned long size() { return Uio<T>::getMapData(path, "size"); }

    unsigned long sizeAttribute(const std::string& text) {
        setMap("0", text);
        return size();
    }

    /** Returns the message of the exception that this text of the size attribute causes, or "no exception". */
    template <typename Exception>
    std::string complaint(const std::string& text) {
        try {
            sizeAttribute(text);
        } catch (const Exception& error) {
            return error.what();
        }
        return "no exception";
    }

    ScriptedOs m_os;
};

using Widths = testing::Types<std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(UioTest, Widths);

TYPED_TEST(UioTest, LooksUpOffsetThenSizeThenOpensAndMapsTheDevice) {
    const auto device = this->make();
    EXPECT_EQ(this->m_os.log(),
              (EventLog{readingLink, "open(" + offsetPath + ", 0)", "read(8, 19)", "close(8)", readingLink,
                        "open(" + sizePath + ", 0)", "read(8, 19)", "close(8)", opening, "mmap(0, 4096, 3, 1, 7, 0)"}));
    EXPECT_EQ(device->getNativeHandle(), ScriptedOs::descriptor);
    EXPECT_EQ(device->getDevName(), path);
}

TYPED_TEST(UioTest, PutsItsFirstRegisterAtTheMapsOffset) {
    this->setMap("0x100\n", "0x1000\n");
    const auto device = this->make();
    EXPECT_TRUE(device->write(1, 0x77));
    EXPECT_EQ(this->stored(0x100 + sizeof(TypeParam)), 0x77);
    this->m_os.script(Call::Munmap, {answering(0)});
}

TYPED_TEST(UioTest, PassesFakeToItsBase) {
    const auto device = this->make(true);
    EXPECT_EQ(this->m_os.log().back(), "mmap(0, 4096, 3, 33, -1, 0)");
    EXPECT_EQ(device->getNativeHandle(), -1);
}

TYPED_TEST(UioTest, TracesItsConstructionAfterThatOfItsBase) {
    const TraceRecorder recorder(6);
    const auto device = this->make();
    EXPECT_EQ(recorder.lines(), (EventLog{"Rynvel.Uio 5 getMapData: read value 0x00000000 from \"" + offsetPath + "\"",
                                          "Rynvel.Uio 5 getMapData: read value 0x00001000 from \"" + sizePath + "\"",
                                          "Rynvel.Mmap 6 Mmap ENTER physicalDevName=/dev/tomkar_traffic, "
                                          "Hex(devPageOffset)=0x00000000, Hex(devSize)=0x00001000, fake=0",
                                          "Rynvel.Mmap 5 Mmap: mapSize: 4096",
                                          "Rynvel.Uio 6 Uio ENTER physicalDevName=/dev/tomkar_traffic, fake=0"}));
    EXPECT_EQ(recorder.traces()[0].file, "cppsrc/RynvelUio");
    EXPECT_EQ(recorder.traces()[0].option, 256);
    EXPECT_EQ(recorder.traces()[4].file, "cppsrc/RynvelUio");
}

TYPED_TEST(UioTest, TracesItsConstructionAsAFake) {
    const TraceRecorder recorder(6, "Rynvel.Uio");
    const auto device = this->make(true);
    EXPECT_EQ(recorder.lines().back(), "Rynvel.Uio 6 Uio ENTER physicalDevName=/dev/tomkar_traffic, fake=1");
}

TYPED_TEST(UioTest, ReadsAnAttributeOfUpTo19BytesWithTheBaseOfItsPrefix) {
    const std::vector<std::pair<const char*, unsigned long>> attributes{
        {"4096\n", 4096},           {"0x1000\n", 0x1000},
        {"0X1f\n", 0x1F},           {"010", 8},
        {"  12 apples", 12},        {"08", 0},
        {"0xffffffff", 0xFFFFFFFF}, {"0000000000000000010777", 8}};
    for (const auto& [text, value] : attributes) {
        EXPECT_EQ(this->sizeAttribute(text), value) << text;
    }
}

TYPED_TEST(UioTest, ThrowsOnAnAttributeThatIsNotANumberOrDoesNotFitInAnUnsignedLong) {
    for (const char* text : {"", "\n", "size", "x10"}) {
        EXPECT_EQ(this->template complaint<std::invalid_argument>(text), "stoul") << text;
        EXPECT_EQ(this->m_os.log().back(), "close(8)");
    }
    EXPECT_EQ(this->template complaint<std::out_of_range>("0xfffffffffffffffffff"), "stoul");
}

TYPED_TEST(UioTest, AcceptsAnAttributeOf33BitsIfItFitsInAnUnsignedLong) {
    if (sizeof(unsigned long) > 4) {
        EXPECT_EQ(this->sizeAttribute("0x100000000"), 0x100000000ULL);
    } else {
        EXPECT_THROW(this->sizeAttribute("0x100000000"), std::out_of_range);
    }
}

TYPED_TEST(UioTest, TreatsTheDescriptorZeroAsAnOpenAttribute) {
    this->m_os.script(Call::Open, {answering(0)});
    this->m_os.memory[0] = '8';
    EXPECT_EQ(this->size(), 8U);
    EXPECT_EQ(this->m_os.log().back(), "close(0)");
}

TYPED_TEST(UioTest, KeepsErrnoAroundTheConversion) {
    errno = EBUSY;
    this->sizeAttribute("17");
    EXPECT_EQ(errno, EBUSY);
    EXPECT_THROW(this->sizeAttribute("0xfffffffffffffffffff"), std::out_of_range);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_THROW(this->sizeAttribute("none"), std::invalid_argument);
    EXPECT_EQ(errno, EBUSY);
}

TYPED_TEST(UioTest, LetsTheExceptionsLeaveTheConstructorWithNothingOpenAndTheMutexFreed) {
    const NothingTraced nothingTraced(4);
    this->setMap("0", "none");
    EXPECT_THROW(this->make(), std::invalid_argument);
    EXPECT_EQ(this->m_os.log().back(), "mutex destroyed");
    EXPECT_EQ(this->m_os.log().end()[-2], "close(8)");
    this->setMap("none", "0x1000");
    EXPECT_THROW(this->make(), std::invalid_argument);
}

TYPED_TEST(UioTest, TreatsAPathThatIsNotALinkAsAMapOfSizeZeroAndTracesEachLookup) {
    const TraceRecorder recorder(3);
    this->m_os.script(Call::Readlink, {failing(EINVAL), failing(EINVAL)});
    errno = 0;
    const auto device = this->make();
    EXPECT_EQ(errno, EINVAL);
    const std::string message =
        "Rynvel.Uio 3 getMapData: readlink of \"/dev/tomkar_traffic\" failed with Invalid argument";
    EXPECT_EQ(recorder.lines(), (EventLog{message, message}));
    EXPECT_EQ(this->m_os.log(), (EventLog{readingLink, readingLink, opening}));
    EXPECT_EQ(readFrom(*device), std::pair(false, TypeParam{0}));
}

TYPED_TEST(UioTest, UsesTheTextOfTheLinkUnchanged) {
    this->m_os.linkText = "../uio3";
    this->m_os.files = {{"/sys/class/uio/../uio3/maps/map0/size", "8"}};
    EXPECT_EQ(this->size(), 8U);
}

TYPED_TEST(UioTest, TreatsALinkWhoseTextIsAPathAsAMapOfSizeZeroSilently) {
    const NothingTraced nothingTraced(4);
    this->m_os.linkText = "/dev/uio3";
    const auto device = this->make();
    EXPECT_EQ(this->m_os.log().back(), opening);
    EXPECT_FALSE(readFrom(*device).first);
    EXPECT_FALSE(device->write(0, 1));
}

TYPED_TEST(UioTest, ReportsAPathThatALongLinkTextTruncates) {
    const TraceRecorder recorder(1);
    this->m_os.linkText = std::string(4095, 'u');
    EXPECT_EQ(this->size(), 0U);
    this->m_os.linkText = std::string(5000, 'u');
    EXPECT_EQ(Uio<TypeParam>::getMapData(path, "offset"), 0U);
    const std::string begin =
        "Rynvel.Uio 1 getMapData: snprintf truncated dataPath when devicePath: /dev/tomkar_traffic, and dataName: ";
    EXPECT_EQ(recorder.lines(), (EventLog{begin + "size", begin + "offset"}));
}

TYPED_TEST(UioTest, AcceptsAPathOf4095BytesAndRefusesALongerOne) {
    const TraceRecorder recorder(1);
    const std::size_t around = std::strlen("/sys/class/uio//maps/map0/size");
    this->m_os.linkText = std::string(4095 - around, 'u');
    this->m_os.files = {{"/sys/class/uio/" + this->m_os.linkText + "/maps/map0/size", "8"}};
    EXPECT_EQ(this->size(), 8U);
    EXPECT_EQ(recorder.lines(), EventLog{});
    this->m_os.linkText += 'u';
    EXPECT_EQ(this->size(), 0U);
    EXPECT_EQ(recorder.lines().size(), 1U);
}

TYPED_TEST(UioTest, GivesUpSilentlyOnALinkTextThatCannotFit) {
    const NothingTraced nothingTraced(7);
    this->m_os.script(Call::Readlink, {answering(4096), answering(5000)});
    EXPECT_EQ(this->size(), 0U);
    EXPECT_EQ(this->size(), 0U);
    EXPECT_EQ(this->m_os.log().size(), 2U);
}

TYPED_TEST(UioTest, ReportsAPathThatCannotBeFormatted) {
    const TraceRecorder recorder(1);
    unsigned long value = 1;
    {
        const FailingFormat failing;
        value = this->size();
    }
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.Uio 1 getMapData: snprintf failed with devicePath: "
                                         "/dev/tomkar_traffic, and dataName: size"});
}

TYPED_TEST(UioTest, TreatsAnAttributeThatCannotBeOpenedAsZeroWithoutAMessage) {
    const NothingTraced nothingTraced(7);
    EXPECT_EQ(Uio<TypeParam>::getMapData(path, "none"), 0U);
    EXPECT_EQ(this->m_os.log().back(), "open(/sys/class/uio/uio3/maps/map0/none, 0)");
}

TYPED_TEST(UioTest, ReportsAnAttributeThatCannotBeReadAfterClosingIt) {
    const TraceRecorder recorder(1, "*", &this->m_os.log());
    this->m_os.script(Call::Read, {failing(EIO)});
    this->m_os.script(Call::Close, {failing(EBADF)});
    EXPECT_EQ(this->size(), 0U);
    EXPECT_EQ(this->m_os.log().end()[-2], "close(8)");
    EXPECT_EQ(this->m_os.log().back(),
              "Rynvel.Uio 1 getMapData: read of \"" + sizePath + "\" failed with Input/output error");
}

TYPED_TEST(UioTest, HasInterruptType4WhateverTheDevice) {
    const auto device = this->opened();
    EXPECT_EQ(interruptTypeOf(*device), std::pair(true, 4UL));
    EXPECT_EQ(this->m_os.log(), EventLog{});
}

TYPED_TEST(UioTest, EnablesWithA32BitOneAndDisablesWithA32BitZeroWithoutTheLock) {
    const auto device = this->opened();
    EXPECT_TRUE(device->enableInterrupt());
    EXPECT_TRUE(device->disableInterrupt());
    EXPECT_EQ(this->m_os.log(), (EventLog{enabling, disabling}));
}

TYPED_TEST(UioTest, TreatsAShortWriteAsSuccess) {
    const auto device = this->opened();
    this->m_os.script(Call::Write, {answering(0), answering(3)});
    EXPECT_TRUE(device->enableInterrupt());
    EXPECT_TRUE(device->disableInterrupt());
}

TYPED_TEST(UioTest, EnablesAndThenReadsAnyBytesOfTheCountWhenItWaitsAlsoAfterADisable) {
    const auto device = this->opened();
    this->m_os.store(0, 0xFEDCBA98);
    this->m_os.script(Call::Write, {answering(0), answering(0)});
    EXPECT_TRUE(device->disableInterrupt());
    EXPECT_EQ(waitForInterruptOf(*device), std::pair(true, 0xFEDCBA98UL));
    EXPECT_EQ(this->m_os.log(), (EventLog{disabling, enabling, "read(7, 4)"}));
    this->m_os.script(Call::Read, {answering(0)});
    EXPECT_EQ(waitForInterruptOf(*device), std::pair(true, 0UL));
}

TYPED_TEST(UioTest, TracesAFailedEnableAtLevelSevenAndAFailedDisableAtLevelOne) {
    const auto device = this->opened();
    this->m_os.script(Call::Write, {failing(EIO), failing(EIO), failing(EIO)});
    const auto tracesOf = [](ZilTraceLevel level, auto operation) {
        const TraceRecorder recorder(level, "Rynvel.Uio");
        errno = 0;
        EXPECT_FALSE(operation());
        EXPECT_EQ(errno, EIO);
        return recorder.lines();
    };
    const auto enable = [&] { return device->enableInterrupt(); };
    const std::string text = "Failed to write on device \"/dev/tomkar_traffic\". errno = Input/output error";
    const std::string entry = "Rynvel.Uio 6 enableInterrupt ENTER";
    EXPECT_EQ(tracesOf(6, enable), EventLog{entry});
    EXPECT_EQ(tracesOf(7, enable), (EventLog{entry, "Rynvel.Uio 7 enableInterrupt: " + text}));
    EXPECT_EQ(tracesOf(1, [&] { return device->disableInterrupt(); }),
              EventLog{"Rynvel.Uio 1 disableInterrupt: " + text});
}

TYPED_TEST(UioTest, DoesNotWaitWhenItCannotEnable) {
    const auto device = this->opened();
    const TraceRecorder recorder(7, "Rynvel.Uio");
    this->m_os.script(Call::Write, {failing(ENODEV)});
    EXPECT_EQ(waitForInterruptOf(*device), std::pair(false, untouched<unsigned long>));
    EXPECT_EQ(this->m_os.log(), EventLog{enabling});
    EXPECT_EQ(recorder.lines(),
              (EventLog{"Rynvel.Uio 6 waitForInterrupt ENTER", "Rynvel.Uio 6 enableInterrupt ENTER",
                        "Rynvel.Uio 7 enableInterrupt: Failed to write on device \"/dev/tomkar_traffic\". errno = "
                        "No such device",
                        "Rynvel.Uio 7 waitForInterrupt: Failed to enable interrupt on device "
                        "\"/dev/tomkar_traffic\"."}));
}

TYPED_TEST(UioTest, SetsTheInterruptWordToZeroWhenTheWaitFails) {
    const auto device = this->opened();
    const TraceRecorder recorder(1);
    this->m_os.script(Call::Read, {failing(EINTR)});
    errno = 0;
    EXPECT_EQ(waitForInterruptOf(*device), std::pair(false, 0UL));
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.Uio 1 waitForInterrupt: Failed to read from device "
                                         "\"/dev/tomkar_traffic\". errno = Interrupted system call"});
}

/** A UIO device that overrides enableInterrupt() to count its calls. */
template <typename T>
class OwnEnable : public Uio<T> {
public:
    using Uio<T>::Uio;
    bool enableInterrupt() override {
        ++enables;
        return true;
    }
    int enables = 0;
};

TYPED_TEST(UioTest, EnablesThroughTheVirtualOperationWhenItWaits) {
    OwnEnable<TypeParam> device(path, std::make_unique<RecordingMutex>(this->m_os.log()), false);
    this->m_os.log().clear();
    EXPECT_TRUE(waitForInterruptOf(device).first);
    EXPECT_EQ(device.enables, 1);
    EXPECT_EQ(this->m_os.log(), EventLog{"read(7, 4)"});
}

TYPED_TEST(UioTest, TracesTheEntryOfEveryInterruptOperationAtLevelSix) {
    const auto device = this->opened();
    const TraceRecorder recorder(6);
    interruptTypeOf(*device);
    device->enableInterrupt();
    device->disableInterrupt();
    waitForInterruptOf(*device);
    EXPECT_EQ(recorder.lines(), (EventLog{"Rynvel.Uio 6 getInterruptType ENTER", "Rynvel.Uio 6 enableInterrupt ENTER",
                                          "Rynvel.Uio 6 disableInterrupt ENTER", "Rynvel.Uio 6 waitForInterrupt ENTER",
                                          "Rynvel.Uio 6 enableInterrupt ENTER"}));
}

template <typename T>
class UioDeathTest : public testing::Test {
protected:
    static constexpr auto typeText = sizeof(T) == 2 ? "short unsigned int" : "unsigned int";

    static void askForTypeWithoutAPlace() {
        std::unique_ptr<Uio<T>> device;
        {
            ScriptedOs os;
            EventLog log;
            device = std::make_unique<Uio<T>>(path, std::make_unique<RecordingMutex>(log), false);
        }
        device->getInterruptType(nullptr);
    }
};

TYPED_TEST_SUITE(UioDeathTest, Widths);

TYPED_TEST(UioDeathTest, EndsTheProcessOnANullPointerForTheType) {
    EXPECT_DEATH(this->askForTypeWithoutAPlace(),
                 std::string("cppsrc/RynvelUio:35: bool Rynvel::Uio<T>::getInterruptType\\(long unsigned int\\*\\) "
                             "\\[with T = ") +
                     this->typeText + "\\]: Assertion `type' failed");
}

} // namespace
