/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_FUZZ_RECORD_H
#define RYNVEL_FUZZ_RECORD_H

#include <rynvel.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "MessageBytes.h"
#include "Rule.h"

namespace RynvelFuzz {

using RynvelTest::bytesOf;

constexpr std::uint32_t capacity = 128;

inline std::string hex(std::uint32_t word) {
    char digits[9];
    std::snprintf(digits, sizeof(digits), "%x", word);
    return digits;
}

inline std::string rendered(const Rynvel::IMessage& message) {
    std::ostringstream stream;
    require(&message.toStream(stream) == &stream && stream.good(), "toStream() returns its stream, without an error");
    return stream.str();
}

/** A record that a peer sends. The constructor cuts a longer input, and pads a shorter input with zeros. */
class Record {
public:
    Record(const std::uint8_t* input, std::size_t inputSize, std::size_t size)
        : m_bytes(input, input + std::min(inputSize, size)) {
        m_bytes.resize(size);
    }

    const std::vector<std::uint8_t>& bytes() const { return m_bytes; }

    /** Returns the big-endian word at an offset. */
    std::uint32_t word(std::size_t offset) const {
        std::uint32_t word = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            word = word << 8U | m_bytes.at(offset + i);
        }
        return word;
    }

    /** Returns the characters of a field before its first NUL, or all its characters if there is no NUL. */
    std::string text(std::size_t offset, std::size_t size) const {
        const auto* const first = reinterpret_cast<const char*>(&m_bytes.at(offset));
        return {first, std::find(first, first + size, '\0')};
    }

    void receiveInto(Rynvel::IMessage& message) const {
        require(message.getSize() == m_bytes.size(), "a message has the size of its record");
        std::memcpy(message.toBuffer(), m_bytes.data(), m_bytes.size());
    }

private:
    std::vector<std::uint8_t> m_bytes;
};

/** The rules for the values of a received record. The record may contain any length word. */
template <typename Message>
class Values {
public:
    Values(const Record& record, std::size_t values, std::size_t length)
        : m_record(record), m_values(values), m_length(record.word(length)) {}

    void requireGetters(const Message& message) const {
        require(message.getLength() == m_length, "the length is that of the record");
        require(message.getValue() == value(0), "getValue() without an index returns the first value");
        for (std::uint32_t i = 0; i < capacity + 2; ++i) {
            requireValue(message, i);
        }
        for (const std::uint32_t index : {m_length - 1, m_length, m_length + 1, 0x3FFFFFFFU, 0x40000000U, 0x7FFFFFFFU,
                                          0x80000000U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
            requireValue(message, index);
        }
    }

    /** Requires the setters to ignore lengths and values above the capacity. Changes the message. */
    void requireSetters(Message& message) const {
        message.setLength(capacity + 1);
        message.setLength(0xFFFFFFFF);
        require(message.getLength() == m_length, "a length above the capacity is not stored");
        message.addValue(0x12345678);
        require(message.getLength() == (m_length < capacity ? m_length + 1 : m_length),
                "a value is added only if there is room");
        require(m_length >= capacity || message.getValue(m_length) == 0x12345678, "an added value is the last");
    }

    /** Returns the end of the text of the message, with the length and the values. */
    std::string text() const {
        std::string text = ", length: " + std::to_string(m_length) + ", values: { ";
        for (std::uint32_t i = 0; i < valid(); ++i) {
            text += hex(value(i)) + ", ";
        }
        return text + "} ]";
    }

private:
    std::uint32_t valid() const { return std::min(m_length, capacity); }
    std::uint32_t value(std::uint32_t i) const {
        return i < valid() ? m_record.word(m_values + std::size_t{4} * i) : 0;
    }

    void requireValue(const Message& message, std::uint32_t index) const {
        require(message.getValue(index) == value(index), "a value is that of the record, or 0 at and above the length");
    }

    const Record& m_record;
    const std::size_t m_values;
    const std::uint32_t m_length;
};

/** Returns the part of a text between a beginning and an end. Requires the text to have both. */
inline std::string between(const std::string& text, const std::string& beginning, const std::string& end) {
    require(text.size() >= beginning.size() + end.size(), "the text form has all its fields");
    require(text.compare(0, beginning.size(), beginning) == 0, "the text form begins with the first fields");
    require(text.compare(text.size() - end.size(), end.size(), end) == 0, "the text form ends with the last fields");
    return text.substr(beginning.size(), text.size() - beginning.size() - end.size());
}

} // namespace RynvelFuzz

#endif
