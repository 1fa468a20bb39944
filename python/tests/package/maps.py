# SPDX-License-Identifier: MIT
"""Register maps for the tests."""

from __future__ import annotations

from pathlib import Path

ONE_TO_CLEAR = "<modifiedWriteValues>oneToClear</modifiedWriteValues>"
READ_ONLY = "<access>read-only</access>"
WRITE_ONLY = "<access>write-only</access>"
CLEARED_BY_READING = "<readAction>clear</readAction>"


def element(tag: str, content: object) -> str:
    return f"<{tag}>{content}</{tag}>"


def value(name: str, number: object) -> str:
    return element("enumeratedValue", element("name", name) + element("value", number))


def limits(minimum: int, maximum: int) -> str:
    return element("writeConstraint", element("range", element("minimum", minimum) + element("maximum", maximum)))


def values(*content: str) -> str:
    return element("enumeratedValues", "".join(content))


def field(name: str, msb: int, lsb: int, further: str = "") -> str:
    return element("field", element("name", name) + element("bitRange", f"[{msb}:{lsb}]") + further)


def register(name: str, offset: int, fields: str = "", further: str = "") -> str:
    content = element("name", name) + element("addressOffset", offset) + further
    return element("register", content + (element("fields", fields) if fields else ""))


def cluster(name: str, offset: int, registers: str, further: str = "") -> str:
    return element("cluster", further + element("name", name) + element("addressOffset", offset) + registers)


def array(count: int, increment: int, index: str = "") -> str:
    indexes = element("dimIndex", index) if index else ""
    return element("dim", count) + element("dimIncrement", increment) + indexes


def map_of(peripheral: str, registers: str, size: int = 32, unit_bits: int = 8) -> str:
    """Returns a map with one peripheral."""
    return element(
        "device",
        "<name>D</name><version>1</version><description>A device</description>"
        f"<addressUnitBits>{unit_bits}</addressUnitBits><width>32</width><size>{size}</size>"
        "<access>read-write</access><resetValue>0</resetValue><resetMask>0xFFFFFFFF</resetMask>"
        "<peripherals><peripheral>"
        f"<name>{peripheral}</name><baseAddress>0</baseAddress>{element('registers', registers)}"
        "</peripheral></peripherals>",
    )


# Every kind of register and field, for the device traf.top.
BOARD = map_of(
    "traf_top",
    register(
        "CTRL",
        0x0,
        field("ENABLE", 0, 0, values(value("off", 0), value("on", 1)))
        + field("MODE", 3, 1, values(value("slow", 1), value("fast", 2), value("10", 3), value("wide", 9)))
        + field("GAIN", 7, 4, limits(1, 9))
        + field("read", 8, 8)
        + field("two words", 9, 9)
        + field("class", 10, 10)
        + field("_private", 11, 11)
        + field("LOCKED", 12, 12, READ_ONLY)
        + field("SECRET", 13, 13, WRITE_ONLY + ONE_TO_CLEAR)
        + field("LINE%s", 19, 16, array(2, 4)),
    )
    + register(
        "STATUS",
        0x4,
        field("DONE", 0, 0, ONE_TO_CLEAR) + field("FAILED", 1, 1, ONE_TO_CLEAR) + field("LEVEL", 7, 4),
        "<resetValue>0x53</resetValue>",
    )
    + register("SERIAL", 0x8, "", READ_ONLY + "<resetValue>0x1234</resetValue>")
    + register("COMMAND", 0xC, field("START", 0, 0) + field("CODE", 7, 4), WRITE_ONLY)
    + register(
        "QUEUE",
        0x10,
        field("DATA", 7, 0) + field("FULL", 8, 8),
        CLEARED_BY_READING + "<resetValue>0x1A5</resetValue>",
    )
    + register("DATA[%s]", 0x20, field("LOW", 7, 0), array(4, 4))
    + register("IRQ%s", 0x40, "", array(3, 4, "A,B,C"))
    + register("register", 0x50)
    + register("TWICE", 0x54, field("A", 3, 0) + field("B", 5, 2))
    + register("WIDE", 0x58, "", "<size>64</size>")
    + register("RANGE", 0x64, "", limits(10, 20))
    + register("UNALIGNED", 0x6A, "", "<size>16</size>")
    + register("NARROW", 0x70, "", "<size>16</size>")
    + register("OUTSIDE", 0x2000)
    + cluster("CHANNEL[%s]", 0x80, register("LEVEL", 0x0, field("VALUE", 15, 0)) + register("LIMIT", 0x4), array(3, 16))
    + cluster("CLOCK", 0xC0, register("RATE", 0x0) + cluster("PLL", 0x8, register("DIVIDER", 0x4))),
)


def write_map(folder: Path, text: str = BOARD, name: str = "board.svd") -> Path:
    path = folder / name
    path.write_text(text, encoding="utf-8")
    return path
