# SPDX-License-Identifier: MIT
"""The registers of a device by the names of its register map.

The rules are those of rynvelctl: a write by name changes only the bits that you name. If that is not possible, the
write is refused. The package and rynvelctl read register maps with the same code.
"""

from __future__ import annotations

import keyword
import numbers
import operator
import os
import unicodedata
from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, NoReturn, Self, SupportsIndex, Union

from . import _maps
from ._errors import MapError, NotAllowedError, UnknownNameError, ValueTooWideError, quoted

if TYPE_CHECKING:
    from ._device import Device

MapPath = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
MapPaths = Union[MapPath, Sequence[MapPath]]
FieldInput = Union[SupportsIndex, str]

# The time-out for reading a register map from a pipe.
_MAP_TIMEOUT_MS = 10_000
# The maximum number of FieldValue objects to keep for a field, so that a read seldom creates an object.
_MOST_KEPT_VALUES = 256
_WIDEST_SHOWN = 64


class FieldValue(int):
    """The value of a field: an integer with the name that the register map gives the value."""

    _name: str | None

    def __new__(cls, value: SupportsIndex, name: str | None = None) -> FieldValue:
        self = super().__new__(cls, value)
        object.__setattr__(self, "_name", name)
        return self

    @property
    def name(self) -> str | None:
        """The name of the value; None if the map gives none."""
        return self._name

    def __setattr__(self, name: str, value: object) -> NoReturn:
        raise AttributeError("you cannot change a value that was read (assign to the field)")

    def __eq__(self, other: object) -> bool:
        # You can assign a name to a field, so you may also compare the value with a name. A result that is always False
        # would hide this mistake.
        if isinstance(other, str):
            raise TypeError(f"the value of a field is an integer (compare the attribute name with {quoted(other)})")
        return int.__eq__(self, other)

    def __ne__(self, other: object) -> bool:
        return not self == other

    __hash__ = int.__hash__

    def __reduce__(self) -> tuple[type[FieldValue], tuple[int, str | None]]:
        return FieldValue, (int(self), self._name)

    def __str__(self) -> str:
        return int.__repr__(self)

    def __repr__(self) -> str:
        return f"FieldValue({int(self)}, {self._name!r})"


class RegisterValue(int):
    """The value of a register at the time of the read. Its attributes and items are the values of the fields."""

    _register: Register

    def __new__(cls, value: int, register: Register) -> RegisterValue:
        self = super().__new__(cls, value)
        object.__setattr__(self, "_register", register)
        return self

    @property
    def fields(self) -> dict[str, FieldValue]:
        """The values of the fields that can be read, from the highest bit to the lowest."""
        return self._register._decode_all(int(self))

    def __getitem__(self, name: str) -> FieldValue:
        return self._register._decode(name, int(self))

    def __getattr__(self, name: str) -> FieldValue:
        if name.startswith("_"):
            raise AttributeError(name)
        return self._register._decode(name, int(self))

    def __setattr__(self, name: str, value: object) -> NoReturn:
        raise AttributeError("you cannot change a value that was read (assign to the field of the register)")

    def __dir__(self) -> Iterable[str]:
        return sorted({*super().__dir__(), *filter(_is_attribute, self._register)})

    def __reduce__(self) -> tuple[type[int], tuple[int]]:
        return int, (int(self),)

    def __str__(self) -> str:
        return int.__repr__(self)

    def __repr__(self) -> str:
        fields = ", ".join(f"{name}={_meaning_of(value)}" for name, value in self.fields.items())
        register = self._register
        digits = register._bits // 4
        return f"<{register._path} {int(self):#0{digits + 2}x}{': ' + fields if fields else ''}>"


@dataclass(frozen=True)
class FieldInfo:
    """The properties of a field in the register map."""

    name: str
    description: str
    msb: int
    lsb: int
    readable: bool
    writable: bool
    values: Mapping[str, int]
    """The names of the values that can be written, with their numbers."""


