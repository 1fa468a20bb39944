/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The messages that a remote device and its register server exchange.
 */
#ifndef RYNVEL_MESSAGES_H
#define RYNVEL_MESSAGES_H

#include "rynvel/ByteOrder.h"
#include "rynvel/Export.h"

#include <array>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace Rynvel {

/**
 * A message, which has a record of fixed size. A connection transfers the bytes of the record, without a length, a tag
 * or a terminator. A message has no lock: use it in one thread at a time.
 *
 * The order of the virtual functions is part of the binary interface.
 */
class RYNVEL_EXPORT IMessage {
public:
    IMessage() = default;
    /** Copies a message. */
    IMessage(const IMessage&) = default;
    /** Copies a message. */
    IMessage& operator=(const IMessage&) = default;
    virtual ~IMessage();

    /**
     * Writes the message as text, with hexadecimal addresses and values, and a decimal length. Does not restore the
     * number base of the stream.
     */
    virtual std::ostream& toStream(std::ostream& stream) const = 0;

    /** Returns a pointer to the record, for sending. */
    virtual const void* toBuffer() const = 0;

    /** Returns a pointer to the record, for receiving. */
    virtual void* toBuffer() = 0;

    /** Returns the size of the record in bytes. */
    virtual unsigned int getSize() const = 0;
};

/**
 * A message whose record has type `T`. The record is in wire format: all integers are big-endian.
 *
 * @tparam T RequestData, ResponseData, or std::uint32_t for InterruptMessage.
 */
template <typename T>
class RYNVEL_EXPORT Message : public IMessage {
public:
    /** Returns a pointer to the record, for sending. */
    const void* toBuffer() const override;
    /** Returns a pointer to the record, for receiving. */
    void* toBuffer() override;
    /** Returns the size of `T` in bytes. */
    unsigned int getSize() const override;

protected:
    /** The record. */
    T m_data{};
};

/** The maximum number of values in a record. */
constexpr std::uint32_t recordCapacity = 128;

/** The record of a request. It has 660 bytes, and all integers are big-endian. */
struct RYNVEL_EXPORT RequestData {
    /** The operations, with their numbers in a record. */
    enum class Type : std::uint32_t {
        Open = 0,
        Close = 1,
        Read8 = 2,
        Read16 = 3,
        Read32 = 4,
        Write8 = 5,
        Write16 = 6,
        Write32 = 7,
        Ioctl = 8,
        GetInterruptType = 9,
        EnableInterrupt = 10,
        DisableInterrupt = 11,
        WaitForInterrupt = 12,
        Debug = 13,
    };

    /** The Type of the operation. A received record may contain any number. */
    std::uint32_t type;
    /** The device name. Request ends the name with a zero byte. A received record may contain any bytes. */
    std::array<char, 128> deviceName;
    /** The register address, in the unit of the device type at the server. */
    std::uint32_t address;
    /** The register values, one in each word for every register width. */
    std::array<std::uint32_t, recordCapacity> values;
    /** The number of valid words in `values`; in a read request, the number of registers to read. */
    std::uint32_t length;
    /** The byte order: 0 for ByteOrder::Network, 1 for ByteOrder::Host. The enumerators have the opposite values. */
    std::uint32_t byteOrder;
    /** The mask of a masked write, or the command of an ioctl request. */
    std::uint32_t bitmaskOrCommand;
};

/** The record of a response. It has 520 bytes, and all integers are big-endian. */
struct RYNVEL_EXPORT ResponseData {
    /** The results, with their numbers in a record. Every number except 0 means failure. */
    enum class Result : std::int32_t {
        Success = 0,
        Error = -1,
    };

    /** The Result of the operation. A received record may contain any number. */
    std::int32_t result;
    /** The register values, one in each word for every register width. */
    std::array<std::uint32_t, recordCapacity> values;
    /** The number of valid words in `values`. */
    std::uint32_t length;
};

