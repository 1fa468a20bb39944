// SPDX-License-Identifier: MIT
// The extension module `rynvel._maps`. The classes of rynvel._registers use it; programs do not.
#include <chrono>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "ArrayNames.h"
#include "InputFile.h"
#include "MapView.h"

namespace py = pybind11;

namespace RynvelPython {

namespace {

/** Returns a text of a map as a Python text. A byte that is not UTF-8 becomes a surrogate. */
py::str textOf(const std::string& text) {
    PyObject* const decoded =
        PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
    if (decoded == nullptr) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::str>(decoded);
}

template <typename Texts>
py::list textsOf(const Texts& texts) {
    py::list result;
    for (const std::string& text : texts) {
        result.append(textOf(text));
    }
    return result;
}

/** Returns a name from a program. Accepts any text, even with surrogates, because the search reports unknown names. */
std::string nameIn(const py::str& text) {
    PyObject* const encoded = PyUnicode_AsEncodedString(text.ptr(), "utf-8", "surrogatepass");
    if (encoded == nullptr) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::bytes>(encoded);
}

py::object pathOf(const std::string& path) {
    PyObject* const decoded = PyUnicode_DecodeFSDefaultAndSize(path.data(), static_cast<Py_ssize_t>(path.size()));
    if (decoded == nullptr) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::object>(decoded);
}

std::shared_ptr<GroupView> load(const py::str& deviceName, unsigned int width, const std::vector<py::bytes>& paths,
                                std::uint32_t timeout) {
    const std::string name = nameIn(deviceName);
    const std::vector<std::string> files(paths.begin(), paths.end());
    const py::gil_scoped_release release;
    const SharedMap map = loadMap(name, width, files, Common::Deadline(std::chrono::milliseconds(timeout)));
    return map ? std::make_shared<GroupView>(map) : nullptr;
}

py::object childOf(const GroupView& group, const py::str& name) {
    const GroupView::Child child = group.child(nameIn(name));
    if (const auto* const view = std::get_if<RegisterView>(&child)) {
        return py::cast(*view);
    }
    const auto* const inner = std::get_if<GroupView>(&child);
    return inner == nullptr ? py::object(py::none()) : py::cast(*inner);
}

py::list arrayOf(const GroupView& group, const py::str& name) {
    py::list elements;
    for (const auto& element : group.array(nameIn(name))) {
        elements.append(py::make_tuple(textOf(element.name), textsOf(element.indexes)));
    }
    return elements;
}

py::list fieldArrayOf(const RegisterView& view, const py::str& name) {
    py::list elements;
    for (const auto& element : view.fieldArray(nameIn(name))) {
        elements.append(py::make_tuple(element.name, textsOf(element.indexes)));
    }
    return elements;
}

/** Returns the name of a value of a field; None if the value has no name. */
py::object meaningOf(const Maps::Field& field, std::uint64_t value) {
    const auto name = nameOfValue(field, value);
    return name ? py::object(textOf(*name)) : py::object(py::none());
}

py::list writableValuesOf(const Maps::Field& field) {
    py::list values;
    for (const auto& [name, number] : valuesOf(field)) {
        values.append(py::make_tuple(textOf(name), number));
    }
    return values;
}

/** A field, and the register that it belongs to. */
struct FieldView {
    RegisterView owner;
    const Maps::Field* field;