@dataclass(frozen=True)
class RegisterInfo:
    """The properties of a register in the register map."""

    path: str
    description: str
    address: int
    """The byte address."""
    width: int
    """The width in bits."""
    reset_value: int | None
    readable: bool
    writable: bool
    has_read_effect: bool
    """Whether a read changes a register, for example clears it."""
    obstacle: str
    """Why the device cannot access the register; empty if it can."""
    fields: tuple[FieldInfo, ...]


def _meaning_of(value: FieldValue) -> str:
    return f"{int(value)} ({value.name})" if value.name else str(value)


def _is_attribute(name: str) -> bool:
    """Returns whether a name of the map can be an attribute. Names that begin with `_` belong to this package."""
    return (
        name.isidentifier()
        and not name.startswith("_")
        and not keyword.iskeyword(name)
        and (name.isascii() or unicodedata.normalize("NFKC", name) == name)
    )


def _text_of(value: int) -> str:
    """Returns a number as text for a message; for a number of more than 64 bits, the number of its bits."""
    bits = value.bit_length()
    return str(value) if bits <= _WIDEST_SHOWN else f"of {bits} bits"


def _did_you_mean(names: Sequence[str]) -> str:
    return f"did you mean {_alternatives([repr(name) for name in names])}?" if names else ""


def _alternatives(texts: Sequence[str]) -> str:
    return texts[0] if len(texts) == 1 else f"{', '.join(texts[:-1])} or {texts[-1]}"


def _counted_bits(bits: int) -> str:
    return f"{bits} bit{'' if bits == 1 else 's'}"


class _Context:
    """The state that all registers of a device share."""

    def __init__(self, device: Device, root: _maps.Group) -> None:
        self.device = device
        self.root = root
        # The class of each list of fields. The elements of an array share one list, and therefore one class.
        self.classes: dict[int, type[Register]] = {}

    def refusal(self, problem: str) -> NotAllowedError:
        return NotAllowedError(f"{self.device.name}: {problem}")

    def unknown(self, text: str, hint: str) -> UnknownNameError:
        return UnknownNameError(f"{self.device.name}: {text}" + (f" ({hint})" if hint else ""))

    def allowed(self, plan: Callable[..., Any], *arguments: object) -> Any:
        """Returns the result of `plan`, a function of the register map. Raises NotAllowedError if the map refuses."""
        try:
            return plan(*arguments)
        except _maps.RefusedValue as refused:
            raise self.refusal(str(refused)) from None

    def register(self, view: _maps.Register) -> Register:
        kind = self.classes.get(view.shape)
        if kind is None:
            kind = self.classes[view.shape] = _class_for(view)
        return kind(self, view)


class _Handle:
    """The base class of objects that refer to registers of a device. A copy is the same object. Pickling fails."""

    __slots__ = ()

    def __copy__(self) -> Self:
        return self

    def __deepcopy__(self, memo: dict[int, object]) -> Self:
        return self

    def __reduce__(self) -> NoReturn:
        raise TypeError(f"{self!r} cannot be pickled (store the values of its registers)")