/**
 * A request of a client. Setters and getters convert between the byte order of the processor and the byte order of the
 * record.
 *
 * No function fails. Setters ignore data that does not fit in the record. A received record may contain any bytes, but
 * getters and toStream() never read beyond the record.
 */
class RYNVEL_EXPORT Request : public Message<RequestData> {
public:
    /** Sets all bytes of the record to 0. */
    Request();
    /** Stores the type and the device name, and sets all other bytes of the record to 0. */
    Request(RequestData::Type type, const std::string& name);

    std::ostream& toStream(std::ostream& stream) const override;

    /** Stores the type of the operation. */
    void setType(RequestData::Type type);
    /**
     * Stores the first 127 characters of the name. If an earlier name was longer, the last characters of the earlier
     * name remain.
     */
    void setDeviceName(const std::string& name);
    /** Stores the register address. */
    void setAddress(std::uint32_t address);
    /** Appends a value. Does nothing if the length is already 128 or more. */
    void addValue(std::uint32_t value);
    /** Stores the number of values. Does nothing if `length` is above 128. */
    void setLength(std::uint32_t length);
    /** Stores the mask in the word that setCommand() also uses. */
    void setBitmask(std::uint32_t bitmask);
    /** Stores the command of an ioctl request in the word that setBitmask() also uses. */
    void setCommand(std::uint32_t command);
    /** Stores the byte order. Every value except Network is stored as Host. */
    void setByteOrder(ByteOrder byteOrder);

    /** Returns the number in the record, even if the number is not an enumerator. */
    RequestData::Type getType() const;
    /** Returns the name up to the first zero byte, or all 128 bytes if no byte is zero. */
    std::string getDeviceName() const;
    /** Returns the register address. */
    std::uint32_t getAddress() const;
    /** Returns the length in the record, even if the length is above 128. */
    std::uint32_t getLength() const;
    /** Returns the value at `index`. Returns 0 if `index` is not less than the length, or not less than 128. */
    std::uint32_t getValue(std::uint32_t index) const;
    /** Returns the first value; 0 if the record has no values. */
    std::uint32_t getValue() const;
    /** Returns the word that contains the mask or the command. */
    std::uint32_t getBitmask() const;
    /** @copydoc getBitmask */
    std::uint32_t getCommand() const;
    /** Returns Network if the record contains 0, and Host if the record contains any other number. */
    ByteOrder getByteOrder() const;
};

/** A response of a server. The class converts and limits values in the same way as Request. */
class RYNVEL_EXPORT Response : public Message<ResponseData> {
public:
    /** Sets all bytes of the record to 0, which means a success without values. */
    Response();

    std::ostream& toStream(std::ostream& stream) const override;

    /** Stores the result of the operation. */
    void setResult(ResponseData::Result result);
    /** @copydoc Request::addValue */
    void addValue(std::uint32_t value);
    /** @copydoc Request::setLength */
    void setLength(std::uint32_t length);

    /** Returns the number in the record, even if the number is not an enumerator. */
    ResponseData::Result getResult() const;
    /** Returns whether the result is Success. */
    bool isSuccessful() const;
    /** @copydoc Request::getLength */
    std::uint32_t getLength() const;
    /** @copydoc Request::getValue(std::uint32_t) const */
    std::uint32_t getValue(std::uint32_t index) const;
    /** Returns the first value; 0 if the record has no values. */
    std::uint32_t getValue() const;
};

/** The report of an interrupt. The record is the interrupt word, which the class does not convert from big-endian. */
class RYNVEL_EXPORT InterruptMessage : public Message<std::uint32_t> {
public:
    /** Sets the interrupt word to 0. */
    InterruptMessage();

    /** Writes the interrupt word without conversion, in the number base of the stream. */
    std::ostream& toStream(std::ostream& stream) const override;
};

extern template class Message<RequestData>;
extern template class Message<ResponseData>;
extern template class Message<std::uint32_t>;

} // namespace Rynvel

#endif