    bool isInside() const { return Maps::isInside(*field, owner.contents()); }
};

py::list fieldsOf(const RegisterView& view) {
    py::list fields;
    for (const Maps::Field& field : view.contents().fields) {
        fields.append(FieldView{view, &field});
    }
    return fields;
}

void defineFields(py::module_& module) {
    py::class_<FieldView>(module, "Field")
        .def_property_readonly("name", [](const FieldView& self) { return textOf(self.field->name); })
        .def_property_readonly("description",
                               [](const FieldView& self) { return textOf(self.field->description.str()); })
        .def_property_readonly("lsb", [](const FieldView& self) { return self.field->lsb; })
        .def_property_readonly("msb", [](const FieldView& self) { return self.field->msb; })
        .def_property_readonly("inside", &FieldView::isInside)
        .def_property_readonly("readable", [](const FieldView& self) { return Maps::isReadable(self.field->access); })
        .def_property_readonly("writable", [](const FieldView& self) { return Maps::isWritable(self.field->access); })
        .def_property_readonly("array",
                               [](const FieldView& self) {
                                   const auto& array = self.field->arrayElement.array;
                                   return textOf(array ? Maps::withoutPlaceholder(array->name) : "");
                               })
        .def_property_readonly("values", [](const FieldView& self) { return writableValuesOf(*self.field); })
        .def("meaning", [](const FieldView& self, std::uint64_t value) { return meaningOf(*self.field, value); })
        .def("number_named",
             [](const FieldView& self, const py::str& name) { return Maps::numberToWrite(*self.field, nameIn(name)); });
}

void defineRegisters(py::module_& module) {
    py::class_<RegisterView>(module, "Register")
        .def_property_readonly("path", [](const RegisterView& self) { return textOf(self.located().name); })
        .def_property_readonly("description",
                               [](const RegisterView& self) { return textOf(self.contents().description.str()); })
        .def_property_readonly("address", [](const RegisterView& self) { return self.located().offset; })
        .def_property_readonly("size", [](const RegisterView& self) { return self.contents().size; })
        .def_property_readonly("readable", [](const RegisterView& self) { return Maps::isReadable(self.contents()); })
        .def_property_readonly("writable", [](const RegisterView& self) { return Maps::isWritable(self.contents()); })
        .def_property_readonly("has_read_effect", &RegisterView::hasReadSideEffect)
        .def_property_readonly("obstacle", [](const RegisterView& self) { return textOf(self.obstacle()); })
        .def_property_readonly("reset_value", [](const RegisterView& self) { return self.contents().resetValue; })
        .def_property_readonly("fields", &fieldsOf)
        .def_property_readonly("shape", &RegisterView::shape)
        .def("find_field", [](const RegisterView& self, const py::str& name) { return self.findField(nameIn(name)); })
        .def("field_array", &fieldArrayOf)
        .def("similar_fields",
             [](const RegisterView& self, const py::str& name) { return textsOf(self.similarFields(nameIn(name))); })
        .def("plan_field",
             [](const RegisterView& self, std::size_t position) {
                 const FieldPlan plan = self.planField(position);
                 return py::make_tuple(plan.kept, plan.mask, plan.isConstrained);
             })
        .def("require_allowed_in_field", &RegisterView::requireAllowedInField)
        .def("plan_fields",
             [](const RegisterView& self, const std::vector<std::pair<std::size_t, std::uint64_t>>& numbers) {
                 const DeviceWrite write = self.planFields(numbers);
                 return py::make_tuple(write.value, write.mask);
             })
        .def("plan_register",
             [](const RegisterView& self, std::uint64_t value, std::optional<std::uint64_t> mask) {
                 const DeviceWrite write = self.planRegister(value, mask);
                 return py::make_tuple(write.value, write.mask);
             })
        .def("depends_on_other_bits", &RegisterView::dependsOnOtherBits)
        .def("require_result_allowed",
             [](const RegisterView& self, std::uint64_t value, std::uint64_t mask, std::uint64_t before) {
                 self.requireResultAllowed({value, mask}, before);
             })
        .def("require_readable", &RegisterView::requireReadable);
}

void defineGroups(py::module_& module) {
    py::class_<GroupView, std::shared_ptr<GroupView>>(module, "Group")
        .def_property_readonly("file", [](const GroupView& self) { return pathOf(self.map().description().file); })
        .def_property_readonly("peripheral", [](const GroupView& self) { return textOf(self.map().peripheral().name); })
        .def_property_readonly("prefix", [](const GroupView& self) { return textOf(self.prefix()); })
        .def_property_readonly("description", [](const GroupView& self) { return textOf(self.description()); })
        .def("child", &childOf)
        .def("array", &arrayOf)
        .def("find", [](const GroupView& self, const py::str& path) { return self.find(nameIn(path)); })
        .def("similar", [](const GroupView& self, const py::str& path) { return textsOf(self.similar(nameIn(path))); })
        .def("names", [](const GroupView& self) { return textsOf(self.names()); })
        .def("paths", [](const GroupView& self) { return textsOf(self.paths()); });
}

/**
 * Defines an exception class for a C++ exception. The message may contain bytes of a path that are not UTF-8, for
 * which py::register_exception() would raise UnicodeDecodeError instead.
 */
template <typename Exception>
void defineException(py::module_& module, const char* name) {
    // This reference to the class is never released.
    static PyObject* const type = py::exception<Exception>(module, name).release().ptr();
    py::register_exception_translator([](std::exception_ptr pointer) {
        try {
            std::rethrow_exception(std::move(pointer));
        } catch (const Exception& exception) {
            PyErr_SetObject(type, pathOf(exception.what()).ptr());
        }
    });
}

void translateTimeouts() {
    py::register_exception_translator([](std::exception_ptr pointer) {
        try {
            std::rethrow_exception(std::move(pointer));
        } catch (const Common::ReadTimedOut& timedOut) {
            PyErr_SetObject(PyExc_TimeoutError, pathOf(timedOut.name).ptr());
        }
    });
}

} // namespace

} // namespace RynvelPython

PYBIND11_MODULE(_maps, module) {
    module.doc() = "Register maps for rynvel.";
    RynvelPython::defineException<Maps::UnusableMap>(module, "UnusableMap");
    RynvelPython::defineException<Maps::RefusedValue>(module, "RefusedValue");
    RynvelPython::translateTimeouts();
    RynvelPython::defineFields(module);
    RynvelPython::defineRegisters(module);
    RynvelPython::defineGroups(module);
    module.def("load", &RynvelPython::load, py::arg("device_name"), py::arg("width"), py::arg("paths"),
               py::arg("timeout_ms"));
}