class Register(_Handle):
    """A register of a device, with a field as each further attribute.

    Reading an attribute reads the field, and assigning to it writes the field and no other bit. A value is an integer
    or the name of an enumerated value. A field whose name is not an identifier, or is the name of a method, is an item:
    register["read"].
    """

    __slots__ = ("_address", "_bits", "_context", "_device", "_path", "_reads", "_view", "_writes")

    _fields: tuple[_maps.Field, ...] = ()
    # The positions of the fields that are attributes, by name.
    _positions: Mapping[str, int] = {}

    _address: int
    _bits: int
    _context: _Context
    _device: Device
    _path: str
    _reads: dict[int, tuple[int, int, dict[int, FieldValue]]]
    _view: _maps.Register
    _writes: dict[int, tuple[int, int, int, int | None, bool]]

    def __init__(self, context: _Context, view: _maps.Register) -> None:
        assign = object.__setattr__
        assign(self, "_context", context)
        assign(self, "_device", context.device)
        assign(self, "_view", view)
        assign(self, "_path", view.path)
        assign(self, "_address", view.address)
        assign(self, "_bits", view.size)
        # The shifts and masks to read and to write a field, by the position of the field.
        assign(self, "_reads", {})
        assign(self, "_writes", {})

    @property
    def info(self) -> RegisterInfo:
        """The properties of the register in the register map. Does not access the device."""
        view = self._view
        fields = tuple(
            FieldInfo(
                field.name,
                field.description,
                field.msb,
                field.lsb,
                field.readable and field.inside,
                field.writable and field.inside,
                dict(field.values),
            )
            for field in self._fields
        )
        return RegisterInfo(
            view.path,
            view.description,
            view.address,
            view.size,
            view.reset_value,
            view.readable,
            view.writable,
            view.has_read_effect,
            view.obstacle,
            fields,
        )

    def read(self, *, side_effects: bool = False) -> RegisterValue:
        """Reads the register.

        side_effects: read the register even if the read changes a register of the device.

        Raises NotAllowedError if the register is write-only, if the device cannot access it, or if the read has a side
        effect that you do not allow.
        """
        self._context.allowed(self._view.require_readable, bool(side_effects))
        return RegisterValue(self._device.read(self._address) & ((1 << self._bits) - 1), self)

    def write(self, value: SupportsIndex, *, mask: SupportsIndex | None = None) -> None:
        """Writes the register, or the bits of a mask.

        Raises NotAllowedError if the register map does not allow the value, or if a bit outside the mask could not keep
        its value, and ValueTooWideError if the value or the mask does not fit.
        """
        number = self._fitting("value", value)
        if mask is None:
            self._device.write(self._address, self._context.allowed(self._view.plan_register, number, None)[0])
            return
        selected = self._fitting("mask", mask)
        if selected == 0:
            raise self._context.refusal(f"register {self._path}: the mask selects no bits (set at least one bit)")
        self._write_masked(*self._context.allowed(self._view.plan_register, number, selected))

    def update(self, values: Mapping[str, FieldInput] | None = None, /, **fields: FieldInput) -> None:
        """Writes several fields with one write: update(MODE="fast", GAIN=3), or update({"read": 1})."""
        for name in fields:
            if values and name in values:
                raise self._context.refusal(f"register {self._path}: {name} is given twice (give one value)")
        given = {**(values or {}), **fields}
        if not given:
            raise self._context.refusal(f"register {self._path}: no field is given (give FIELD=VALUE)")
        assigned = []
        for name, value in given.items():
            position = self._position(name)
            assigned.append((position, self._number(position, value)))
        number, mask = self._context.allowed(self._view.plan_fields, assigned)
        if mask is None:
            self._device.write(self._address, number)
        else:
            self._device.write(self._address, number, mask=mask)

    def __getitem__(self, name: str) -> Any:
        position = self._find(name)
        return FieldArray(self, name) if position is None else self._read_field(position)

    def __setitem__(self, name: str, value: FieldInput) -> None:
        self._write_field(self._position(name), value)

    def __iter__(self) -> Iterator[str]:
        return iter([field.name for field in self._fields])

    def __contains__(self, name: object) -> bool:
        return isinstance(name, str) and self._view.find_field(name) is not None

    def __getattr__(self, name: str) -> Any:
        # Python calls this function only for names that the class does not have.
        if name.startswith("_"):
            raise AttributeError(f"{type(self).__name__!r} object has no attribute {name!r}")
        return self[name]

    # With a type other than Any, mypy would use the type of `value` as the type of every attribute.
    def __setattr__(self, name: str, value: Any) -> None:
        position = self._positions.get(name)
        if position is not None:
            self._write_field(position, value)
        elif hasattr(Register, name):
            raise AttributeError(
                f"{name!r} is not a field of {self._path} (use [{name!r}] for a field of this name)"
            )
        else:
            self[name] = value

    def __bool__(self) -> NoReturn:
        raise TypeError(f"register {self._path} is not a value (call {self._path}.read() for its value)")

    def __eq__(self, other: object) -> bool:
        if isinstance(other, (numbers.Number, str)):
            raise TypeError(f"register {self._path} is not a value (compare {self._path}.read())")
        return self is other

    __hash__ = object.__hash__

    def __repr__(self) -> str:
        return f"<register {self._path} of {self._device.name} at {self._address:#x}>"

    def _find(self, name: str) -> int | None:
        """Returns the position of a field; None for an array of fields. Raises UnknownNameError for other names."""
        if not isinstance(name, str):
            raise TypeError(f"register {self._path}: the name of a field is text, not {type(name).__name__}")
        position = self._view.find_field(name)
        if position is None and not self._view.field_array(name):
            raise self._unknown(name)
        return position

    def _position(self, name: str) -> int:
        position = self._find(name)
        if position is None:
            raise self._context.refusal(f"{self._path}.{name} is an array of fields (give {name}[INDEX])")
        return position

    def _unknown(self, name: str) -> UnknownNameError:
        similar = self._view.similar_fields(name)
        names = list(self)
        choices = f"give {_alternatives([repr(each) for each in names])}" if names else "the register has no fields"
        return self._context.unknown(
            f"register {self._path} has no field {quoted(name)}", _did_you_mean(similar) or choices
        )

    def _fitting(self, name: str, value: SupportsIndex) -> int:
        number = integer_of(value, f"register {self._path}: the {name}")
        if not 0 <= number < 1 << self._bits:
            raise self._too_wide(f"register {self._path}: {name} {_text_of(number)}", self._bits)
        return number

    def _too_wide(self, name: str, bits: int) -> ValueTooWideError:
        return ValueTooWideError(f"{self._device.name}: {name} does not fit in {_counted_bits(bits)}")

    def _name_with_kind(self, position: int) -> str:
        return f"field {self._path}.{self._fields[position].name}"

    def _number(self, position: int, value: FieldInput) -> int:
        """Returns the number of a value, which is an integer or the name of an enumerated value."""
        field = self._fields[position]
        if isinstance(value, str):
            named = field.number_named(value)
            if named is None:
                names = [repr(name) for name, _ in field.values]
                raise self._context.refusal(
                    f"{self._name_with_kind(position)}: {quoted(value)} is not a value of the field "
                    f"(give {_alternatives(['a number', *names])})"
                )
            number = named
        else:
            number = integer_of(value, f"{self._name_with_kind(position)}: the value")
        bits = field.msb - field.lsb + 1
        if not 0 <= number < 1 << bits:
            raise self._too_wide(f"{self._name_with_kind(position)}: value {_text_of(number)}", bits)
        return number

    def _read_field(self, position: int) -> FieldValue:
        plan = self._reads.get(position) or self._plan_read(position)
        lsb, highest, known = plan
        number = self._device.read(self._address) >> lsb & highest
        return known.get(number) or self._value(position, number, known)

    def _plan_read(self, position: int) -> tuple[int, int, dict[int, FieldValue]]:
        field = self._fields[position]
        self._context.allowed(self._view.require_readable, False)
        if not field.readable:
            raise self._context.refusal(f"{self._name_with_kind(position)} is write-only")
        self._require_inside(position)
        plan = (field.lsb, (1 << (field.msb - field.lsb + 1)) - 1, dict[int, FieldValue]())
        self._reads[position] = plan
        return plan

    def _require_inside(self, position: int) -> None:
        if not self._fields[position].inside:
            raise self._context.refusal(
                f"{self._name_with_kind(position)} is outside the {_counted_bits(self._bits)} of its register"
            )

    def _value(self, position: int, number: int, known: dict[int, FieldValue]) -> FieldValue:
        value = known.get(number)
        if value is None:
            value = FieldValue(number, self._fields[position].meaning(number))
            if len(known) < _MOST_KEPT_VALUES:
                known[number] = value
        return value

    def _write_field(self, position: int, value: Any) -> None:
        lsb, highest, kept, mask, is_constrained = self._writes.get(position) or self._plan_write(position)
        # A plain integer is the common case.
        if value.__class__ is not int or not 0 <= value <= highest:
            value = self._number(position, value)
        if is_constrained:
            self._context.allowed(self._view.require_allowed_in_field, position, value)
        number = value << lsb | kept
        if mask is None:
            self._device.write(self._address, number)
        else:
            self._device.write(self._address, number, mask=mask)

    def _plan_write(self, position: int) -> tuple[int, int, int, int | None, bool]:
        field = self._fields[position]
        kept, mask, is_constrained = self._context.allowed(self._view.plan_field, position)
        plan = (field.lsb, (1 << (field.msb - field.lsb + 1)) - 1, kept, mask, is_constrained)
        self._writes[position] = plan
        return plan

    def _write_masked(self, value: int, mask: int) -> None:
        if self._view.depends_on_other_bits(mask):
            before = self._device.read(self._address)
            self._context.allowed(self._view.require_result_allowed, value, mask, before)
        self._device.write(self._address, value, mask=mask)

    def _decode(self, name: str, value: int) -> FieldValue:
        position = self._position(name)
        field = self._fields[position]
        if not field.readable:
            raise self._context.refusal(f"{self._name_with_kind(position)} is write-only")
        self._require_inside(position)
        return self._decoded(field, value)

    def _decode_all(self, value: int) -> dict[str, FieldValue]:
        readable = [field for field in self._fields if field.readable and field.inside]
        readable.sort(key=lambda field: -field.msb)
        return {field.name: self._decoded(field, value) for field in readable}

    @staticmethod
    def _decoded(field: _maps.Field, value: int) -> FieldValue:
        number = value >> field.lsb & ((1 << (field.msb - field.lsb + 1)) - 1)
        return FieldValue(number, field.meaning(number))


