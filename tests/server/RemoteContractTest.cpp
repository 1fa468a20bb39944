// SPDX-License-Identifier: MIT
#include <type_traits>

#include "DeviceContract.h"
#include "PlainMutex.h"
#include "RecordClient.h"
#include "RynveldProcess.h"

namespace RynvelTest {
namespace {

struct Seekable {
    static constexpr const char* family = "seek.";
    static constexpr bool hasInterrupts = false;
};

struct Mapped {
    static constexpr const char* family = "uio.";
    static constexpr bool hasInterrupts = true;
};

/** The registers of a simulated device of a server. */
template <typename T, typename Kind>
class RemoteRegisters {
public:
    using Value = T;
    static constexpr bool hasInterrupts = Kind::hasInterrupts;
    static constexpr bool hasHandle = Kind::hasInterrupts;
    static constexpr bool atomicMaskedWrites = false;
    static constexpr bool overRecords = true;

    std::unique_ptr<Rynvel::Device<T>> open() {
        return std::make_unique<Rynvel::Remote<T>>(m_name, m_server.address(), plainMutex());
    }

    static unsigned int address(unsigned int i) {
        return std::is_same_v<Kind, Mapped> ? i : static_cast<unsigned int>(i * sizeof(T));
    }
    static bool reportsBurst(unsigned int /*items*/) { return true; }

    T peek(unsigned int i) const {
        const auto response = m_beside.exchange(readOf(m_name, address(i)));
        EXPECT_TRUE(response.isSuccessful());
        return static_cast<T>(response.getValue());
    }
    void poke(unsigned int i, T value) const { EXPECT_TRUE(m_beside.succeeds(writeOf(m_name, address(i), {value}))); }

private:
    const std::string m_name = Kind::family + std::to_string(8 * sizeof(T));
    const RynveldProcess m_server{{"--simulate"}};
    const RecordClient m_beside{m_server.port(), m_name};
};

using Backends = testing::Types<RemoteRegisters<std::uint8_t, Seekable>, RemoteRegisters<std::uint16_t, Seekable>,
                                RemoteRegisters<std::uint32_t, Seekable>, RemoteRegisters<std::uint16_t, Mapped>,
                                RemoteRegisters<std::uint32_t, Mapped>>;
INSTANTIATE_TYPED_TEST_SUITE_P(Remote, DeviceContract, Backends);

} // namespace
} // namespace RynvelTest
