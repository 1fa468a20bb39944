// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>
#include <sstream>
#include <type_traits>

#include <gtest/gtest.h>

#include "MessageBytes.h"
#include "NetworkWord.h"
#include "ScriptedOs.h"
#include "VirtualSlot.h"

namespace {

using namespace Rynvel;
using namespace RynvelTest;

constexpr std::size_t requestSize = 660;
constexpr std::size_t responseSize = 520;

/** The hex digits of a request in which every field is set. The bytes are the same on every processor. */
constexpr auto fullRequest =
    "00000007747261662e746f702e747261662e746f702e747261662e746f702e747261662e746f702e747261662e746f702e747261"
    "662e746f702e747261662e746f702e747261662e746f702e747261662e746f702e747261662e746f702e747261662e746f702e74"
    "7261662e746f702e747261662e746f702e747261662e746f702e7400123456780103050702060a0e03090f15040c141c050f1923"
    "06121e2a0715233108182838091b2d3f0a1e32460b21374d0c243c540d27415b0e2a46620f2d4b69103050701133557712365a7e"
    "13395f85143c648c153f699316426e9a174573a1184878a8194b7daf1a4e82b61b5187bd1c548cc41d5791cb1e5a96d21f5d9bd9"
    "2060a0e02163a5e72266aaee2369aff5246cb4fc256fba032672bf0a2775c4112878c918297bce1f2a7ed3262b81d82d2c84dd34"
    "2d87e23b2e8ae7422f8dec493090f1503193f6573296fb5e339a0065349d056c35a00a7336a30f7a37a6148138a9198839ac1e8f"
    "3aaf23963bb2289d3cb52da43db832ab3ebb37b23fbe3cb940c141c041c446c742c74bce43ca50d544cd55dc45d05ae346d35fea"
    "47d664f148d969f849dc6eff4adf74064be2790d4ce57e144de8831b4eeb88224fee8d2950f1923051f4973752f79c3e53faa145"
    "54fda64c5600ab535703b05a5806b5615909ba685a0cbf6f5b0fc4765c12c97d5d15ce845e18d38b5f1bd892601edd996121e2a0"
    "6224e7a76327ecae642af1b5652df6bc6630fbc3673400ca683705d1693a0ad86a3d0fdf6b4014e66c4319ed6d461ef46e4923fb"
    "6f4c2902704f2e09715233107255381773583d1e745b4225755e472c76614c337764513a78675641796a5b487a6d604f7b706556"
    "7c736a5d7d766f647e79746b7f7c7972807f7e7981828380000000800000000189abcdef";

/** The hex digits of a response in which every field is set. The bytes are the same on every processor. */
constexpr auto fullResponse =
    "ffffffff070503010e0a0602150f09031c140c0423190f052a1e120631231507382818083f2d1b0946321e0a4d37210b543c240c"
    "5b41270d62462a0e694b2d0f70503010775533117e5a3612855f39138c643c1493693f159a6e4216a1734517a8784818af7d4b19"
    "b6824e1abd87511bc48c541ccb91571dd2965a1ed99b5d1fe0a06020e7a56321eeaa6622f5af6923fcb46c2403b96f250abe7226"
    "11c3752718c878281fcd7b2926d27e2a2dd7812b34dc842c3be1872d42e68a2e49eb8d2f50f0903057f593315efa963265ff9933"
    "6d049c3474099f357b0ea2368213a5378918a838901dab399722ae3a9e27b13ba52cb43cac31b73db336ba3eba3bbd3fc140c040"
    "c845c341cf4ac642d64fc943dd54cc44e459cf45eb5ed246f263d547f968d848006ddb490772de4a0e77e14b157ce44c1c81e74d"
    "2386ea4e2a8bed4f3190f0503895f3513f9af652469ff9534da4fc5454a9ff555baf025662b4055769b9085870be0b5977c30e5a"
    "7ec8115b85cd145c8cd2175d93d71a5e9adc1d5fa1e12060a8e62361afeb2662b6f02963bdf52c64c4fa2f65cbff3266d3043567"
    "da093868e10e3b69e8133e6aef18416bf61d446cfd22476d04274a6e0b2c4d6f1231507019365371203b5672274059732e455c74"
    "354a5f753c4f6276435465774a596878515e6b7958636e7a5f68717b666d747c6d72777d74777a7e7b7c7d7f8281808000000080";

const std::string fullName = [] {
    std::string name;
    while (name.size() < 127) {
        name += "traf.top.";
    }
    return name.substr(0, 127);
}();

/** Returns the value at an index of fullRequest. responseValue() does the same for fullResponse. */
std::uint32_t requestValue(std::uint32_t i) { return (i + 1) * 0x01030507U; }
std::uint32_t responseValue(std::uint32_t i) { return (i + 1) * 0x07050301U; }

std::string hexOf(const IMessage& message) { return hexBytes(message.toBuffer(), message.getSize()); }

/** Returns the bytes that hex digits encode. */
Bytes bytesFrom(const std::string& digits) {
    Bytes bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

/** Stores bytes in a message, as if a peer had sent them. */
void receive(IMessage& message, const Bytes& bytes) {
    ASSERT_EQ(bytes.size(), message.getSize());
    std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(message.toBuffer()));
}

/** Returns a record that has the bytes at the offset, and zeros elsewhere. */
Bytes record(std::size_t size, std::size_t offset, const Bytes& bytes) {
    Bytes all(size);
    std::copy(bytes.begin(), bytes.end(), all.begin() + static_cast<std::ptrdiff_t>(offset));
    return all;
}

Bytes asBytes(std::uint32_t word) {
    Bytes bytes(4);
    putWord(bytes.data(), word);
    return bytes;
}

Bytes request(std::size_t offset, const Bytes& bytes) { return record(requestSize, offset, bytes); }
Bytes request(std::size_t offset, const std::string& text) { return request(offset, Bytes(text.begin(), text.end())); }
Bytes request(std::size_t offset, std::uint32_t word) { return request(offset, asBytes(word)); }
Bytes response(std::uint32_t result) { return record(responseSize, 0, asBytes(result)); }

template <typename M>
M received(const Bytes& bytes) {
    M message;
    receive(message, bytes);
    return message;
}

std::string rendered(const IMessage& message) {
    std::ostringstream stream;
    EXPECT_EQ(&message.toStream(stream), &stream);
    return stream.str();
}

std::string baseAfter(const IMessage& message) {
    std::ostringstream stream;
    stream << std::oct;
    message.toStream(stream);
    stream.str("");
    stream << 16;
    return stream.str();
}

/** Returns the number of values in the text of a message. */
std::uint32_t renderedValues(const std::string& text) {
    const std::size_t list = text.rfind(", values: { ");
    return static_cast<std::uint32_t>(
        std::count(text.begin() + static_cast<std::ptrdiff_t>(list) + 1, text.end(), ','));
}

/** Records of random bytes. Most records have few values, because printing many values takes time. */
class RandomRecords {
public:
    RandomRecords(std::size_t size, std::size_t length) : m_length(length), m_record(size) {
        std::generate(m_pool.begin(), m_pool.end(), [this] { return static_cast<std::uint8_t>(m_random()); });
    }

