// SPDX-License-Identifier: MIT
#include <optional>
#include <string>
#include <vector>

#include <pybind11/pybind11.h>

#include "Blocks.h"
#include "DeviceList.h"
#include "DeviceProbe.h"
#include "DeviceType.h"
#include "DeviceTypeInfo.h"
#include "Errors.h"
#include "Interpreter.h"
#include "TraceQueue.h"

namespace RynvelPython {

namespace {

namespace py = pybind11;

/** Returns the name, kind, width, path and server of a device, and whether its device file exists. */
py::tuple describe(const Rynvel::MemoryDevice& row) {
    const Common::DeviceTypeInfo& type = *Common::findDeviceTypeInfo(row.m_type);
    if (type.access == Common::AccessMethod::Remote) {
        return py::make_tuple(row.m_name, type.name, type.width, py::none(), row.m_devicePath, py::none());
    }
    return py::make_tuple(row.m_name, type.name, type.width, row.m_devicePath, py::none(),
                          Common::deviceFileExists(row));
}

py::list listDevices() {
    py::list devices;
    for (const auto& row : Common::devices()) {
        devices.append(describe(row));
    }
    return devices;
}

py::object text(const std::string& characters) {
    return py::reinterpret_steal<py::object>(
        PyUnicode_DecodeUTF8(characters.data(), static_cast<Py_ssize_t>(characters.size()), "backslashreplace"));
}

void waitForTraces(double timeout) {
    unlocked([&] { TraceQueue::instance().wait(std::chrono::milliseconds(static_cast<long long>(timeout * 1000))); });
}

py::list takeTraces() {
    std::vector<Trace> traces;
    // A thread that traces may hold the mutex of the queue for the time of an allocation.
    unlocked([&] { traces = TraceQueue::instance().take(); });
    py::list result;
    for (const Trace& trace : traces) {
        result.append(py::make_tuple(text(trace.channel), trace.level, text(trace.text), text(trace.file), trace.line,
                                     text(trace.function), trace.isEntry, trace.time, trace.thread));
    }
    return result;
}

// The tracing library waits until no thread uses the previous sink.
void attachTraces() {
    unlocked([] { TraceQueue::instance().attach(); });
}

void detachTraces() {
    unlocked([] { TraceQueue::instance().detach(); });
}

py::list listChannels() {
    py::list channels;
    for (const auto& channel : ZilTraceControl::channels()) {
        channels.append(py::make_tuple(channel.name, channel.level));
    }
    return channels;
}

void requireLoaded(bool condition) {
    if (!condition) {
        throw py::error_already_set();
    }
}

void build(py::module_& module) {
    try {
        loadErrors();
        addBlockType(module.ptr());
        addDeviceTypes(module.ptr());
    } catch (const PythonError&) {
        requireLoaded(false);
    }
    Forks::watch();
    module.def("devices", listDevices, "Returns the rows of the device table.");
    module.def("trace_attach", attachTraces, "Collects the traces of all channels.");
    module.def("trace_detach", detachTraces, "Sends the traces to the configured sink again.");
    module.def("trace_wait", waitForTraces, py::arg("timeout"),
               "Waits until there are traces, or for the time-out in seconds.");
    module.def("trace_take", takeTraces, "Returns the traces since the last call.");
    module.def(
        "trace_wake_up", [] { TraceQueue::instance().wakeUp(); }, "Ends the wait of another thread.");
    module.def(
        "trace_lost", [] { return TraceQueue::instance().lost(); },
        "Returns the number of traces that did not fit in the queue.");
    module.def("trace_channels", listChannels, "Returns the names and levels of all channels.");
    module.def("trace_set_level", ZilTraceControl::setLevel, py::arg("pattern"), py::arg("level"),
               "Sets the level of the channels that match a pattern. Returns whether both are valid.");
}

} // namespace

} // namespace RynvelPython

PYBIND11_MODULE(_core, module) {
    module.doc() = "The devices of librynvel. Use the package rynvel instead of this module.";
    RynvelPython::build(module);
}
