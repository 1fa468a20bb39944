// SPDX-License-Identifier: MIT
#include "Arguments.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "DeviceName.h"
#include "Errors.h"

namespace RynvelPython {

namespace {

/** The largest time-out in seconds. */
constexpr double longestTimeout = 1e9;

/** A reference to a Python object. */
class Reference {
public:
    explicit Reference(PyObject* object) : m_object(object) {
        if (object == nullptr) {
            throw PythonError();
        }
    }
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;
    ~Reference() { Py_DECREF(m_object); }

    PyObject* get() const { return m_object; }

private:
    PyObject* const m_object;
};

std::string utf8(PyObject* text) {
    const Reference bytes(PyUnicode_AsEncodedString(text, "utf-8", "backslashreplace"));
    return {PyBytes_AsString(bytes.get()), static_cast<std::size_t>(PyBytes_Size(bytes.get()))};
}

std::string hexadecimal(PyObject* integer) {
    const Reference text(PyNumber_ToBase(integer, 16));
    return utf8(text.get());
}

/** A Python integer, and its value if the value fits in 64 bits. */
class Integer {
public:
    explicit Integer(PyObject* object) : m_integer(PyNumber_Index(object)) {
        m_value = PyLong_AsLongLongAndOverflow(m_integer.get(), &m_overflow);
    }

    bool isBetween(std::uint64_t lowest, std::uint64_t highest) const {
        return m_overflow == 0 && m_value >= 0 && static_cast<std::uint64_t>(m_value) >= lowest &&
               static_cast<std::uint64_t>(m_value) <= highest;
    }

    std::uint64_t value() const { return static_cast<std::uint64_t>(m_value); }

    /** Returns the integer as text for a message; a bound in place of an integer that does not fit in 64 bits. */
    std::string text(bool isHexadecimal) const {
        if (m_overflow != 0) {
            return m_overflow < 0 ? "below -2**63" : "2**63 or above";
        }
        return isHexadecimal ? hexadecimal(m_integer.get()) : std::to_string(m_value);
    }

private:
    const Reference m_integer;
    long long m_value = 0;
    int m_overflow = 0;
};

[[noreturn]] void fail(ErrorKind kind, const std::string& text) {
    raise(kind, text);
    throw PythonError();
}

std::string boundsOf(const DeviceProperties& device) {
    const std::string size = std::to_string(device.registerCount * device.bytes());
    return device.hasMap ? "the map of " + size + " bytes" : "the 32-bit address range";
}

[[noreturn]] void failOutside(const DeviceProperties& device, const std::string& place, std::uint64_t items) {
    fail(ErrorKind::Range,
         device.name + ": " +
             (items == 1 ? "register " + place + " is outside " + boundsOf(device)
                         : std::to_string(items) + " registers from " + place + " extend beyond " + boundsOf(device)));
}

/** Returns the index of the register at `place`, which is a byte address or an index. */
std::uint64_t indexOf(const DeviceProperties& device, const Integer& place, bool isByteAddress, std::uint64_t items) {
    if (!place.isBetween(0, UINT32_MAX)) {
        failOutside(device, place.text(isByteAddress), items);
    }
    if (!isByteAddress) {
        return place.value();
    }
    if (place.value() % device.bytes() != 0) {
        fail(ErrorKind::Alignment, device.name + ": address " + place.text(true) + " is not a multiple of " +
                                       std::to_string(device.bytes()) + " (" + std::to_string(device.type.width) +
                                       "-bit registers)");
    }
    return place.value() / device.bytes();
}

double seconds(PyObject* timeout) {
    const double value = PyFloat_AsDouble(timeout);
    if (value == -1 && PyErr_Occurred() != nullptr) {
        // An integer without a floating-point value is too large in any case.
        if (PyErr_ExceptionMatches(PyExc_OverflowError) == 0) {
            throw PythonError();
        }
        PyErr_Clear();
        return HUGE_VAL;
    }
    return value;
}

} // namespace

void assignArguments(const char* function, const Call& call, const char* const* names, PyObject** values,
                     std::size_t count, std::size_t maxPositional) {
    const auto given = static_cast<std::size_t>(call.count);
    if (given > maxPositional) {
        fail(ErrorKind::Type, std::string(function) + "() takes at most " + std::to_string(maxPositional) +
                                  (maxPositional == 1 ? " positional argument (" : " positional arguments (") +
                                  std::to_string(given) + " given)");
    }
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = i < given ? call.arguments[i] : nullptr;
    }
    const Py_ssize_t namedCount = call.names == nullptr ? 0 : PyTuple_GET_SIZE(call.names);
    for (Py_ssize_t i = 0; i < namedCount; ++i) {
        PyObject* const name = PyTuple_GET_ITEM(call.names, i);
        std::size_t parameter = 0;
        while (parameter < count && PyUnicode_CompareWithASCIIString(name, names[parameter]) != 0) {
            ++parameter;
        }
        if (parameter == count) {
            fail(ErrorKind::Type,
                 std::string(function) + "() got an unexpected keyword argument '" + utf8(name) + '\'');
        }
        if (values[parameter] != nullptr) {
            fail(ErrorKind::Type, std::string(function) + "() got multiple values for argument '" + utf8(name) + '\'');
        }
        values[parameter] = call.arguments[call.count + i];
    }
}

