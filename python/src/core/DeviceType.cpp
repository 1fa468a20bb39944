// SPDX-License-Identifier: MIT
#include "DeviceType.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "Arguments.h"
#include "Blocks.h"
#include "Errors.h"
#include "Interpreter.h"
#include "Interrupts.h"
#include "OpenDevice.h"

namespace RynvelPython {

namespace {

/** The state of a Python object for a device. Threads use it only with the GIL. */
struct DeviceState {
    /** Null after close(). */
    std::shared_ptr<OpenDevice> device;
    /** Stays valid after close(). */
    DeviceProperties properties;
    /** The current or latest use of the interrupts. */
    std::weak_ptr<InterruptSession> session;
    bool isSessionStarting = false;
    unsigned int forks;
};

struct DeviceObject {
    PyObject_HEAD DeviceState* state;
};

struct SessionObject {
    PyObject_HEAD std::shared_ptr<InterruptSession>* session;
    unsigned int forks;
};

PyTypeObject* sessionType = nullptr;

DeviceState& stateOf(PyObject* self) { return *reinterpret_cast<DeviceObject*>(self)->state; }

[[gnu::cold, gnu::noinline]] void throwUnusable(const DeviceState& state) {
    if (!state.device) {
        throw OperationError(ErrorKind::Closed, state.properties.name + ": the device is closed");
    }
    throw OperationError(ErrorKind::Forked,
                         state.properties.name + ": the device was opened before the process forked (open it again)");
}

/** Returns the open device. Convert all arguments before this call, because a conversion may close the device. */
const std::shared_ptr<OpenDevice>& usable(const DeviceState& state) {
    if (__builtin_expect(!state.device || state.forks != Forks::count(), 0)) {
        throwUnusable(state);
    }
    return state.device;
}

PyObject* none() { return Py_NewRef(Py_None); }

/**
 * Calls an operation on `items` registers of the open device. Holds the GIL for at most 1024 registers of a mapped
 * device, because releasing the GIL would take longer than a few loads or stores. Otherwise, releases the GIL.
 */
template <typename Operation>
void operate(const DeviceState& state, std::uint64_t items, const Operation& operation) {
    // With an access time of 1 microsecond, a burst of this many registers is shorter than the interpreter's default
    // switch interval of 5 ms.
    constexpr std::uint64_t fewItems = 1024;
    const auto& device = usable(state);
    if (!device->mayBlock()) {
        if (items <= fewItems) {
            refreshBusErrorGuard();
            operation(*device);
            return;
        }
        installBusErrorGuard();
    }
    // Keeps the object alive, because another thread may close the device during the operation.
    const std::shared_ptr<OpenDevice> kept = device;
    unlocked([&] { operation(*kept); });
}

/**
 * Returns whether an argument is an int with the valid byte address of `items` registers, and stores the address in the
 * unit of the device. If the result is false, call parseAddress(), which returns the address or reports the error.
 */
bool isPlainAddress(const DeviceProperties& device, PyObject* argument, std::uint64_t items, std::uint32_t& address) {
    if (argument == nullptr || !PyLong_CheckExact(argument)) {
        return false;
    }
    int overflow = 0;
    const long value = PyLong_AsLongAndOverflow(argument, &overflow);
    const auto number = static_cast<unsigned long>(value);
    const unsigned int bytes = device.bytes();
    if (overflow != 0 || value < 0 || (number & (bytes - 1)) != 0 || !device.isUnitKnown) {
        return false;
    }
    const unsigned long index = number / bytes;
    address = static_cast<std::uint32_t>(index * device.type.addressStride);
    return index < device.registerCount && items <= device.registerCount - index;
}

PyObject* readRegister(PyObject* self, PyObject* const* arguments, Py_ssize_t count, PyObject* names) {
    return guarded([&] {
        DeviceState& state = stateOf(self);
        std::uint32_t address = 0;
        if (count != 1 || names != nullptr || !isPlainAddress(state.properties, arguments[0], 1, address)) {
            static constexpr std::array<const char*, 2> parameters{"address", "index"};
            std::array<PyObject*, parameters.size()> values{};
            assignArguments("read", {arguments, count, names}, parameters.data(), values.data(), values.size(), 1);
            address = parseAddress(state.properties, values[0], values[1]);
        }
        std::uint32_t value = 0;
        operate(state, 1, [&](OpenDevice& device) { value = device.read(address); });
        return PyLong_FromUnsignedLong(value);
    });
}

PyObject* writeRegister(PyObject* self, PyObject* const* arguments, Py_ssize_t count, PyObject* names) {
    return guarded([&] {
        DeviceState& state = stateOf(self);
        static constexpr std::array<const char*, 4> parameters{"address", "value", "mask", "index"};
        std::array<PyObject*, parameters.size()> values{};
        assignArguments("write", {arguments, count, names}, parameters.data(), values.data(), values.size(), 2);
        requireArgument("write", "value", values[1]);
        const std::uint32_t address = parseAddress(state.properties, values[0], values[3]);
        const std::uint32_t value = parseValue(state.properties, "value", values[1]);
        if (values[2] == nullptr || values[2] == Py_None) {
            operate(state, 1, [&](OpenDevice& device) { device.write(address, value); });
            return none();
        }
        const std::uint32_t mask = parseValue(state.properties, "mask", values[2]);
        operate(state, 1, [&](OpenDevice& device) { device.write(address, value, mask); });
        return none();
    });
}

/** A contiguous buffer of a Python object. */
class Buffer {
public:
    Buffer(PyObject* object, const DeviceProperties& device, int flags, bool isReversed) {
        if (PyObject_GetBuffer(object, &m_view, flags | PyBUF_C_CONTIGUOUS | PyBUF_FORMAT) != 0) {
            if (PyErr_ExceptionMatches(PyExc_BufferError) != 0) {
                PyErr_Clear();
                throw OperationError(ErrorKind::Type,
                                     device.name + ((flags & PyBUF_WRITABLE) != 0
                                                        ? ": the buffer is not contiguous and writable (give, for "
                                                          "example, a bytearray)"
                                                        : ": the buffer is not contiguous (give, for example, bytes)"));
            }
            throw PythonError();
        }
        m_bytes = device.bytes();
        if (isPlain()) {
            return;
        }
        if (const std::string problem = findProblem(device); !problem.empty()) {
            PyBuffer_Release(&m_view);
            throw OperationError(ErrorKind::Width, device.name + ": " + problem);
        }
        if (hasByteOrder(isReversed ? littleEndian : foreign)) {
            PyBuffer_Release(&m_view);
            throw OperationError(ErrorKind::Value,
                                 device.name + (isReversed ? ": the items of the buffer have little-endian byte order "
                                                             "(leave out byteorder='network')"
                                                           : ": the items of the buffer have another byte order than "
                                                             "the processor (give byteorder='network')"));
        }
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { PyBuffer_Release(&m_view); }

    char* memory() const { return static_cast<char*>(m_view.buf); }
    std::uint64_t items() const { return static_cast<std::uint64_t>(m_view.len) / m_bytes; }

private:
    // Returns whether the items are plain unsigned integers of the register width, so that the other checks are
    // unnecessary. Those checks would take a large part of the time of a burst.
    bool isPlain() const {
        if (m_view.format == nullptr || m_view.itemsize != static_cast<Py_ssize_t>(m_bytes)) {
            return false;
        }
        const char format = m_view.format[0];
        return (format == 'B' || format == 'H' || format == 'I' || format == 'L') && m_view.format[1] == '\0';
    }

    static constexpr const char* littleEndian = "<";
    static constexpr const char* foreign = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? ">!" : littleEndian;

    /** Returns whether the format of the items begins with one of the characters for a byte order. */
    bool hasByteOrder(const char* characters) const {
        return m_view.itemsize > 1 && m_view.format != nullptr && std::strspn(m_view.format, characters) > 0;
    }

    /** Returns whether the items are integers. The format 'c', a character of one byte, also counts as an integer. */
    bool hasIntegers() const {
        if (m_view.format == nullptr) {
            return true;
        }
        const char* const kind = m_view.format + std::strspn(m_view.format, "@=<>!");
        return std::strspn(kind, "bBhHiIlLqQnNc") == 1 && kind[1] == '\0';
    }

    std::string findProblem(const DeviceProperties& device) const {
        const std::size_t bytes = device.bytes();
        const std::string registers = std::to_string(device.type.width) + "-bit registers";
        const auto itemSize = static_cast<std::size_t>(m_view.itemsize);
        if (itemSize != 1 && itemSize != bytes) {
            return "the buffer has items of " + std::to_string(itemSize) + " bytes (" + registers + " need items of " +
                   (bytes == 1 ? "1 byte" : "1 or " + std::to_string(bytes) + " bytes") + ')';
        }
        if (!hasIntegers()) {
            return std::string("the buffer has items of format '") + m_view.format + "' (registers need integers)";
        }
        if (static_cast<std::size_t>(m_view.len) % bytes != 0) {
            return "the buffer has " + std::to_string(m_view.len) + " bytes, not a multiple of " +
                   std::to_string(bytes) + " (" + registers + ')';
        }
        return "";
    }

    Py_buffer m_view{};
    unsigned int m_bytes = 0;
};

/** Calls `transfer` for each part of a burst, and signal handlers between the parts, at most every 50 ms. */
template <typename Transfer>
void transferParts(OpenDevice& device, std::uint32_t address, char* memory, std::uint64_t items,
                   const Transfer& transfer) {
    const std::uint32_t stride = device.properties().type.addressStride;
    const std::uint32_t maxItems = device.maxItems();
    for (std::uint64_t done = 0; done < items; done += maxItems) {
        if (done > 0) {
            UnlockedWork::checkSignalsSometimes();
        }
        const auto part = static_cast<std::uint32_t>(std::min<std::uint64_t>(maxItems, items - done));
        transfer(static_cast<std::uint32_t>(address + done * stride), memory + done * device.properties().bytes(),
                 part);
    }
}

/** Calls `transfer` with memory that is aligned like an array of registers. If `memory` is not aligned, uses a copy. */
template <typename Before, typename Transfer, typename After>
void transferAligned(OpenDevice& device, char* memory, std::uint32_t items, const Before& before,
                     const Transfer& transfer, const After& after) {
    const unsigned int bytes = device.properties().bytes();
    if (reinterpret_cast<std::uintptr_t>(memory) % bytes == 0) {
        transfer(memory);
        return;
    }
    const std::unique_ptr<std::uint32_t[]> aligned(new std::uint32_t[items]);
    const std::size_t size = std::size_t{items} * bytes;
    before(aligned.get(), memory, size);
    transfer(aligned.get());
    after(memory, aligned.get(), size);
}

void copy(void* to, const void* from, std::size_t size) { std::memcpy(to, from, size); }
void copyNothing(const void* /*to*/, const void* /*from*/, std::size_t /*size*/) {}

void readBurst(const DeviceState& state, std::uint32_t address, char* memory, std::uint64_t items, bool isReversed) {
    operate(state, items, [&](OpenDevice& device) {
        transferParts(device, address, memory, items, [&](std::uint32_t from, char* to, std::uint32_t part) {
            transferAligned(
                device, to, part, copyNothing,
                [&](void* registers) { device.readInto(from, registers, part, isReversed); }, copy);
        });
    });
}

void writeBurst(const DeviceState& state, std::uint32_t address, char* memory, std::uint64_t items, bool isReversed) {
    operate(state, items, [&](OpenDevice& device) {
        transferParts(device, address, memory, items, [&](std::uint32_t to, char* from, std::uint32_t part) {
            transferAligned(
                device, from, part, copy,
                [&](const void* registers) { device.writeFrom(to, registers, part, isReversed); }, copyNothing);
        });
    });
}

using BurstFunction = void (*)(const DeviceState&, std::uint32_t, char*, std::uint64_t, bool);

PyObject* transferBuffer(PyObject* self, const char* function, const Call& call, int flags, BurstFunction transfer) {
    return guarded([&] {
        DeviceState& state = stateOf(self);
        static constexpr std::array<const char*, 4> parameters{"address", "buffer", "index", "byteorder"};
        std::array<PyObject*, parameters.size()> values{};
        assignArguments(function, call, parameters.data(), values.data(), values.size(), 2);
        requireArgument(function, "buffer", values[1]);
        const bool isReversed = parseByteOrder(values[3]);
        const Buffer buffer(values[1], state.properties, flags, isReversed);
        std::uint32_t address = 0;
        if (values[2] != nullptr || !isPlainAddress(state.properties, values[0], buffer.items(), address)) {
            address = parseAddress(state.properties, values[0], values[2], buffer.items());
        }
        transfer(state, address, buffer.memory(), buffer.items(), isReversed);
        return none();
    });
}

PyObject* readInto(PyObject* self, PyObject* const* arguments, Py_ssize_t count, PyObject* names) {
    return transferBuffer(self, "read_into", {arguments, count, names}, PyBUF_WRITABLE, readBurst);
}

PyObject* writeFrom(PyObject* self, PyObject* const* arguments, Py_ssize_t count, PyObject* names) {
    return transferBuffer(self, "write_from", {arguments, count, names}, PyBUF_SIMPLE, writeBurst);
}

PyObject* readBlock(PyObject* self, PyObject* const* arguments, Py_ssize_t count, PyObject* names) {
    return guarded([&]() -> PyObject* {
        DeviceState& state = stateOf(self);
        static constexpr std::array<const char*, 4> parameters{"address", "count", "index", "byteorder"};
        std::array<PyObject*, parameters.size()> values{};
        assignArguments("read_block", {arguments, count, names}, parameters.data(), values.data(), values.size(), 2);
        requireArgument("read_block", "count", values[1]);
        const bool isReversed = parseByteOrder(values[3]);
        const std::uint64_t items = parseCount(state.properties, values[1]);
        const std::uint32_t address = parseAddress(state.properties, values[0], values[2], items);
        usable(state);
        PyObject* const block = newBlock(items, state.properties.type.width, isReversed);
        try {
            readBurst(state, address, static_cast<char*>(memoryOf(block)), items, isReversed);
        } catch (...) {
            Py_DECREF(block);
            throw;
        }
        PyObject* const view = PyMemoryView_FromObject(block);
        Py_DECREF(block);
        return view;
    });
}

/** Ends the use of the interrupts, if there is one. */
void stopInterrupts(DeviceState& state) {
    if (const auto session = state.session.lock()) {
        unlocked([&] { session->stop(); });
    }
}

/** Closes the device. In a forked child, does not disable the interrupts, because the parent may use them. */
void close(DeviceState& state) {
    const std::shared_ptr<OpenDevice> device = std::exchange(state.device, nullptr);
    // Stops the interrupts even if the device is already closed, because a signal may have interrupted an earlier call.
    if (state.forks == Forks::count()) {
        stopInterrupts(state);
    }
}

PyObject* closeDevice(PyObject* self, PyObject* /*unused*/) {
    return guarded([&] {
        close(stateOf(self));
        return none();
    });
}

PyObject* startInterrupts(PyObject* self, PyObject* /*unused*/) {
    return guarded([&] {
        DeviceState& state = stateOf(self);
        const std::shared_ptr<OpenDevice> device = usable(state);
        const auto present = state.session.lock();
        if (state.isSessionStarting || (present && !present->isReleased())) {
            throw OperationError(ErrorKind::InUse,
                                 state.properties.name + ": the interrupts of this device are already in use");
        }
        state.isSessionStarting = true;
        std::shared_ptr<InterruptSession> session;
        try {
            unlocked([&] { session = std::make_shared<InterruptSession>(device); });
        } catch (...) {
            state.isSessionStarting = false;
            throw;
        }
        state.isSessionStarting = false;
        state.session = session;
        // Another thread may have closed the device while this thread did not hold the GIL.
        if (!state.device) {
            stopInterrupts(state);
            throwUnusable(state);
        }
        auto* const object = PyObject_New(SessionObject, sessionType);
        if (object == nullptr) {
            stopInterrupts(state);
            throw PythonError();
        }
        object->session = new std::shared_ptr<InterruptSession>(std::move(session));
        object->forks = Forks::count();
        return reinterpret_cast<PyObject*>(object);
    });
}

PyObject* textObject(const std::string& text) {
    return PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
}

PyObject* getName(PyObject* self, void* /*unused*/) { return textObject(stateOf(self).properties.name); }
PyObject* getKind(PyObject* self, void* /*unused*/) { return textObject(stateOf(self).properties.type.name); }
PyObject* getWidth(PyObject* self, void* /*unused*/) {
    return PyLong_FromUnsignedLong(stateOf(self).properties.type.width);
}
PyObject* getClosed(PyObject* self, void* /*unused*/) {
    const DeviceState& state = stateOf(self);
    return PyBool_FromLong(!state.device || state.forks != Forks::count());
}
PyObject* getRemote(PyObject* self, void* /*unused*/) {
    const std::string& server = stateOf(self).properties.server;
    return server.empty() ? none() : textObject(server);
}
PyObject* getSize(PyObject* self, void* /*unused*/) {
    const DeviceProperties& device = stateOf(self).properties;
    return device.hasMap ? PyLong_FromUnsignedLongLong(device.registerCount * device.bytes()) : none();
}

PyObject* newDevice(PyTypeObject* type, PyObject* arguments, PyObject* named) {
    return guarded([&]() -> PyObject* {
        static constexpr std::array<const char*, 5> parameters{"name", "remote", "timeout", "type", nullptr};
        PyObject* name = nullptr;
        PyObject* remote = Py_None;
        PyObject* timeout = Py_None;
        PyObject* serverType = Py_None;
        if (PyArg_ParseTupleAndKeywords(arguments, named, "O|OOO:Device", const_cast<char**>(parameters.data()), &name,
                                        &remote, &timeout, &serverType) == 0) {
            throw PythonError();
        }
        OpenRequest request{parseText("name", name, true), std::nullopt, std::nullopt,
                            parseTimeout(timeout, false).value_or(defaultAnswerTimeout)};
        if (remote != Py_None) {
            request.server = parseText("remote", remote, false);
        }
        if (serverType != Py_None) {
            request.type = parseText("type", serverType, false);
        }
        auto state = std::make_unique<DeviceState>();
        installBusErrorGuard();
        unlocked([&] { state->device = openDevice(request); });
        state->properties = state->device->properties();
        state->forks = Forks::count();
        PyObject* const object = type->tp_alloc(type, 0);
        if (object != nullptr) {
            reinterpret_cast<DeviceObject*>(object)->state = state.release();
        }
        return object;
    });
}

// Saves the exception that is being handled, because close() must run with a clear error indicator.
void finalizeDevice(PyObject* self) {
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    DeviceState* const state = reinterpret_cast<DeviceObject*>(self)->state;
    if (state != nullptr && state->device && state->forks == Forks::count()) {
        if (PyErr_ResourceWarning(self, 1, "unclosed device %R", self) != 0) {
            PyErr_WriteUnraisable(self);
        }
        try {
            close(*state);
        } catch (...) {
            raiseCurrent();
            PyErr_WriteUnraisable(self);
        }
    }
    PyErr_Restore(type, value, traceback);
}

void deallocateDevice(PyObject* self) {
    if (PyObject_CallFinalizerFromDealloc(self) != 0) {
        return;
    }
    PyTypeObject* const type = Py_TYPE(self);
    delete reinterpret_cast<DeviceObject*>(self)->state;
    type->tp_free(self);
    Py_DECREF(type);
}

PyMethodDef method(const char* name, PyObject* (*function)(PyObject*, PyObject* const*, Py_ssize_t, PyObject*),
                   const char* description) {
    return {name, reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(function)), METH_FASTCALL | METH_KEYWORDS,
            description};
}

PyTypeObject* addType(PyObject* module, const char* name, PyType_Spec& spec) {
    PyObject* const type = PyType_FromSpec(&spec);
    if (type == nullptr || PyModule_AddObjectRef(module, name, type) != 0) {
        throw PythonError();
    }
    return reinterpret_cast<PyTypeObject*>(type);
}

void addDeviceType(PyObject* module) {
    static PyMethodDef methods[] = {
        method("read", readRegister,
               "read($self, address=None, /, *, index=None)\n--\n\n"
               "Reads a register and returns its value.\n\n"
               "Give the byte address of the register, or its index. The GIL is held during the read of a mapped\n"
               "device, and released for all other devices.\n\n"
               "Raises RangeError, AlignmentError, BusError, DeviceError, ClosedError; for a remote device also\n"
               "RefusedError, ConnectionLostError and DeviceTimeoutError."),
        method("write", writeRegister,
               "write($self, address, value, *, mask=None, index=None)\n--\n\n"
               "Writes a value to a register, or only the bits of the value that a mask selects.\n\n"
               "With index=, give None as the address. Raises ValueTooWideError for a value or a mask that does not\n"
               "fit in a register, and the errors of read()."),
        method(
            "read_into", readInto,
            "read_into($self, address, buffer, *, index=None, byteorder='host')\n--\n\n"
            "Reads as many registers as fit in a writable buffer, in ascending order.\n\n"
            "The items of the buffer are bytes, or have the width of the registers. With byteorder='network', the\n"
            "bytes of each register are in big-endian order. Between the parts of a long burst, other threads may\n"
            "use the device, and Ctrl-C ends the burst. The parts have 4096 registers for a mapped device, 256 for\n"
            "another device of this machine, and 128 for a remote device. On seekable devices of 16 or 32 bits and on\n"
            "FPGAs, each register is a part. The GIL is held during a burst of at most 1024 registers of a mapped\n"
            "device, and released for all other bursts.\n\n"
            "Raises WidthError if the items of the buffer have another width, ValueError if their format has another\n"
            "byte order than byteorder, and the errors of read()."),
        method("write_from", writeFrom,
               "write_from($self, address, buffer, *, index=None, byteorder='host')\n--\n\n"
               "Writes the items of a buffer to consecutive registers, in ascending order.\n\n"
               "The rules and the errors of read_into() apply."),
        method("read_block", readBlock,
               "read_block($self, address, count, *, index=None, byteorder='host')\n--\n\n"
               "Reads consecutive registers and returns them as a memoryview of the width of the registers.\n\n"
               "The items have the format B, H or I. With byteorder='network', the bytes of each register are in\n"
               "big-endian order, and the format is >H or >I. bytes() and numpy.asarray() support this format.\n"
               "Indexing the memoryview raises NotImplementedError, and so do list() and tolist().\n\n"
               "The rules and the errors of read_into() apply."),
        {"close", closeDevice, METH_NOARGS,
         "close($self, /)\n--\n\n"
         "Disables the interrupts if they are in use, and closes the device.\n\n"
         "Ends the wait of another thread with ClosedError. A closed device stays closed.\n\n"
         "Ctrl-C ends a close() that waits for another thread. Call close() again to disable the interrupts."},
        {"_start_interrupts", startInterrupts, METH_NOARGS, "Enables the interrupts and returns a Session."},
        {nullptr, nullptr, 0, nullptr}};
    static PyGetSetDef attributes[] = {
        {"name", getName, nullptr, "The name of the device.", nullptr},
        {"kind", getKind, nullptr, "The device type, for example 'Uio32'. For a remote device, the type on its server.",
         nullptr},
        {"width", getWidth, nullptr, "The width of the registers in bits: 8, 16 or 32.", nullptr},
        {"size", getSize, nullptr, "The size of the map in bytes; None for a device that is not mapped.", nullptr},
        {"remote", getRemote, nullptr, "The server as 'HOST::PORT'; None for a device of this machine.", nullptr},
        {"closed", getClosed, nullptr, "Whether the device is closed, or was opened before a fork.", nullptr},
        {nullptr, nullptr, nullptr, nullptr, nullptr}};
    static PyType_Slot slots[] = {{Py_tp_new, reinterpret_cast<void*>(newDevice)},
                                  {Py_tp_dealloc, reinterpret_cast<void*>(deallocateDevice)},
                                  {Py_tp_finalize, reinterpret_cast<void*>(finalizeDevice)},
                                  {Py_tp_methods, methods},
                                  {Py_tp_getset, attributes},
                                  {Py_tp_doc, const_cast<char*>("The registers of an open device.")},
                                  {0, nullptr}};
    static PyType_Spec spec{"rynvel._core.Device", sizeof(DeviceObject), 0,
                            Py_TPFLAGS_DEFAULT | Py_TPFLAGS_BASETYPE | Py_TPFLAGS_IMMUTABLETYPE, slots};
    addType(module, "Device", spec);
}

InterruptSession& sessionOf(PyObject* self) {
    const auto* const object = reinterpret_cast<SessionObject*>(self);
    if (object->forks != Forks::count()) {
        throw OperationError(ErrorKind::Forked,
                             "the interrupts were enabled before the process forked (open the device again)");
    }
    return **object->session;
}

PyObject* waitForInterrupt(PyObject* self, PyObject* timeout) {
    return guarded([&] {
        const auto limit = parseTimeout(timeout, true);
        sessionOf(self);
        const std::shared_ptr<InterruptSession> session = *reinterpret_cast<SessionObject*>(self)->session;
        std::optional<std::uint32_t> word;
        unlocked([&] { word = session->wait(limit ? Common::Deadline(*limit) : Common::Deadline()); });
        return word ? PyLong_FromUnsignedLong(*word) : none();
    });
}

PyObject* enableInterrupts(PyObject* self, PyObject* /*unused*/) {
    return guarded([&] {
        InterruptSession& session = sessionOf(self);
        unlocked([&] { session.enableForWait(); });
        return none();
    });
}

PyObject* stopSession(PyObject* self, PyObject* /*unused*/) {
    return guarded([&] {
        if (reinterpret_cast<SessionObject*>(self)->forks == Forks::count()) {
            const std::shared_ptr<InterruptSession> session = *reinterpret_cast<SessionObject*>(self)->session;
            unlocked([&] { session->stop(); });
        }
        return none();
    });
}

PyObject* sessionDescriptors(PyObject* self, PyObject* /*unused*/) {
    return guarded([&] {
        const InterruptSession& session = sessionOf(self);
        session.requireActive();
        return Py_BuildValue("(ii)", session.descriptor(), session.stopDescriptor());
    });
}

void finalizeSession(PyObject* self) {
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    if (PyObject* const result = stopSession(self, nullptr)) {
        Py_DECREF(result);
    } else {
        PyErr_WriteUnraisable(self);
    }
    PyErr_Restore(type, value, traceback);
}

void deallocateSession(PyObject* self) {
    if (PyObject_CallFinalizerFromDealloc(self) != 0) {
        return;
    }
    PyTypeObject* const type = Py_TYPE(self);
    delete reinterpret_cast<SessionObject*>(self)->session;
    type->tp_free(self);
    Py_DECREF(type);
}

void addSessionType(PyObject* module) {
    static PyMethodDef methods[] = {
        {"wait", waitForInterrupt, METH_O,
         "Waits for the next interrupt and returns its interrupt word; None after the time-out."},
        {"enable", enableInterrupts, METH_NOARGS,
         "Enables the interrupt if the delivery of the previous interrupt has disabled it."},
        {"stop", stopSession, METH_NOARGS, "Disables the interrupts and releases them."},
        {"descriptors", sessionDescriptors, METH_NOARGS,
         "Returns two descriptors: one is readable when an interrupt arrives, the other one after stop()."},
        {nullptr, nullptr, 0, nullptr}};
    static PyType_Slot slots[] = {{Py_tp_dealloc, reinterpret_cast<void*>(deallocateSession)},
                                  {Py_tp_finalize, reinterpret_cast<void*>(finalizeSession)},
                                  {Py_tp_methods, methods},
                                  {Py_tp_doc, const_cast<char*>("The use of the interrupts of a device.")},
                                  {0, nullptr}};
    static PyType_Spec spec{"rynvel._core.Session", sizeof(SessionObject), 0,
                            Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION | Py_TPFLAGS_IMMUTABLETYPE, slots};
    sessionType = addType(module, "Session", spec);
}

} // namespace

void addDeviceTypes(PyObject* module) {
    addDeviceType(module);
    addSessionType(module);
}

} // namespace RynvelPython