def integer_of(value: SupportsIndex, name: str) -> int:
    try:
        return operator.index(value)
    except TypeError:
        raise TypeError(f"{name} must be an integer, not {type(value).__name__}") from None


def _field_property(position: int, field: _maps.Field) -> property:
    """Returns a property that reads a field. Register.__setattr__() writes the field."""

    def read(register: Register) -> FieldValue:
        return register._read_field(position)

    return property(read, doc=f"Bits {field.msb}:{field.lsb}. {field.description}".strip())


def _array_property(name: str) -> property:
    def read(register: Register) -> FieldArray:
        return FieldArray(register, name)

    return property(read, doc="An array of fields.")


def _class_for(view: _maps.Register) -> type[Register]:
    """Returns a class with the fields of a register as properties, for completion and help()."""
    fields = tuple(view.fields)
    positions: dict[str, int] = {}
    namespace: dict[str, Any] = {
        "__doc__": view.description,
        "__slots__": (),
        "_fields": fields,
        "_positions": positions,
    }
    reserved = set(dir(Register))
    for array in {field.array for field in fields} - {""}:
        if _is_attribute(array) and array not in reserved:
            namespace[array] = _array_property(array)
    for field in fields:
        if _is_attribute(field.name) and field.name not in reserved:
            position = view.find_field(field.name)
            # The name of a field has precedence over the name of an array. If several fields have the same name,
            # find_field() finds the first one.
            assert position is not None
            namespace[field.name] = _field_property(position, fields[position])
            positions[field.name] = position
    return type("Register", (Register,), namespace)


