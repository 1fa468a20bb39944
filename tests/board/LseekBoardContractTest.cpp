// SPDX-License-Identifier: MIT
#include <fcntl.h>

#include "BoardProbe.h"
#include "DeviceContract.h"
#include "SeekableRegisters.h"

namespace RynvelTest {
namespace {

/** A seekable character device of the board. The test also accesses its registers through debugfs. */
template <typename T>
class LseekOnBoard : public SeekableRegisters<T> {
public:
    LseekOnBoard()
        : SeekableRegisters<T>("/dev/idt", ::open(BoardProbe("idt").registersPath().c_str(), O_RDWR | O_CLOEXEC)) {}
};

using Backends = testing::Types<LseekOnBoard<std::uint8_t>, LseekOnBoard<std::uint16_t>, LseekOnBoard<std::uint32_t>>;
INSTANTIATE_TYPED_TEST_SUITE_P(Board, DeviceContract, Backends);

} // namespace
} // namespace RynvelTest
