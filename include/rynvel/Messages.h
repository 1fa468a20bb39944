/**
 * @file
 * The records that a remote device and its register server exchange.
 */
#ifndef RYNVEL_MESSAGES_H
#define RYNVEL_MESSAGES_H

#include <array>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "rynvel/ByteOrder.h"
#include "rynvel/Export.h"

namespace Rynvel {

/**
 * A record of fixed size that goes over a connection as it lies in memory: without length, tag or terminator.
 *
 * The order of the virtual operations is part of the binary interface.
 */
class RYNVEL_EXPORT IMessage {
public:
    IMessage() = default;
    IMessage(const IMessage&) = default;
    IMessage& operator=(const IMessage&) = default;
    virtual ~IMessage();

    /**
     * Writes the message as text. Addresses and values are hexadecimal, lengths decimal; the stream's base is not
     * restored.
     */
    virtual std::ostream& toStream(std::ostream& stream) const = 0;

    /** The first byte of the record. */
    virtual const void* toBuffer() const = 0;

    /** The first byte of the record, to receive into. */
    virtual void* toBuffer() = 0;

    /** The size of the record in bytes. */
    virtual unsigned int getSize() const = 0;
};

/**
 * A message that is one plain record, held in wire form: all integers are big-endian.
 *
 * @tparam T RequestData, ResponseData or, for InterruptMessage, a word of 32 bits.
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

/** The number of values that a record has room for. */
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

    /** A Type, or anything when it was received. */
    std::uint32_t type;
    /** NUL-padded and NUL-terminated when it was set by Request; anything when it was received. */
    std::array<char, 128> deviceName;
    /** The register address, in the unit of the device at the server. */
    std::uint32_t address;
    /** One register value in each word, whatever the width of the registers. */
    std::array<std::uint32_t, recordCapacity> values;
    /** The number of valid entries in `values`. */
    std::uint32_t length;
    /** 0 for ByteOrder::Network, 1 for ByteOrder::Host: the other way round than the enumeration. */
    std::uint32_t byteOrder;
    /** The mask of a masked write and the command of an ioctl request are one word. */
    std::uint32_t bitmaskOrCommand;
};

/** The wire record of a response: 520 bytes, all integers big-endian. */
struct RYNVEL_EXPORT ResponseData {
    /** The outcome; the values are those on the wire. Any other value is a failure too. */
    enum class Result : std::int32_t {
        Success = 0,
        Error = -1,
    };

    /** A Result, or anything when it was received. */
    std::int32_t result;
    /** One register value in each word, whatever the width of the registers. */
    std::array<std::uint32_t, recordCapacity> values;
    /** The number of valid entries in `values`. */
    std::uint32_t length;
};

/**
 * A request of a client. Setters and getters convert between the processor's byte order and the record's.
 *
 * Nothing fails: what is too much is dropped, what is not there reads as 0. A record that was received may hold
 * anything; the getters and the rendering stay inside of it.
 */
class RYNVEL_EXPORT Request : public Message<RequestData> {
public:
    /** All bytes zero. */
    Request();
    /** All bytes zero but for the type and the name. */
    Request(RequestData::Type type, const std::string& name);

    std::ostream& toStream(std::ostream& stream) const override;

    void setType(RequestData::Type type);
    /** Stores the first 127 characters over what is there; what a longer earlier name left behind them stays. */
    void setDeviceName(const std::string& name);
    void setAddress(std::uint32_t address);
    /** Appends a value; does nothing when there are 128. */
    void addValue(std::uint32_t value);
    /** Does nothing when the length is above 128. */
    void setLength(std::uint32_t length);
    /** Stores the word that setCommand() stores too. */
    void setBitmask(std::uint32_t bitmask);
    /** Stores the word that setBitmask() stores too. */
    void setCommand(std::uint32_t command);
    /** Every value but Network is stored as Host. */
    void setByteOrder(ByteOrder byteOrder);

    /** The word as it is: no enumerator where the peer sent another number. */
    RequestData::Type getType() const;
    /** Up to the field's first NUL, or the whole field where there is none. */
    std::string getDeviceName() const;
    std::uint32_t getAddress() const;
    /** The word as it is, also when it is above 128. */
    std::uint32_t getLength() const;
    /** The value at an index; 0 for an index at or above the length or 128. */
    std::uint32_t getValue(std::uint32_t index) const;
    /** getValue(0). */
    std::uint32_t getValue() const;
    std::uint32_t getBitmask() const;
    std::uint32_t getCommand() const;
    /** Network for the word 0, Host for every other. */
    ByteOrder getByteOrder() const;
};

/** A response of a server; as Request in all else. */
class RYNVEL_EXPORT Response : public Message<ResponseData> {
public:
    /** All bytes zero: a success without values. */
    Response();

    std::ostream& toStream(std::ostream& stream) const override;

    void setResult(ResponseData::Result result);
    /** @copydoc Request::addValue */
    void addValue(std::uint32_t value);
    /** @copydoc Request::setLength */
    void setLength(std::uint32_t length);

    /** The word as it is: no enumerator where the peer sent another number. */
    ResponseData::Result getResult() const;
    /** Whether the result is Success; any other value is a failure. */
    bool isSuccessful() const;
    /** @copydoc Request::getLength */
    std::uint32_t getLength() const;
    /** @copydoc Request::getValue(std::uint32_t) const */
    std::uint32_t getValue(std::uint32_t index) const;
    /** getValue(0). */
    std::uint32_t getValue() const;
};

/** An interrupt that a server reports: one word, which its receiver takes from the buffer and converts itself. */
class RYNVEL_EXPORT InterruptMessage : public Message<std::uint32_t> {
public:
    /** The word 0. */
    InterruptMessage();

    /** Writes the word as it is stored, in wire order, in the stream's base. */
    std::ostream& toStream(std::ostream& stream) const override;
};

extern template class Message<RequestData>;
extern template class Message<ResponseData>;
extern template class Message<std::uint32_t>;

} // namespace Rynvel

#endif
