// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <gtest/gtest.h>

#include "AccessRecorder.h"
#include "RecordingMutex.h"
#include "ScriptedOs.h"

// Tests every load and store of a register. None may be wider or narrower than the register, repeated or merged.

namespace {

using Rynvel::ByteOrder;
using namespace RynvelTest;

template <typename T>
class MmapAccess : public testing::Test {
protected:
    /** The index of the last register of the page. A wider access at this index crosses the end of the page. */
    static constexpr unsigned int last = AccessRecorder::pageSize / sizeof(T) - 1;
    static constexpr std::size_t lastOffset = last * sizeof(T);

    MmapAccess() {
        m_os.script(Call::Mmap, {answering(reinterpret_cast<long>(m_page.page()))});
        m_os.script(Call::Munmap, {answering(0)});
        m_device = std::make_unique<Rynvel::Mmap<T>>("/dev/x", 0, AccessRecorder::pageSize,
                                                     std::make_unique<RecordingMutex>(m_os.log()), false);
    }

    template <typename Operation>
    EventLog accessesOf(Operation operation) {
        m_page.watch();
        operation();
        return m_page.accesses();
    }

    static EventLog accesses(const std::string& kind, unsigned int first, unsigned int items) {
        EventLog result;
        for (unsigned int i = 0; i < items; ++i) {
            result.push_back(kind + std::to_string((first + i) * sizeof(T)));
        }
        return result;
    }

    AccessRecorder m_page;
    ScriptedOs m_os;
    std::unique_ptr<Rynvel::Mmap<T>> m_device;
};

template <typename T>
__attribute__((no_sanitize("undefined"))) void loadMisaligned(const volatile T* place) {
    static_cast<void>(*place);
}

using Widths = testing::Types<std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(MmapAccess, Widths);

TYPED_TEST(MmapAccess, IsSeenByTheRecorderByteByByteWhenItIsWiderOrNarrower) {
    const auto page = static_cast<volatile std::uint8_t*>(this->m_page.page());
    EXPECT_EQ(this->accessesOf([&] {
        page[0] = 1;
        page[1] = page[0];
    }),
              (EventLog{"store 0", "load 0", "store 1"}));
    const auto end = this->lastOffset + sizeof(TypeParam) / 2;
    EXPECT_EQ(this->accessesOf([&] { loadMisaligned(reinterpret_cast<const volatile TypeParam*>(page + end)); }).size(),
              2U);
}

TYPED_TEST(MmapAccess, PerformsAReadAsOneLoad) {
    TypeParam value = 0;
    EXPECT_EQ(this->accessesOf([&] { this->m_device->read(this->last, &value); }),
              this->accesses("load ", this->last, 1));
    EXPECT_EQ(this->accessesOf([&] { this->m_device->read(3, &value); }), this->accesses("load ", 3, 1));
}

TYPED_TEST(MmapAccess, PerformsAWriteAsOneStore) {
    EXPECT_EQ(this->accessesOf([&] { this->m_device->write(this->last, 1); }), this->accesses("store ", this->last, 1));
    EXPECT_EQ(this->accessesOf([&] { this->m_device->write(3, 1); }), this->accesses("store ", 3, 1));
}

TYPED_TEST(MmapAccess, PerformsAMaskedWriteAsOneLoadThenOneStoreForEveryMask) {
    const std::string offset = std::to_string(this->lastOffset);
    for (const auto mask : {0U, 0x0FU, 0xFFFFFFFFU}) {
        EXPECT_EQ(this->accessesOf([&] { this->m_device->write(this->last, 1, static_cast<TypeParam>(mask)); }),
                  (EventLog{"load " + offset, "store " + offset}));
    }
}

TYPED_TEST(MmapAccess, PerformsABurstAsOneLoadOrStorePerRegisterInOrder) {
    TypeParam values[37] = {};
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        for (const unsigned int items : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 37U}) {
            const unsigned int first = this->last - items + 1;
            EXPECT_EQ(this->accessesOf([&] { this->m_device->read(first, values, items, order); }),
                      this->accesses("load ", first, items));
            EXPECT_EQ(this->accessesOf([&] { this->m_device->write(first, values, items, order); }),
                      this->accesses("store ", first, items));
        }
    }
}

} // namespace