class _Array(_Handle):
    """The elements of an array. Their indexes are texts, such as "3" or the name of an index."""

    __slots__ = ("_elements", "_indexes", "_name", "_range")

    def __init__(self, name: str, elements: Sequence[tuple[Any, Sequence[str]]]) -> None:
        self._name = name
        self._elements = [element for element, _ in elements]
        self._range = f"{elements[0][1][0]} to {elements[-1][1][0]}"
        self._indexes: dict[str, int] = {}
        # The index of an element has precedence over an equal name of another index.
        for place in (0, 1):
            for position, (_, texts) in enumerate(elements):
                for text in texts[:1] if place == 0 else texts[1:]:
                    self._indexes.setdefault(text, position)

    def __len__(self) -> int:
        return len(self._elements)

    def _element(self, index: SupportsIndex | str, context: _Context) -> Any:
        if isinstance(index, str):
            text, shown = index, quoted(index)
        else:
            number = integer_of(index, f"{self._name}: the index")
            shown = _text_of(number)
            text = shown if number.bit_length() <= _WIDEST_SHOWN else ""
        position = self._indexes.get(text)
        if position is None:
            raise context.unknown(f"{self._name} has no index {shown}", f"the indexes are {self._range}")
        return self._elements[position]


class FieldArray(_Array):
    """An array of fields: register.LINE[3] reads the field, and register.LINE[3] = 1 writes it."""

    __slots__ = ("_register",)

    def __init__(self, register: Register, name: str) -> None:
        super().__init__(f"{register._path}.{name}", register._view.field_array(name))
        self._register = register

    def __getitem__(self, index: SupportsIndex | str) -> FieldValue:
        return self._register._read_field(self._element(index, self._register._context))

    def __setitem__(self, index: SupportsIndex | str, value: FieldInput) -> None:
        self._register._write_field(self._element(index, self._register._context), value)

    def __iter__(self) -> Iterator[FieldValue]:
        return (self._register._read_field(position) for position in self._elements)

    def __repr__(self) -> str:
        return f"<array {self._name} of {len(self)} fields>"


