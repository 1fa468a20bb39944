#include "Options.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "ArgumentParser.h"
#include "DeviceList.h"
#include "DeviceTypeInfo.h"
#include "Duration.h"
#include "Number.h"
#include "ServerAddress.h"

namespace Rynveld {

namespace {

constexpr const char* footer =
    "Times are numbers with a unit, as in 500ms, 2s or 1m.\n"
    "Faults are delay=TIME (before the answer), error (instead of the operation), split=TIME (between the\n"
    "halves of the answer) and disconnect (instead of operation and answer).\n"
    "Exit status: 0 after SIGTERM or SIGINT, 1 when the server cannot run, 2 for a wrong command line.";

/** The option values before their conversion. */
struct RawOptions {
    std::string listen = "127.0.0.1:" + std::to_string(Common::defaultPort);
    std::vector<std::string> allow;
    std::vector<std::string> devices;
    std::vector<std::string> ioctls;
    std::string idleTimeout = "0";
    std::vector<std::string> interruptPeriods;
    std::vector<std::string> faults;
};

[[noreturn]] void fail(const std::string& message) { throw std::invalid_argument(message); }

/** Parses a decimal number, or a hexadecimal number with the prefix 0x. */
std::uint32_t numberIn(const std::string& text, std::uint32_t highest, const std::string& problem) {
    constexpr Common::NumberFormat tenDigits{true, false, 10};
    const auto number = Common::parseNumber(text, tenDigits, highest);
    if (!number) {
        fail(problem);
    }
    return *number;
}

asio::ip::tcp::endpoint endpointOf(const std::string& text) {
    const std::string problem = "--listen: '" + text + "' is not ADDRESS or ADDRESS:PORT, with an IPv4 address";
    const auto colon = text.find(':');
    asio::error_code error;
    const auto address = asio::ip::make_address_v4(text.substr(0, colon), error);
    if (error) {
        fail(problem);
    }
    const auto port =
        colon == std::string::npos ? Common::defaultPort : numberIn(text.substr(colon + 1), UINT16_MAX, problem);
    return {address, static_cast<std::uint16_t>(port)};
}

asio::ip::network_v4 networkOf(const std::string& text) {
    const std::string problem = "--allow: '" + text + "' is not an IPv4 network such as 10.0.0.0/8";
    constexpr std::uint32_t longest = 32;
    const auto slash = text.find('/');
    const std::string length = slash == std::string::npos ? std::to_string(longest) : text.substr(slash + 1);
    const std::uint32_t bits = numberIn(length, longest, problem);
    asio::error_code error;
    const auto address = asio::ip::make_address_v4(text.substr(0, slash), error);
    // Leading zeros are rejected, as in the address: they could mean an octal number.
    if (error || length != std::to_string(bits)) {
        fail(problem);
    }
    return asio::ip::network_v4(address, static_cast<unsigned short>(bits)).canonical();
}

const Common::DeviceTypeInfo& servedTypeOf(const std::string& option, const std::string& name) {
    const auto* const row = Common::findDevice(name);
    if (row == nullptr) {
        fail(option + ": there is no device '" + name + "'");
    }
    const auto* const type = Common::findDeviceTypeInfo(row->m_type);
    if (type == nullptr || type->access == Common::Access::Remote) {
        fail(option + ": the device '" + name + "' is one of another server");
    }
    return *type;
}

std::chrono::milliseconds durationOf(const std::string& option, const std::string& text) {
    const auto duration = Common::parseDuration(text);
    if (!duration) {
        fail(option + ": '" + text + "' is not a time such as 500ms, 2s or 1m");
    }
    return *duration;
}

void addInterruptPeriod(Options& options, const std::string& text) {
    const std::string option = "--interrupt-every";
    const auto sign = text.find('=');
    if (sign == std::string::npos) {
        fail(option + ": '" + text + "' is not NAME=TIME");
    }
    const std::string name = text.substr(0, sign);
    if (!servedTypeOf(option, name).hasInterrupts) {
        fail(option + ": the device '" + name + "' has no interrupts");
    }
    if (!options.policy.devices.empty() && options.policy.devices.count(name) == 0) {
        fail(option + ": the device '" + name + "' is not served");
    }
    const auto period = durationOf(option, text.substr(sign + 1));
    if (period.count() == 0) {
        fail(option + ": the time must not be 0");
    }
    options.interruptPeriods[name] = period;
}

Fault faultOf(const std::string& text) {
    const auto fault = parseFault(text);
    if (!fault) {
        fail("--fault: '" + text + "' is not a fault such as delay=500ms, error, split=20ms or disconnect:10");
    }
    return *fault;
}

/** Rounded up, so that each host may have at least one connection. */
std::size_t quarterOf(std::size_t count) { return (count + 3) / 4; }

void convert(const RawOptions& raw, Options& options) {
    if (options.maxConnectionsPerHost == 0) {
        options.maxConnectionsPerHost = quarterOf(options.maxConnections);
    }
    options.listen = endpointOf(raw.listen);
    for (const auto& network : raw.allow) {
        options.allowed.push_back(networkOf(network));
    }
    for (const auto& name : raw.devices) {
        servedTypeOf("--device", name);
        options.policy.devices.insert(name);
    }
    for (const auto& command : raw.ioctls) {
        options.policy.ioctls.insert(
            numberIn(command, UINT32_MAX, "--allow-ioctl: '" + command + "' is not a number such as 0xEE00"));
    }
    options.idleTimeout = durationOf("--idle-timeout", raw.idleTimeout);
    for (const auto& period : raw.interruptPeriods) {
        addInterruptPeriod(options, period);
    }
    for (const auto& fault : raw.faults) {
        options.policy.faults.push_back(faultOf(fault));
    }
    if (!options.interruptPeriods.empty() && !options.policy.simulate) {
        fail("--interrupt-every needs --simulate");
    }
    if (!options.policy.faults.empty() && !options.policy.simulate) {
        fail("--fault needs --simulate");
    }
}

void addOptions(const Common::Command& program, RawOptions& raw, Options& options) {
    program
        .addOption("--listen", "ADDRESS[:PORT]", raw.listen,
                   "Where clients connect; port 0 is one of the system's choice")
        .showDefault();
    program.addOption("--allow", "NETWORK", raw.allow, "Serve only clients from this network; may be repeated")
        .takeOneValue();
    program.addOption("--device", "NAME", raw.devices, "Serve only this device; may be repeated").takeOneValue();
    program.addFlag("--read-only", options.policy.readOnly,
                    "Refuse all that changes a device or enables its interrupts");
    program.addOption("--allow-ioctl", "NUMBER", raw.ioctls, "Pass this ioctl command on to devices; may be repeated")
        .takeOneValue();
    program.addOption("--max-connections", "COUNT", options.maxConnections, 1, 10000, "Turn further connections away")
        .showDefault();
    program.addOption("--max-connections-per-host", "COUNT", options.maxConnectionsPerHost, 1, 10000,
                      "Turn further connections from one host away; a quarter of --max-connections when not given");
    program
        .addOption("--idle-timeout", "TIME", raw.idleTimeout,
                   "End a connection that asks for nothing for so long, 0 for never; one that is armed for interrupts "
                   "stays")
        .showDefault();
    program.addFlag("--simulate", options.policy.simulate, "Serve all devices from memory, without any hardware");
    program
        .addOption("--interrupt-every", "NAME=TIME", raw.interruptPeriods,
                   "With --simulate: raise the interrupt of a device again and again; may be repeated")
        .takeOneValue();
    program
        .addOption("--fault", "FAULT[:COUNT]", raw.faults,
                   "With --simulate: go wrong at every request of a connection, or at each COUNTth; may be repeated")
        .takeOneValue();
}

std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

void parse(int argc, const char* const* argv, RawOptions& raw, Options& options) {
    Common::ArgumentParser parser("rynveld", "Serves the devices of this machine to remote devices of librynvel.",
                                  footer);
    parser.addHelpFlag("Print this help message and exit");
    parser.addVersionFlag("rynveld " RYNVEL_VERSION, "Display program version information and exit");
    addOptions(parser.program(), raw, options);
    const Common::ParseResult result = parser.parse(argc, argv);
    if (result.kind == Common::ParseResult::Kind::InfoRequested) {
        throw InfoRequested{result.text};
    }
    if (result.kind == Common::ParseResult::Kind::Invalid) {
        fail(oneLine(result.text));
    }
}

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    Options options;
    RawOptions raw;
    parse(argc, argv, raw, options);
    convert(raw, options);
    return options;
}

} // namespace Rynveld
