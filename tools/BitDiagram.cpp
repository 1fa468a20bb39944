// SPDX-License-Identifier: MIT
#include "BitDiagram.h"

#include <algorithm>
#include <vector>

#include "FieldValues.h"
#include "Formats.h"
#include "MapWords.h"
#include "Printable.h"

namespace Rynvelctl {

namespace {

// A register that needs more layers is a mistake in the map. Without a limit, the work would grow with the square of
// the number of fields.
constexpr std::size_t mostLayers = 16;

struct Box {
    unsigned int msb;
    unsigned int lsb;
    std::string name;

    std::string bits() const { return bitRange(msb, lsb); }
    /** Returns the width in characters, with a blank on either side. */
    std::size_t width() const { return std::max(bits().size(), name.size()) + 2; }
};

using Boxes = std::vector<Box>;

/** Returns the boxes of the fields, the highest bits first. */
Boxes boxesOf(const Maps::Register& contents) {
    Boxes boxes;
    for (const Maps::Field& field : contents.fields) {
        if (Maps::isInside(field, contents)) {
            boxes.push_back({field.msb, field.lsb, printable(field.name)});
        }
    }
    std::stable_sort(boxes.begin(), boxes.end(), [](const Box& a, const Box& b) { return a.msb > b.msb; });
    return boxes;
}

/**
 * Moves boxes that do not share bits out of `boxes`, the highest first. Returns them with a box named "-" in each gap.
 */
Boxes takeLayer(Boxes& boxes, unsigned int size) {
    Boxes layer;
    Boxes others;
    unsigned int end = size;
    for (Box& box : boxes) {
        if (box.msb >= end) {
            others.push_back(std::move(box));
            continue;
        }
        if (box.msb + 1 < end) {
            layer.push_back({end - 1, box.msb + 1, "-"});
        }
        end = box.lsb;
        layer.push_back(std::move(box));
    }
    if (end > 0) {
        layer.push_back({end - 1, 0, "-"});
    }
    boxes = std::move(others);
    return layer;
}

std::string centered(const std::string& text, std::size_t width) {
    const std::size_t before = (width - text.size()) / 2;
    return std::string(before, ' ') + text + std::string(width - text.size() - before, ' ');
}

/** Returns the drawing of boxes side by side. */
std::string drawingOf(Boxes::const_iterator first, Boxes::const_iterator end) {
    std::string bits;
    std::string edge = "+";
    std::string names = "|";
    for (; first != end; ++first) {
        bits += ' ' + centered(first->bits(), first->width());
        edge += std::string(first->width(), '-') + '+';
        names += centered(first->name, first->width()) + '|';
    }
    bits.erase(bits.find_last_not_of(' ') + 1);
    return joinLines({bits, edge, names, edge});
}

Boxes::const_iterator endOfLine(Boxes::const_iterator first, Boxes::const_iterator end) {
    std::size_t width = 1;
    const auto last = std::find_if(first, end, [&width](const Box& box) {
        width += box.width() + 1;
        return width > widestLine;
    });
    return last == first ? first + 1 : last;
}

} // namespace

std::string bitDiagram(const Maps::Register& contents) {
    Boxes boxes = boxesOf(contents);
    std::vector<std::string> drawings;
    for (std::size_t count = 0; !boxes.empty() && count < mostLayers; ++count) {
        const Boxes layer = takeLayer(boxes, contents.size);
        for (auto first = layer.begin(), end = first; first != layer.end(); first = end) {
            end = endOfLine(first, layer.end());
            drawings.push_back(drawingOf(first, end));
        }
    }
    if (!boxes.empty()) {
        drawings.push_back('(' + std::to_string(boxes.size()) +
                           (boxes.size() == 1 ? " more field shares" : " more fields share") +
                           " bits with the fields above)");
    }
    return joinLines(drawings);
}

} // namespace Rynvelctl