class RegisterArray(_Array):
    """An array of registers or of groups of registers: regs.DATA[3] is a register, and regs.DATA[3] = 7 writes it."""

    __slots__ = ("_group",)

    def __init__(self, group: RegisterGroup, name: str, elements: Sequence[tuple[str, Sequence[str]]]) -> None:
        super().__init__(group._view.prefix + name, elements)
        self._group = group

    def __getitem__(self, index: SupportsIndex | str) -> Any:
        return self._group._child(self._element(index, self._group._context))

    def __setitem__(self, index: SupportsIndex | str, value: SupportsIndex) -> None:
        self._group._write(self._element(index, self._group._context), value)

    def __iter__(self) -> Iterator[Any]:
        return (self._group._child(name) for name in self._elements)

    def __repr__(self) -> str:
        return f"<array {self._name} of {len(self)} elements>"


class RegisterGroup(_Handle):
    """Registers of a device by their names: all registers of the device, or a cluster.

    An attribute is a register, a cluster or an array. Assigning to a register writes it. An item may have any name that
    rynvelctl accepts: group["DATA[3]"], group["CTRL.MODE"].
    """

    _context: _Context
    _view: _maps.Group
    _children: dict[str, Any]

    def __init__(self, context: _Context, view: _maps.Group) -> None:
        assign = object.__setattr__
        assign(self, "_context", context)
        assign(self, "_view", view)
        assign(self, "_children", {})

    def register(self, path: str) -> Register:
        """Returns the register of a path such as "DATA[3]" or "CHANNEL.LEVEL". Does not access the device."""
        found = self._lookup(path)
        if not isinstance(found, Register):
            raise self._context.refusal(f"{path!r} is not a register (give the name of a register)")
        return found

    def __getattr__(self, name: str) -> Any:
        if name.startswith("_"):
            raise AttributeError(f"{type(self).__name__!r} object has no attribute {name!r}")
        child = self._child(name)
        # Python then finds the child without calling this function.
        self.__dict__[name] = child
        return child

    def __setattr__(self, name: str, value: Any) -> None:
        if name.startswith("_") or hasattr(type(self), name):
            raise AttributeError(f"{name!r} is not a register (use [{name!r}] for a register of this name)")
        self._write(name, value)

    def __getitem__(self, path: str) -> Any:
        found = self._lookup(path)
        return found[0]._read_field(found[1]) if isinstance(found, tuple) else found

    def __setitem__(self, path: str, value: FieldInput) -> None:
        found = self._lookup(path)
        if isinstance(found, tuple):
            found[0]._write_field(found[1], value)
        else:
            self._write(path, value)

    def __iter__(self) -> Iterator[str]:
        return iter(self._view.paths())

    def __contains__(self, path: object) -> bool:
        return isinstance(path, str) and (
            self._view.find(path) is not None or self._view.child(path) is not None or bool(self._view.array(path))
        )

    def __dir__(self) -> Iterable[str]:
        return sorted({*super().__dir__(), *filter(_is_attribute, self._view.names())})

    def __repr__(self) -> str:
        return f"<registers {self._view.prefix[:-1]} of {self._context.device.name}>"

    def _write(self, path: str, value: FieldInput) -> None:
        found = self._lookup(path)
        if not isinstance(found, Register):
            raise self._context.refusal(f"{path!r} is not a register (give the name of a register)")
        if isinstance(value, str):
            raise TypeError(f"register {found._path}: the value must be an integer, not str")
        found.write(value)

    def _child(self, name: str) -> Any:
        found = self._lookup(name)
        if isinstance(found, tuple):
            raise self._unknown(name)
        return found

    def _lookup(self, path: str) -> Any:
        """Returns a register, a group, an array, or a register and the position of a field."""
        if not isinstance(path, str):
            raise TypeError(f"{self._context.device.name}: the name of a register is text, not {type(path).__name__}")
        found = self._children.get(path)
        if found is None:
            found = self._children[path] = self._search(path)
        return found

    def _search(self, path: str) -> Any:
        child = self._view.child(path)
        if isinstance(child, _maps.Register):
            return self._context.register(child)
        if child is not None:
            return RegisterGroup(self._context, child)
        elements = self._view.array(path)
        if elements:
            return RegisterArray(self, path, elements)
        selected = self._view.find(path)
        if selected is None:
            raise self._unknown(path)
        register = self._lookup_register(selected[0])
        return register if selected[1] is None else (register, selected[1])

    def _lookup_register(self, view: _maps.Register) -> Register:
        path = view.path[len(self._view.prefix) :]
        known = self._children.get(path)
        return known if isinstance(known, Register) else self._context.register(view)

    def _unknown(self, path: str) -> UnknownNameError:
        return self._context.unknown(
            f"{quoted(path)} is not a name in {self._context.root.file}", _did_you_mean(self._view.similar(path))
        )


