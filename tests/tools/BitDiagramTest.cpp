// SPDX-License-Identifier: MIT
#include "BitDiagram.h"

#include <vector>

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Rynvelctl::bitDiagram;

Maps::Field fieldOf(const std::string& name, unsigned int msb, unsigned int lsb) {
    Maps::Field field;
    field.name = name;
    field.msb = msb;
    field.lsb = lsb;
    return field;
}

Maps::Register registerOf(unsigned int size, std::vector<Maps::Field> fields) {
    Maps::Register contents;
    contents.size = size;
    contents.fields = Maps::SharedList<Maps::Field>(std::move(fields));
    return contents;
}

TEST(BitDiagram, IsEmptyWithoutFields) { EXPECT_EQ(bitDiagram(registerOf(32, {})), ""); }

TEST(BitDiagram, HasTheHighestBitsFirstAndFillsGaps) {
    EXPECT_EQ(bitDiagram(registerOf(8, {fieldOf("EN", 0, 0), fieldOf("MODE", 5, 3)})), "  7:6   5:3    2:1   0\n"
                                                                                       "+-----+------+-----+----+\n"
                                                                                       "|  -  | MODE |  -  | EN |\n"
                                                                                       "+-----+------+-----+----+");
}

TEST(BitDiagram, HasOneBoxForAFieldAsWideAsTheRegister) {
    EXPECT_EQ(bitDiagram(registerOf(32, {fieldOf("D", 31, 0)})), "  31:0\n"
                                                                 "+------+\n"
                                                                 "|  D   |\n"
                                                                 "+------+");
}

TEST(BitDiagram, ShowsFieldsThatShareBitsInSeparateDrawings) {
    EXPECT_EQ(bitDiagram(registerOf(8, {fieldOf("A", 7, 4), fieldOf("B", 3, 0), fieldOf("ALL", 7, 0)})),
              "  7:4   3:0\n"
              "+-----+-----+\n"
              "|  A  |  B  |\n"
              "+-----+-----+\n"
              "  7:0\n"
              "+-----+\n"
              "| ALL |\n"
              "+-----+");
}

TEST(BitDiagram, SeparatesFieldsThatShareASingleBit) {
    EXPECT_EQ(bitDiagram(registerOf(8, {fieldOf("A", 7, 4), fieldOf("B", 4, 0)})), "  7:4   3:0\n"
                                                                                   "+-----+-----+\n"
                                                                                   "|  A  |  -  |\n"
                                                                                   "+-----+-----+\n"
                                                                                   "  7:5   4:0\n"
                                                                                   "+-----+-----+\n"
                                                                                   "|  -  |  B  |\n"
                                                                                   "+-----+-----+");
}

TEST(BitDiagram, HasAtMost16DrawingsOfFieldsThatShareBits) {
    const auto drawingOf = [](std::size_t count) {
        return bitDiagram(registerOf(1, std::vector<Maps::Field>(count, fieldOf("A", 0, 0))));
    };
    const std::string box = "  0\n+---+\n| A |\n+---+";
    std::string boxes = box;
    for (int i = 1; i < 16; ++i) {
        boxes += '\n' + box;
    }
    EXPECT_EQ(drawingOf(16), boxes);
    EXPECT_EQ(drawingOf(17), boxes + "\n(1 more field shares bits with the fields above)");
    EXPECT_EQ(drawingOf(20), boxes + "\n(4 more fields share bits with the fields above)");
}

TEST(BitDiagram, LeavesOutFieldsOutsideOfTheRegister) {
    EXPECT_EQ(bitDiagram(registerOf(8, {fieldOf("A", 8, 8)})), "");
    EXPECT_EQ(bitDiagram(registerOf(8, {fieldOf("A", 8, 1), fieldOf("B", 7, 0)})), "  7:0\n"
                                                                                   "+-----+\n"
                                                                                   "|  B  |\n"
                                                                                   "+-----+");
}

TEST(BitDiagram, ContinuesOnAnotherLine) {
    const std::string longName(94, 'A');
    const std::string edge = '+' + std::string(96, '-') + '+';
    const std::string box = edge + "\n| " + longName + " |\n" + edge;
    const std::string before(45, ' ');
    EXPECT_EQ(bitDiagram(registerOf(8, {fieldOf(longName, 7, 4), fieldOf("B", 3, 0)})),
              before + "  7:4\n" + box + "\n  3:0\n+-----+\n|  B  |\n+-----+");
    const std::string longer(200, 'A');
    const std::string longerEdge = '+' + std::string(202, '-') + '+';
    EXPECT_EQ(bitDiagram(registerOf(8, {fieldOf(longer, 7, 0)})),
              std::string(99, ' ') + " 7:0\n" + longerEdge + "\n| " + longer + " |\n" + longerEdge);
}

} // namespace
} // namespace RynvelTest