    const std::uint8_t* next() {
        const std::size_t place = m_random() % (m_pool.size() - m_record.size());
        std::memcpy(m_record.data(), &m_pool[place], m_record.size());
        if (++m_number % 64 != 0) {
            putWord(&m_record[m_length], static_cast<std::uint32_t>(m_random() % 8));
        }
        return m_record.data();
    }

private:
    std::mt19937 m_random{20};
    Bytes m_pool = Bytes(std::size_t{1} << 20U);
    const std::size_t m_length;
    Bytes m_record;
    unsigned int m_number = 0;
};

void expectOwnFields(const Request& message, const std::uint8_t* bytes) {
    const std::string name = message.getDeviceName();
    const auto* const text = reinterpret_cast<const char*>(bytes + 4);
    ASSERT_EQ(name, std::string(text, std::find(text, text + 128, '\0')));
    ASSERT_EQ(static_cast<std::uint32_t>(message.getType()), wordAt(bytes));
    ASSERT_EQ(message.getAddress(), wordAt(bytes + 132));
    ASSERT_EQ(message.getByteOrder() == ByteOrder::Network, wordAt(bytes + 652) == 0);
    ASSERT_EQ(message.getBitmask(), wordAt(bytes + 656));
    ASSERT_EQ(message.getCommand(), wordAt(bytes + 656));
}

void expectOwnFields(const Response& message, const std::uint8_t* bytes) {
    ASSERT_EQ(static_cast<std::uint32_t>(message.getResult()), wordAt(bytes));
    ASSERT_EQ(message.isSuccessful(), wordAt(bytes) == 0);
}

/** A fixture for the behavior that requests and responses share. */
template <typename M>
class Values : public testing::Test {
protected:
    static constexpr bool isRequest = std::is_same_v<M, Request>;
    static constexpr std::size_t size = isRequest ? requestSize : responseSize;
    static constexpr std::size_t values = isRequest ? 136 : 4;
    static constexpr std::size_t length = isRequest ? 648 : 516;