class Registers(RegisterGroup):
    """All registers of a device."""

    @property
    def map_file(self) -> str:
        """The path of the register map."""
        return self._context.root.file

    def __repr__(self) -> str:
        return f"<registers of {self._context.device.name} from {self.map_file}>"


def _encoded(path: MapPath) -> bytes:
    encoded = os.fsencode(path)
    if b"\0" in encoded:
        raise ValueError("a path cannot contain NUL")
    return encoded


def list_of_paths(parameter: str, paths: MapPaths | None) -> list[MapPath]:
    """Returns the paths of an argument. Raises TypeError if a value is not a path."""
    kinds = (str, bytes, os.PathLike)
    if paths is None:
        return []
    if isinstance(paths, kinds):
        return [paths]
    given: list[Any] = list(paths) if isinstance(paths, Iterable) else [paths]
    for path in given:
        if not isinstance(path, kinds):
            raise TypeError(f"{parameter}: {type(path).__name__} is not a path (give a path or several)")
    return given


def map_paths(paths: Sequence[MapPath]) -> list[bytes]:
    """Returns paths in the encoding of the file system. Raises MapError for a text that cannot be a path."""
    encoded = []
    for path in paths:
        try:
            encoded.append(_encoded(path))
        except ValueError as error:
            reason = "a path cannot contain NUL" if "NUL" in str(error) else "the file system cannot encode this name"
            raise MapError(f"map {path!r} is not a path ({reason})") from None
    return encoded


def registers_of(device: Device) -> Registers:
    """Returns the registers of a device. Raises MapError if no map describes it, or if a map cannot be used."""
    files = map_paths(device._map)
    try:
        view = _maps.load(device.name, device.width, files, _MAP_TIMEOUT_MS)
    except _maps.UnusableMap as unusable:
        raise MapError(f"{device.name}: {unusable}") from None
    except TimeoutError as error:
        raise MapError(f"{device.name}: {error}: the map is incomplete after {_MAP_TIMEOUT_MS / 1000:g} s") from None
    if view is None:
        raise MapError(f"{device.name}: no register map describes the device (give map=FILE, or set RYNVEL_MAPS)")
    return Registers(_Context(device, view), view)
