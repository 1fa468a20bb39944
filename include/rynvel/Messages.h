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
 * A message has a record of fixed size. A connection transfers the record as it is in memory, without a length, a tag
 * or a terminator. A message has no lock: use it in one thread at a time.
 *
 * The order of the virtual functions is part of the binary interface.
 */
class RYNVEL_EXPORT IMessage {
public:
    IMessage() = default;
    IMessage(const IMessage&) = default;
    IMessage& operator=(const IMessage&) = default;
    virtual ~IMessage();

    /**
     * Writes the message as text. Addresses and values are hexadecimal, lengths decimal. Does not restore the number
     * base of the stream.
     */
    virtual std::ostream& toStream(std::ostream& stream) const = 0;

    /** Returns the address of the record. */
    virtual const void* toBuffer() const = 0;

    /** Returns the address of the record, for receiving into it. */
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
    const void* toBuffer() const override;
    void* toBuffer() override;
    unsigned int getSize() const override;

protected:
    T m_data{};
};

/** The maximum number of values in a record. */
constexpr std::uint32_t recordCapacity = 128;

/** The wire record of a request: 660 bytes, all integers big-endian. */
struct RYNVEL_EXPORT RequestData {
    /** The operation; the values are those on the wire. */
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

    /** A Type; a received record may hold any number. */
    std::uint32_t type;
    /** The device name. Request terminates it with zero; a received record may hold any bytes. */
    std::array<char, 128> deviceName;
    /** The register address, in the unit of the device type at the server. */
    std::uint32_t address;
    /** One register value in each word, whatever the width of the registers. */
    std::array<std::uint32_t, recordCapacity> values;
    /** The number of valid entries in `values`. */
    std::uint32_t length;
    /** 0 for ByteOrder::Network, 1 for ByteOrder::Host: the reverse of the enumeration. */
    std::uint32_t byteOrder;
    /** The mask of a masked write, or the command of an ioctl request. */
    std::uint32_t bitmaskOrCommand;
};

/** The wire record of a response: 520 bytes, all integers big-endian. */
struct RYNVEL_EXPORT ResponseData {
    /** The result; the values are those on the wire. Every other value also means failure. */
    enum class Result : std::int32_t {
        Success = 0,
        Error = -1,
    };

    /** A Result; a received record may hold any number. */
    std::int32_t result;
    /** One register value in each word, whatever the width of the registers. */
    std::array<std::uint32_t, recordCapacity> values;
    /** The number of valid entries in `values`. */
    std::uint32_t length;
};

/**
 * A request of a client. Setters and getters convert between the byte orders of the processor and of the record.
 *
 * No function fails: setters drop what does not fit, and getters return 0 for a missing value. A received record may
 * hold any bytes; getters and toStream() never read beyond it.
 */
class RYNVEL_EXPORT Request : public Message<RequestData> {
public:
    /** Sets all bytes to 0. */
    Request();
    /** Sets all bytes except those of the type and the name to 0. */
    Request(RequestData::Type type, const std::string& name);

    std::ostream& toStream(std::ostream& stream) const override;

    void setType(RequestData::Type type);
    /** Stores the first 127 characters. Does not clear the rest of a longer name that was set before. */
    void setDeviceName(const std::string& name);
    void setAddress(std::uint32_t address);
    /** Appends a value; does nothing if the length is 128 or more. */
    void addValue(std::uint32_t value);
    /** Does nothing if `length` is above 128. */
    void setLength(std::uint32_t length);
    /** Stores the word that setCommand() also stores. */
    void setBitmask(std::uint32_t bitmask);
    /** Stores the word that setBitmask() also stores. */
    void setCommand(std::uint32_t command);
    /** Stores every value except Network as Host. */
    void setByteOrder(ByteOrder byteOrder);

    /** Returns the word unchanged. It is not an enumerator if the peer sent another number. */
    RequestData::Type getType() const;
    /** Returns the name up to the first zero byte, or all 128 bytes if there is none. */
    std::string getDeviceName() const;
    std::uint32_t getAddress() const;
    /** Returns the word unchanged, even if it is above 128. */
    std::uint32_t getLength() const;
    /** Returns the value at an index; 0 if the index is not below both the length and 128. */
    std::uint32_t getValue(std::uint32_t index) const;
    /** Returns getValue(0). */
    std::uint32_t getValue() const;
    std::uint32_t getBitmask() const;
    std::uint32_t getCommand() const;
    /** Returns Network for the word 0, and Host for every other. */
    ByteOrder getByteOrder() const;
};

/** A response of a server. It converts and limits values in the same way as Request. */
class RYNVEL_EXPORT Response : public Message<ResponseData> {
public:
    /** Sets all bytes to 0: a success without values. */
    Response();

    std::ostream& toStream(std::ostream& stream) const override;

    void setResult(ResponseData::Result result);
    /** @copydoc Request::addValue */
    void addValue(std::uint32_t value);
    /** @copydoc Request::setLength */
    void setLength(std::uint32_t length);

    /** Returns the word unchanged. It is not an enumerator if the peer sent another number. */
    ResponseData::Result getResult() const;
    /** Returns whether the result is Success. */
    bool isSuccessful() const;
    /** @copydoc Request::getLength */
    std::uint32_t getLength() const;
    /** @copydoc Request::getValue(std::uint32_t) const */
    std::uint32_t getValue(std::uint32_t index) const;
    /** Returns getValue(0). */
    std::uint32_t getValue() const;
};

/** An interrupt that a server reports: the interrupt word, which the receiver converts from big-endian itself. */
class RYNVEL_EXPORT InterruptMessage : public Message<std::uint32_t> {
public:
    /** Sets the word to 0. */
    InterruptMessage();

    /** Writes the word as it is stored, without conversion from big-endian, in the number base of the stream. */
    std::ostream& toStream(std::ostream& stream) const override;
};

extern template class Message<RequestData>;
extern template class Message<ResponseData>;
extern template class Message<std::uint32_t>;

} // namespace Rynvel

#endif