    static Bytes withLength(std::uint32_t word) { return record(size, length, asBytes(word)); }
};

using Records = testing::Types<Request, Response>;
TYPED_TEST_SUITE(Values, Records);

TYPED_TEST(Values, AreAllZeroWhenNew) {
    const TypeParam message;
    EXPECT_EQ(message.getSize(), this->size);
    EXPECT_EQ(bytesOf(message), Bytes(this->size));
    EXPECT_EQ(message.getLength(), 0U);
    EXPECT_EQ(message.getValue(), 0U);
}

TYPED_TEST(Values, AreAppendedAndCounted) {
    TypeParam message;
    message.addValue(0x01020304);
    message.addValue(0xFFFEFDFC);
    Bytes expected = this->withLength(2);
    putWord(&expected[this->values], 0x01020304);
    putWord(&expected[this->values + 4], 0xFFFEFDFC);
    EXPECT_EQ(bytesOf(message), expected);
    EXPECT_EQ(message.getLength(), 2U);
    EXPECT_EQ(message.getValue(), 0x01020304U);
    EXPECT_EQ(message.getValue(0), 0x01020304U);
    EXPECT_EQ(message.getValue(1), 0xFFFEFDFCU);
}

TYPED_TEST(Values, FillTheRecordWith128AndIgnoreFurtherOnes) {
    TypeParam message;
    Bytes expected = this->withLength(128);
    for (std::uint32_t i = 0; i < 128; ++i) {
        message.addValue(i + 1);
        expected[this->values + 4 * i + 3] = static_cast<std::uint8_t>(i + 1);
    }
    EXPECT_EQ(bytesOf(message), expected);
    message.addValue(0xAAAAAAAA);
    EXPECT_EQ(bytesOf(message), expected);
    EXPECT_EQ(message.getValue(127), 128U);
    EXPECT_EQ(message.getValue(128), 0U);
}

TYPED_TEST(Values, AreNotAppendedToAReceivedRecordWhoseLengthIsAbove128) {
    for (const std::uint32_t word : {129U, 256U, 0xFFFFFFFFU}) {
        auto message = received<TypeParam>(this->withLength(word));
        message.addValue(0x11111111);
        EXPECT_EQ(bytesOf(message), this->withLength(word));
    }
}

TYPED_TEST(Values, KeepTheirLengthWhenItIsSetAbove128) {
    TypeParam message;
    message.setLength(128);
    EXPECT_EQ(bytesOf(message), this->withLength(128));
    for (const std::uint32_t tooMuch : {129U, 256U, 0x80000000U, 0xFFFFFFFFU}) {
        message.setLength(tooMuch);
        EXPECT_EQ(message.getLength(), 128U);
    }
    message.setLength(0);
    EXPECT_EQ(message.getLength(), 0U);
}

TYPED_TEST(Values, ReadAsZeroFromTheLengthToTheEndOfTheRecord) {
    TypeParam message;
    message.addValue(7);
    message.addValue(8);
    message.setLength(1);
    EXPECT_EQ(message.getValue(0), 7U);
    EXPECT_EQ(message.getValue(1), 0U);
    EXPECT_EQ(message.getValue(std::numeric_limits<std::uint32_t>::max()), 0U);
    message.setLength(0);
    EXPECT_EQ(message.getValue(), 0U);
}

TYPED_TEST(Values, EndAt128WhenTheReceivedLengthIsGreater) {
    Bytes bytes(this->size, 0x5A);
    putWord(&bytes[this->length], 0xFFFFFFFF);
    const auto message = received<TypeParam>(bytes);
    EXPECT_EQ(message.getLength(), 0xFFFFFFFFU);
    EXPECT_EQ(message.getValue(127), 0x5A5A5A5AU);
    for (const std::uint32_t index : {128U, 129U, 0x3FFFFFFFU, 0x40000000U, 0xFFFFFFFEU}) {
        EXPECT_EQ(message.getValue(index), 0U) << index;
    }
    const std::string text = rendered(message);
    EXPECT_NE(text.find(", length: 4294967295, values: { 5a5a5a5a, "), std::string::npos);
    const std::string list = text.substr(text.find("values: "));
    EXPECT_EQ(std::count(list.begin(), list.end(), ','), 128);
}

TYPED_TEST(Values, AreAllRenderedWhenTheRecordIsFull) {
    TypeParam message;
    std::ostringstream expected;
    for (std::uint32_t i = 0; i < 128; ++i) {
        message.addValue(0xA00 + i);
        expected << std::hex << 0xA00 + i << ", ";
    }
    const std::string text = rendered(message);
    EXPECT_EQ(text.substr(text.find(", length: ")), ", length: 128, values: { " + expected.str() + "} ]");
}

TYPED_TEST(Values, LeaveTheStreamInHexIfThereAreAnyAndOtherwiseInDecimal) {
    TypeParam message;
    EXPECT_EQ(baseAfter(message), "16");
    message.addValue(1);
    EXPECT_EQ(baseAfter(message), "10");
}

#ifdef RYNVEL_TESTS_RUN_SLOWLY
constexpr unsigned int randomRecords = 20000;
#else
constexpr unsigned int randomRecords = 1000000;
#endif

TYPED_TEST(Values, StayInsideTheRecordForRandomRecords) {
    RandomRecords records(this->size, this->length);
    std::ostringstream stream;
    TypeParam message;
    for (unsigned int round = 0; round < randomRecords; ++round) {
        const std::uint8_t* const bytes = records.next();
        std::memcpy(message.toBuffer(), bytes, this->size);
        const std::uint32_t valid = std::min(message.getLength(), 128U);
        ASSERT_EQ(message.getLength(), wordAt(bytes + this->length));
        ASSERT_EQ(message.getValue(), valid > 0 ? wordAt(bytes + this->values) : 0);
        ASSERT_EQ(message.getValue(valid - 1), valid > 0 ? wordAt(bytes + this->values + 4 * (valid - 1)) : 0);
        ASSERT_EQ(message.getValue(valid), 0U);
        ASSERT_EQ(message.getValue(wordAt(bytes) | 128U), 0U);
        ASSERT_NO_FATAL_FAILURE(expectOwnFields(message, bytes));
        stream.str("");
        message.toStream(stream);
        ASSERT_TRUE(stream.good());
        ASSERT_EQ(renderedValues(stream.str()), valid);
    }
}

TEST(Request, PutsEveryFieldAtItsOffsetInNetworkByteOrder) {
    const auto after = [](void (*set)(Request&)) {
        Request message;
        set(message);
        return bytesOf(message);
    };
    EXPECT_EQ(after([](Request& message) { message.setType(RequestData::Type::Write8); }), request(0, 5U));
    EXPECT_EQ(after([](Request& message) { message.setDeviceName("rtc0"); }), request(4, "rtc0"));
    EXPECT_EQ(after([](Request& message) { message.setAddress(0x12345678); }), request(132, 0x12345678U));
    EXPECT_EQ(after([](Request& message) { message.setLength(3); }), request(648, 3U));
    EXPECT_EQ(after([](Request& message) { message.setByteOrder(ByteOrder::Host); }), request(652, 1U));
    EXPECT_EQ(after([](Request& message) { message.setBitmask(0x12345678); }), request(656, 0x12345678U));
    EXPECT_EQ(after([](Request& message) { message.setCommand(0x12345678); }), request(656, 0x12345678U));
}

TEST(Request, GetsEveryFieldFromItsOffset) {
    const std::uint32_t word = 0x12345678;
    EXPECT_EQ(received<Request>(request(0, 12U)).getType(), RequestData::Type::WaitForInterrupt);
    EXPECT_EQ(received<Request>(request(4, "rtc0")).getDeviceName(), "rtc0");
    EXPECT_EQ(received<Request>(request(132, word)).getAddress(), word);
    EXPECT_EQ(received<Request>(request(648, word)).getLength(), word);
    EXPECT_EQ(received<Request>(request(656, word)).getBitmask(), word);
    EXPECT_EQ(received<Request>(request(656, word)).getCommand(), word);
}

TEST(Request, HasTheSameBytesOnEveryProcessor) {
    Request message(RequestData::Type::Write32, fullName);
    message.setAddress(0x12345678);
    message.setByteOrder(ByteOrder::Host);
    message.setBitmask(0x89ABCDEF);
    for (std::uint32_t i = 0; i < 128; ++i) {
        message.addValue(requestValue(i));
    }
    EXPECT_EQ(hexOf(message), fullRequest);
}

TEST(Request, IsDecodedFromBigEndianWords) {
    const auto message = received<Request>(bytesFrom(fullRequest));
    EXPECT_EQ(message.getType(), RequestData::Type::Write32);
    EXPECT_EQ(message.getDeviceName(), fullName);
    EXPECT_EQ(message.getAddress(), 0x12345678U);
    EXPECT_EQ(message.getByteOrder(), ByteOrder::Host);
    EXPECT_EQ(message.getBitmask(), 0x89ABCDEFU);
    EXPECT_EQ(message.getLength(), 128U);
    for (std::uint32_t i = 0; i < 128; ++i) {
        EXPECT_EQ(message.getValue(i), requestValue(i)) << i;
    }
}

/** Returns the text of a request that has a type and a name. All other fields are zero. */
std::string renderingOf(const std::string& type, const std::string& name = "") {
    return "Request: [ type: " + type + ", byteOrder: Network, logicalDeviceName: " + name +
           ", address: 0, bitmask: 0, command: 0, length: 0, values: { } ]";
}

TEST(Request, NumbersTheOperationsAsOnTheWire) {
    using Type = RequestData::Type;
    const std::pair<Type, const char*> types[] = {{Type::Open, "Open"},
                                                  {Type::Close, "Close"},
                                                  {Type::Read8, "Read8"},
                                                  {Type::Read16, "Read16"},
                                                  {Type::Read32, "Read32"},
                                                  {Type::Write8, "Write8"},
                                                  {Type::Write16, "Write16"},
                                                  {Type::Write32, "Write32"},
                                                  {Type::Ioctl, "Ioctl"},
                                                  {Type::GetInterruptType, "GetInterruptType"},
                                                  {Type::EnableInterrupt, "EnableInterrupt"},
                                                  {Type::DisableInterrupt, "DisableInterrupt"},
                                                  {Type::WaitForInterrupt, "WaitForInterrupt"},
                                                  {Type::Debug, "Debug"}};
    std::uint32_t number = 0;
    for (const auto& [type, name] : types) {
        Request message;
        message.setType(type);
        EXPECT_EQ(bytesOf(message), request(0, number++));
        EXPECT_EQ(message.getType(), type);
        EXPECT_EQ(rendered(message), renderingOf(name));
    }
}

TEST(Request, RendersAnUnknownTypeWithoutAName) {
    for (const std::uint32_t type : {14U, 0x10000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(rendered(received<Request>(request(0, type))), renderingOf(""));
    }
}

TEST(Request, IsConstructedWithItsTypeAndName) {
    const Request message(RequestData::Type::Read16, "traf.top");
    Bytes expected = request(4, "traf.top");
    expected[3] = 3;
    EXPECT_EQ(bytesOf(message), expected);
    EXPECT_EQ(message.getType(), RequestData::Type::Read16);
    EXPECT_EQ(message.getDeviceName(), "traf.top");
}

TEST(Request, StoresUpTo127CharactersOfANameWhichEndsAtItsFirstZero) {
    const std::string tooLong = std::string(126, 'n') + 'l' + std::string(73, 'n');
    for (const std::string& name : {std::string(), std::string("x"), std::string(126, 'x'), std::string(127, 'x'),
                                    tooLong, std::string("ab\0cd", 5)}) {
        const Request message(RequestData::Type::Open, name);
        EXPECT_EQ(bytesOf(message), request(4, name.substr(0, 127)));
        EXPECT_EQ(message.getDeviceName(), name.substr(0, std::min<std::size_t>(127, name.find('\0'))));
    }
}

TEST(Request, KeepsTheTailOfALongerEarlierName) {
    Request message(RequestData::Type::Open, "longer");
    message.setDeviceName("abc");
    EXPECT_EQ(message.getDeviceName(), "abcger");
    message.setDeviceName("");
    EXPECT_EQ(message.getDeviceName(), "abcger");
}

TEST(Request, ReadsAReceivedNameUpToTheEndOfItsField) {
    Bytes bytes(requestSize, 0x41);
    EXPECT_EQ(received<Request>(bytes).getDeviceName(), std::string(128, 'A'));
    bytes[131] = 0;
    EXPECT_EQ(received<Request>(bytes).getDeviceName(), std::string(127, 'A'));
    bytes[4] = 0;
    EXPECT_EQ(received<Request>(bytes).getDeviceName(), "");
}

TEST(Request, RendersAReceivedNameWithoutTerminatorUpToTheEndOfItsField) {
    const std::string name(128, 'A');
    EXPECT_EQ(rendered(received<Request>(request(4, name))), renderingOf("Open", name));
}

TEST(Request, StoresMaskAndCommandInOneWord) {
    Request message;
    message.setBitmask(0x00FF);
    EXPECT_EQ(message.getCommand(), 0x00FFU);
    message.setCommand(0x1234);
    EXPECT_EQ(message.getBitmask(), 0x1234U);
    EXPECT_EQ(message.getCommand(), 0x1234U);
    EXPECT_EQ(bytesOf(message), request(656, 0x1234U));
}

TEST(Request, StoresTheByteOrderInverted) {
    Request message;
    message.setByteOrder(ByteOrder::Host);
    EXPECT_EQ(message.getByteOrder(), ByteOrder::Host);
    message.setByteOrder(ByteOrder::Network);
    EXPECT_EQ(bytesOf(message), Bytes(requestSize));
    EXPECT_EQ(message.getByteOrder(), ByteOrder::Network);
    message.setByteOrder(static_cast<ByteOrder>(2));
    EXPECT_EQ(bytesOf(message), request(652, 1U));
}

TEST(Request, ReadsEveryByteOrderWordButZeroAsHost) {
    for (const std::uint32_t word : {1U, 2U, 0x01000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(received<Request>(request(652, word)).getByteOrder(), ByteOrder::Host);
    }
}

TEST(Request, RendersItsFieldsInHexAndItsLengthInDecimal) {
    Request message(RequestData::Type::Read16, "traf.top");
    message.setByteOrder(ByteOrder::Host);
    message.setAddress(0x1F0);
    message.setLength(2);
    EXPECT_EQ(rendered(message), "Request: [ type: Read16, byteOrder: Host, logicalDeviceName: traf.top, "
                                 "address: 1f0, bitmask: 0, command: 0, length: 2, values: { 0, 0, } ]");
}

TEST(Request, RendersAllValuesAndTheSharedWordTwice) {
    Request message(RequestData::Type::Write32, "common.i2c.0");
    message.setAddress(0xFFFFFFFF);
    message.setBitmask(0xAB);
    message.setLength(10);
    message.setLength(0);
    for (std::uint32_t i = 0; i < 12; ++i) {
        message.addValue(i * 0x10);
    }
    EXPECT_EQ(rendered(message), "Request: [ type: Write32, byteOrder: Network, logicalDeviceName: common.i2c.0, "
                                 "address: ffffffff, bitmask: ab, command: ab, length: 12, values: { 0, 10, 20, 30, "
                                 "40, 50, 60, 70, 80, 90, a0, b0, } ]");
}

TEST(Response, HasTheSameBytesOnEveryProcessor) {
    Response message;
    message.setResult(ResponseData::Result::Error);
    for (std::uint32_t i = 0; i < 128; ++i) {
        message.addValue(responseValue(i));
    }
    EXPECT_EQ(hexOf(message), fullResponse);
}

TEST(Response, IsDecodedFromBigEndianWords) {
    const auto message = received<Response>(bytesFrom(fullResponse));
    EXPECT_EQ(message.getResult(), ResponseData::Result::Error);
    EXPECT_EQ(message.getLength(), 128U);
    for (std::uint32_t i = 0; i < 128; ++i) {
        EXPECT_EQ(message.getValue(i), responseValue(i)) << i;
    }
}

TEST(Response, PutsItsResultFirst) {
    Response message;
    message.setResult(ResponseData::Result::Error);
    EXPECT_EQ(bytesOf(message), response(0xFFFFFFFF));
    message.setResult(static_cast<ResponseData::Result>(0x12345678));
    EXPECT_EQ(bytesOf(message), response(0x12345678));
    message.setResult(ResponseData::Result::Success);
    EXPECT_EQ(bytesOf(message), Bytes(responseSize));
}

TEST(Response, IsASuccessWhenNew) {
    const Response message;
    EXPECT_EQ(message.getResult(), ResponseData::Result::Success);
    EXPECT_TRUE(message.isSuccessful());
    EXPECT_EQ(rendered(message), "Response: [ result: Success, length: 0, values: { } ]");
}

TEST(Messages, CopyTheWholeRecordWhenTheyAreAssigned) {
    Request request(RequestData::Type::Open, "an.earlier.name");
    request = received<Request>(bytesFrom(fullRequest));
    EXPECT_EQ(hexOf(request), fullRequest);
    Response response;
    response = received<Response>(bytesFrom(fullResponse));
    EXPECT_EQ(hexOf(response), fullResponse);
}

TEST(Response, TreatsEveryResultButZeroAsAFailure) {
    for (const std::uint32_t word : {0xFFFFFFFFU, 1U, 0x01000000U, 0x80000000U}) {
        EXPECT_FALSE(received<Response>(response(word)).isSuccessful());
    }
    EXPECT_EQ(received<Response>(response(0xFFFFFFFF)).getResult(), ResponseData::Result::Error);
}

TEST(Response, RendersItsResultLengthAndValues) {
    Response message;
    message.setResult(ResponseData::Result::Error);
    for (std::uint32_t i = 0; i < 11; ++i) {
        message.addValue(0xABCDEF00 + i);
    }
    EXPECT_EQ(rendered(message),
              "Response: [ result: Error, length: 11, values: { abcdef00, abcdef01, abcdef02, abcdef03, abcdef04, "
              "abcdef05, abcdef06, abcdef07, abcdef08, abcdef09, abcdef0a, } ]");
}

TEST(Response, RendersAnUnknownResultAsNothing) {
    EXPECT_EQ(rendered(received<Response>(response(1))), "Response: [ result: , length: 0, values: { } ]");
}

TEST(InterruptMessage, IsOneWordOfZerosWhenNew) {
    const InterruptMessage message;
    EXPECT_EQ(bytesOf(message), Bytes(4));
    EXPECT_EQ(rendered(message), "0");
}

TEST(InterruptMessage, RendersItsWordAsItIsStoredInTheBaseOfTheStream) {
    InterruptMessage message;
    const std::uint32_t word = 0x1A2B3C4D;
    std::memcpy(message.toBuffer(), &word, sizeof(word));
    EXPECT_EQ(rendered(message), "439041101");
    std::ostringstream stream;
    stream << std::hex;
    message.toStream(stream) << ' ' << 16;
    EXPECT_EQ(stream.str(), "1a2b3c4d 10");
    EXPECT_EQ(baseAfter(message), "20");
}

TEST(InterruptMessage, RendersRandomWords) {
    std::mt19937 random(4);
    std::ostringstream stream;
    InterruptMessage message;
    for (unsigned int round = 0; round < randomRecords; ++round) {
        const auto word = static_cast<std::uint32_t>(random());
        std::memcpy(message.toBuffer(), &word, sizeof(word));
        stream.str("");
        message.toStream(stream);
        ASSERT_EQ(stream.str(), std::to_string(word));
    }
}

TEST(IMessage, HoldsNothingButItsRecord) {
    struct OneRecord {
        virtual ~OneRecord() = default;
        RequestData data;
    };
    EXPECT_EQ(sizeof(Request), sizeof(OneRecord));
    EXPECT_EQ(sizeof(RequestData), requestSize);
    EXPECT_EQ(sizeof(ResponseData), responseSize);
    EXPECT_TRUE((std::is_same_v<decltype(ResponseData::result), std::int32_t>));
    EXPECT_TRUE((std::is_base_of_v<Message<RequestData>, Request>));
    EXPECT_TRUE((std::is_base_of_v<Message<ResponseData>, Response>));
    EXPECT_TRUE((std::is_base_of_v<Message<std::uint32_t>, InterruptMessage>));
}

TEST(IMessage, GivesOneBufferToReadAndToReceiveInto) {
    Request message;
    EXPECT_EQ(static_cast<const IMessage&>(message).toBuffer(), static_cast<IMessage&>(message).toBuffer());
}

TEST(IMessage, KeepsTheOrderOfItsOperations) {
    // The destructor occupies the first two slots of the vtable.
    EXPECT_EQ(slotOf(&IMessage::toStream), 2U);
    EXPECT_EQ(slotOf<const void* (IMessage::*)() const>(&IMessage::toBuffer), 3U);
    EXPECT_EQ(slotOf<void* (IMessage::*)()>(&IMessage::toBuffer), 4U);
    EXPECT_EQ(slotOf(&IMessage::getSize), 5U);
}

} // namespace