void requireArgument(const char* function, const char* name, const PyObject* value) {
    if (value == nullptr) {
        fail(ErrorKind::Type, std::string(function) + "() missing required argument: '" + name + '\'');
    }
}

std::uint32_t parseAddress(const DeviceProperties& device, PyObject* address, PyObject* index, std::uint64_t items) {
    const bool isByteAddress = address != nullptr && address != Py_None;
    const bool isIndex = index != nullptr && index != Py_None;
    if (isByteAddress == isIndex) {
        fail(ErrorKind::Type, isIndex ? "give a byte address or index=, not both" : "give a byte address or index=");
    }
    const Integer place(isByteAddress ? address : index);
    const std::uint64_t first = indexOf(device, place, isByteAddress, items);
    if (first + items > device.registerCount || first >= device.registerCount) {
        failOutside(device, place.text(isByteAddress), items);
    }
    if (first + items > 1 && !device.isUnitKnown) {
        fail(ErrorKind::Range, device.name + ": you can use only register 0, because the type on the server is unknown "
                                             "(give the type with type=)");
    }
    return static_cast<std::uint32_t>(first * device.type.addressStride);
}

std::uint32_t parseValue(const DeviceProperties& device, const char* what, PyObject* value) {
    const Integer integer(value);
    const std::uint64_t highest = UINT32_MAX >> (32U - device.type.width);
    if (!integer.isBetween(0, highest)) {
        fail(ErrorKind::ValueTooWide, device.name + ": " + what + ' ' + integer.text(true) + " is not from 0 to " +
                                          (device.type.width == 8    ? "0xff"
                                           : device.type.width == 16 ? "0xffff"
                                                                     : "0xffffffff") +
                                          " (" + std::to_string(device.type.width) + "-bit registers)");
    }
    return static_cast<std::uint32_t>(integer.value());
}

std::uint64_t parseCount(const DeviceProperties& device, PyObject* value) {
    const Integer count(value);
    if (!count.isBetween(0, device.registerCount)) {
        fail(ErrorKind::Range, device.name + ": count " + count.text(false) + " is not from 0 to " +
                                   std::to_string(device.registerCount) + " (the number of registers of the device)");
    }
    return count.value();
}

bool parseByteOrder(PyObject* order) {
    if (order == nullptr) {
        return false;
    }
    if (!PyUnicode_Check(order)) {
        fail(ErrorKind::Type, "byteorder must be 'host' or 'network', not " + std::string(Py_TYPE(order)->tp_name));
    }
    if (PyUnicode_CompareWithASCIIString(order, "host") == 0) {
        return false;
    }
    if (PyUnicode_CompareWithASCIIString(order, "network") == 0) {
        return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
    }
    const Reference shown(PyObject_Repr(order));
    fail(ErrorKind::Value, "byteorder: " + utf8(shown.get()) + " is not 'host' or 'network'");
}

std::optional<std::chrono::milliseconds> parseTimeout(PyObject* timeout, bool allowsZero) {
    if (timeout == nullptr || timeout == Py_None) {
        return std::nullopt;
    }
    const double value = seconds(timeout);
    // A comparison with NaN is false.
    const bool isLongEnough = allowsZero ? value >= 0 : value > 0;
    if (!isLongEnough || !(value <= longestTimeout)) {
        fail(ErrorKind::Value, std::string("timeout: not a time ") +
                                   (allowsZero ? "from 0 to 1e9 seconds (None means no time-out)"
                                               : "above 0 and at most 1e9 seconds (None means the default)"));
    }
    return std::chrono::milliseconds(static_cast<long long>(std::ceil(value * 1000)));
}

std::string parseText(const char* what, PyObject* text, bool isDeviceName) {
    if (!PyUnicode_Check(text)) {
        fail(ErrorKind::Type, std::string(what) + " must be str, not " + Py_TYPE(text)->tp_name);
    }
    Py_ssize_t size = 0;
    const char* const bytes = PyUnicode_AsUTF8AndSize(text, &size);
    if (bytes != nullptr && std::strlen(bytes) == static_cast<std::size_t>(size) &&
        (isDeviceName || std::none_of(bytes, bytes + size, Common::isControlCharacter))) {
        return {bytes, static_cast<std::size_t>(size)};
    }
    PyErr_Clear();
    const Reference shown(PyObject_ASCII(text));
    if (isDeviceName) {
        fail(ErrorKind::UnknownDevice,
             utf8(shown.get()) + ": no device has this name (rynvel.devices() lists the names)");
    }
    fail(ErrorKind::Value,
         std::string(what) + ": " + utf8(shown.get()) + " contains a control character or an unpaired surrogate");
}

} // namespace RynvelPython
