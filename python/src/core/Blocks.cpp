// SPDX-License-Identifier: MIT
#include "Blocks.h"

#include "Errors.h"

namespace RynvelPython {

namespace {

struct Block {
    PyObject_HEAD void* memory;
    Py_ssize_t items;
    Py_ssize_t itemSize;
    bool isBigEndian;
};

PyTypeObject* blockType = nullptr;

Block* asBlock(PyObject* object) { return reinterpret_cast<Block*>(object); }

const char* formatOf(const Block& block) {
    switch (block.itemSize) {
    case 1:
        return "B";
    case 2:
        return block.isBigEndian ? ">H" : "H";
    default:
        return block.isBigEndian ? ">I" : "I";
    }
}

int exportBuffer(PyObject* self, Py_buffer* view, int flags) {
    Block& block = *asBlock(self);
    view->obj = Py_NewRef(self);
    view->buf = block.memory;
    view->len = block.items * block.itemSize;
    view->itemsize = block.itemSize;
    view->readonly = 0;
    view->ndim = 1;
    view->format = (flags & PyBUF_FORMAT) != 0 ? const_cast<char*>(formatOf(block)) : nullptr;
    view->shape = (flags & PyBUF_ND) != 0 ? &block.items : nullptr;
    view->strides = (flags & PyBUF_STRIDES) == PyBUF_STRIDES ? &block.itemSize : nullptr;
    view->suboffsets = nullptr;
    view->internal = nullptr;
    return 0;
}

void deallocate(PyObject* self) {
    PyTypeObject* const type = Py_TYPE(self);
    PyMem_Free(asBlock(self)->memory);
    PyObject_Free(self);
    Py_DECREF(type);
}

} // namespace

void addBlockType(PyObject* module) {
    static PyType_Slot slots[] = {
        {Py_tp_dealloc, reinterpret_cast<void*>(deallocate)},
        {Py_bf_getbuffer, reinterpret_cast<void*>(exportBuffer)},
        {Py_tp_doc, const_cast<char*>("The memory of the registers that read_block() has read.")},
        {0, nullptr}};
    static PyType_Spec spec{"rynvel._core.Block", sizeof(Block), 0,
                            Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION | Py_TPFLAGS_IMMUTABLETYPE, slots};
    PyObject* const type = PyType_FromSpec(&spec);
    if (type == nullptr || PyModule_AddObjectRef(module, "Block", type) != 0) {
        throw PythonError();
    }
    blockType = reinterpret_cast<PyTypeObject*>(type);
}

PyObject* newBlock(std::uint64_t items, unsigned int width, bool isBigEndian) {
    const auto itemSize = static_cast<Py_ssize_t>(width / 8);
    if (items > static_cast<std::uint64_t>(PY_SSIZE_T_MAX / itemSize)) {
        PyErr_NoMemory();
        throw PythonError();
    }
    Block* const block = PyObject_New(Block, blockType);
    if (block == nullptr) {
        throw PythonError();
    }
    block->items = static_cast<Py_ssize_t>(items);
    block->itemSize = itemSize;
    block->isBigEndian = isBigEndian;
    block->memory = PyMem_Calloc(items == 0 ? 1 : static_cast<std::size_t>(items), width / 8);
    if (block->memory == nullptr) {
        Py_DECREF(block);
        PyErr_NoMemory();
        throw PythonError();
    }
    return reinterpret_cast<PyObject*>(block);
}

void* memoryOf(PyObject* block) { return asBlock(block)->memory; }

} // namespace RynvelPython
