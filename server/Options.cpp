// SPDX-License-Identifier: MIT
#include "Options.h"

#include <rynvel.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include <grp.h>

#include "ArgumentParser.h"
#include "DeviceList.h"
#include "DeviceTypeInfo.h"
#include "Duration.h"
#include "MapCatalog.h"
#include "MapSearch.h"
#include "Number.h"
#include "OptionsFile.h"
#include "ServedDevices.h"
#include "ServerAddress.h"

namespace Rynveld {

namespace {

constexpr const char* footer =
    "TIME is a number with the unit ms, s, m or h, for example 500ms or 1.5s.\n"
    "FAULT is one of the following. The server counts the requests of each connection separately.\n"
    "  delay=TIME  wait before the answer\n"
    "  error       answer with an error instead of doing the operation\n"
    "  split=TIME  wait between the halves of the answer\n"
    "  disconnect  close the connection instead of doing the operation and answering\n"
    "Exit status: 0 after SIGTERM or SIGINT, 1 if the server cannot run, 2 if the command line is wrong.";

/** The value of --metrics for a server without metrics. */
constexpr const char* noMetrics = "off";

/** The values of the options before their conversion, as text. */
struct RawOptions {
    std::string listen = "127.0.0.1:" + std::to_string(Common::defaultPort);
    std::string socketMode;
    std::string socketGroup;
    std::vector<std::string> allow;
    std::vector<std::string> devices;
    std::vector<std::string> ioctls;
    std::vector<std::string> readOnly;
    std::string idleTimeout = "0";
    std::vector<std::string> maps;
    std::vector<std::string> interruptPeriods;
    std::vector<std::string> faults;
    std::string metrics = noMetrics;
    std::vector<std::string> exported;
    std::string audit;
    std::string auditOnError = "refuse-writes";
};

[[noreturn]] void fail(const std::string& message) { throw std::invalid_argument(message); }

/**
 * Parses a decimal number, or a hexadecimal number with the prefix 0x.
 *
 * @throws std::invalid_argument with `message` for any other text, and for a number above `highest`.
 */
std::uint32_t parseUnsigned(const std::string& text, std::uint32_t highest, const std::string& message) {
    constexpr Common::NumberFormat tenDigits{true, false, 10};
    const auto number = Common::parseNumber(text, tenDigits, highest);
    if (!number) {
        fail(message);
    }
    return *number;
}

/** @throws std::invalid_argument with `message` for a text that is not a port, and for a number with a leading zero. */
std::uint16_t parsePort(const std::string& option, const std::string& port, const std::string& message) {
    const auto number = parseUnsigned(port, UINT16_MAX, message);
    const std::string_view hint = Common::withoutLeadingZeros(port);
    if (!hint.empty()) {
        fail(option + ": port '" + port + "' has a leading zero (use " + std::string(hint) + ')');
    }
    return static_cast<std::uint16_t>(number);
}

/** Returns the address of a --metrics option. Without an address, only this machine can reach the metrics. */
asio::ip::tcp::endpoint parseMetricsEndpoint(const std::string& text) {
    const std::string message =
        "--metrics: '" + text + "' is not a listening address (use PORT or ADDRESS:PORT, with an IPv4 address)";
    const auto colon = text.find(':');
    const bool isGiven = colon != std::string::npos && colon != 0;
    asio::error_code error;
    const auto address =
        isGiven ? asio::ip::make_address_v4(text.substr(0, colon), error) : asio::ip::address_v4::loopback();
    if (error) {
        fail(message);
    }
    return {address, parsePort("--metrics", text.substr(colon == std::string::npos ? 0 : colon + 1), message)};
}

asio::ip::tcp::endpoint parseEndpoint(const std::string& text) {
    const std::string message =
        "--listen: '" + text +
        "' is not a listening address (use ADDRESS or ADDRESS:PORT, with an IPv4 address, or unix:/PATH)";
    const auto colon = text.find(':');
    asio::error_code error;
    const auto address = asio::ip::make_address_v4(text.substr(0, colon), error);
    if (error) {
        fail(message);
    }
    if (colon == std::string::npos) {
        return {address, Common::defaultPort};
    }
    return {address, parsePort("--listen", text.substr(colon + 1), message)};
}

constexpr unsigned int octal = 8;

mode_t parseMode(const std::string& text) {
    const bool isOctal = text.find_first_not_of("01234567") == std::string::npos;
    if (!isOctal || text.size() < 3 || text.size() > 4 || std::stoul(text, nullptr, octal) > 0777) {
        fail("--socket-mode: '" + text +
             "' is not a file mode (use 3 or 4 octal digits, at most 0777, for example 660)");
    }
    return static_cast<mode_t>(std::stoul(text, nullptr, octal));
}

gid_t parseGroup(const std::string& text) {
    const group* const found = ::getgrnam(text.c_str());
    if (found == nullptr) {
        fail("--socket-group: unknown group '" + text + "' ('getent group' lists the groups)");
    }
    return found->gr_gid;
}

/** Returns the local socket of a --listen option; none for a TCP address. */
std::optional<LocalAddress> parseLocalAddress(const RawOptions& raw) {
    const std::string prefix = Common::localPrefix;
    if (raw.listen.rfind(prefix + '/', 0) != 0) {
        if (!raw.socketMode.empty() || !raw.socketGroup.empty()) {
            fail(std::string(raw.socketMode.empty() ? "--socket-group" : "--socket-mode") +
                 ": the option requires a local socket (--listen unix:/PATH)");
        }
        return std::nullopt;
    }
    LocalAddress address{raw.listen.substr(prefix.size()), 0600, std::nullopt};
    if (address.path.size() > Common::longestLocalPath) {
        fail("--listen: '" + raw.listen + "' is too long (the path of a socket has at most " +
             std::to_string(Common::longestLocalPath) + " bytes)");
    }
    if (!raw.socketMode.empty()) {
        address.mode = parseMode(raw.socketMode);
    }
    if (!raw.socketGroup.empty()) {
        address.group = parseGroup(raw.socketGroup);
    }
    return address;
}

asio::ip::network_v4 parseNetwork(const std::string& text) {
    const std::string message = "--allow: '" + text + "' is not an IPv4 network (for example 10.0.0.0/8)";
    constexpr std::uint32_t longest = 32;
    const auto slash = text.find('/');
    const std::string length = slash == std::string::npos ? std::to_string(longest) : text.substr(slash + 1);
    const std::uint32_t bits = parseUnsigned(length, longest, message);
    asio::error_code error;
    const auto address = asio::ip::make_address_v4(text.substr(0, slash), error);
    // Refuses a leading zero, which could mean an octal number. make_address_v4() refuses one in the address, too.
    if (error || length != std::to_string(bits)) {
        fail(message);
    }
    return asio::ip::network_v4(address, static_cast<unsigned short>(bits)).canonical();
}

const Common::DeviceTypeInfo& servedTypeOf(const std::string& option, const std::string& name) {
    const auto* const row = Common::findDevice(name);
    if (row == nullptr) {
        fail(option + ": unknown device '" + name + "' ('rynvelctl list' shows all names)");
    }
    const auto* const type = servableType(*row);
    if (type == nullptr) {
        fail(option + ": device '" + name + "' is remote (rynveld serves only devices of its own machine)");
    }
    return *type;
}

std::chrono::milliseconds parseTime(const std::string& option, const std::string& text) {
    const auto duration = Common::parseDuration(text);
    if (!duration) {
        fail(option + ": " + Common::notADuration(text));
    }
    return *duration;
}

std::vector<std::string> servedNames(const Policy& policy) {
    std::vector<std::string> names;
    for (const auto& row : Common::devices()) {
        if (isServed(policy, row)) {
            names.push_back(row.m_name);
        }
    }
    return names;
}

void addMap(Policy& policy, const std::string& path) {
    try {
        if (!policy.descriptions.add(path, servedNames(policy))) {
            fail("--map: '" + path +
                 "' does not describe any served device (a peripheral needs the name of its device, for example "
                 "traf_top for traf.top)");
        }
    } catch (const Maps::UnusableMap& problem) {
        fail(problem.what());
    }
}

void addInterruptPeriod(Options& options, const std::string& text) {
    const std::string option = "--interrupt-every";
    const auto equals = text.find('=');
    if (equals == std::string::npos) {
        fail(option + ": '" + text + "' is not NAME=TIME (for example rtc0=1s)");
    }
    const std::string name = text.substr(0, equals);
    if (!servedTypeOf(option, name).hasInterrupts) {
        fail(option + ": device '" + name + "' has no interrupts");
    }
    if (!options.policy.devices.empty() && options.policy.devices.count(name) == 0) {
        fail(option + ": device '" + name + "' is not served (add --device " + name + ")");
    }
    const auto period = parseTime(option, text.substr(equals + 1));
    if (period.count() == 0) {
        fail(option + ": the time must be greater than 0");
    }
    options.interruptPeriods[name] = period;
}

void convertMetrics(const RawOptions& raw, Options& options) {
    if (raw.metrics != noMetrics) {
        options.metrics = parseMetricsEndpoint(raw.metrics);
    }
    if (raw.exported.empty()) {
        return;
    }
    if (!options.metrics) {
        fail("--export: the option requires --metrics");
    }
    try {
        options.exported = findExportedRegisters(raw.exported, Maps::MapSearch(raw.maps).catalog(), options.policy);
    } catch (const Maps::UnusableMap& problem) {
        fail(problem.what());
    }
}

Fault parseFaultOption(const std::string& text) {
    const auto fault = parseFault(text);
    if (!fault) {
        fail("--fault: '" + text + "' is not a fault (for example delay=500ms, error, split=20ms or disconnect:10)");
    }
    return *fault;
}

/** Returns a quarter of the count, rounded up so that each host may have at least one connection. */
std::size_t quarter(std::size_t count) { return (count + 3) / 4; }

void addReadOnly(Policy& policy, const std::string& name) {
    if (name.empty()) {
        policy.readOnly = true;
    } else {
        servedTypeOf("--read-only", name);
        policy.readOnlyDevices.insert(name);
    }
}

AuditOptions::OnError parseOnError(const std::string& text) {
    using OnError = AuditOptions::OnError;
    static const std::map<std::string, OnError> reactions = {
        {"refuse-writes", OnError::RefuseWrites}, {"stop", OnError::Stop}, {"continue", OnError::Continue}};
    const auto found = reactions.find(text);
    if (found == reactions.end()) {
        fail("--audit-on-error: '" + text + "' is not a reaction (use refuse-writes, stop or continue)");
    }
    return found->second;
}

void convertAudit(const RawOptions& raw, AuditOptions& audit) {
    const AuditOptions defaults;
    audit.target = raw.audit;
    audit.onError = parseOnError(raw.auditOnError);
    if (raw.audit.empty() && (audit.withOldValues || audit.onError != defaults.onError)) {
        fail(std::string(audit.withOldValues ? "--audit-old" : "--audit-on-error") + ": the option requires --audit");
    }
}

std::map<std::string, std::vector<std::string>> fixedOptions(const RawOptions& raw, const Options& options) {
    const auto flag = [](bool isGiven) { return std::vector<std::string>(isGiven ? 1 : 0); };
    return {{"--listen", {raw.listen}},
            {"--socket-mode", {raw.socketMode}},
            {"--socket-group", {raw.socketGroup}},
            {"--simulate", flag(options.policy.simulate)},
            {"--map", raw.maps},
            {"--interrupt-every", raw.interruptPeriods},
            {"--fault", raw.faults},
            {"--audit", {raw.audit}},
            {"--audit-old", flag(options.audit.withOldValues)},
            {"--audit-on-error", {raw.auditOnError}},
            {"--metrics", {raw.metrics}},
            {"--export", raw.exported}};
}

void convert(const RawOptions& raw, Options& options) {
    if (options.maxConnectionsPerHost == 0) {
        options.maxConnectionsPerHost = quarter(options.maxConnections);
    }
    options.listenLocal = parseLocalAddress(raw);
    if (!options.listenLocal) {
        options.listen = parseEndpoint(raw.listen);
    }
    for (const auto& network : raw.allow) {
        options.allowed.push_back(parseNetwork(network));
    }
    for (const auto& name : raw.devices) {
        servedTypeOf("--device", name);
        options.policy.devices.insert(name);
    }
    for (const auto& command : raw.ioctls) {
        options.policy.ioctls.insert(
            parseUnsigned(command, UINT32_MAX,
                          "--allow-ioctl: '" + command + "' is not a number of at most 32 bits (for example 0xEE00)"));
    }
    for (const auto& name : raw.readOnly) {
        addReadOnly(options.policy, name);
    }
    options.idleTimeout = parseTime("--idle-timeout", raw.idleTimeout);
    convertAudit(raw, options.audit);
    for (const auto& period : raw.interruptPeriods) {
        addInterruptPeriod(options, period);
    }
    for (const auto& fault : raw.faults) {
        options.policy.faults.push_back(parseFaultOption(fault));
    }
    const bool usesMaps = options.policy.simulate || options.audit.withOldValues;
    if (!raw.maps.empty() && !usesMaps && raw.exported.empty()) {
        fail("--map: the option requires --simulate, --audit-old or --export");
    }
    for (const auto& path : usesMaps ? raw.maps : std::vector<std::string>()) {
        addMap(options.policy, path);
    }
    convertMetrics(raw, options);
    if (!options.interruptPeriods.empty() && !options.policy.simulate) {
        fail("--interrupt-every: the option requires --simulate");
    }
    if (!options.policy.faults.empty() && !options.policy.simulate) {
        fail("--fault: the option requires --simulate");
    }
    options.fixed = fixedOptions(raw, options);
}

void addOptions(const Common::Command& program, RawOptions& raw, Options& options) {
    program
        .addOption("--listen", "ADDRESS[:PORT]", raw.listen,
                   "listen on this IPv4 address and port; with port 0, the system chooses a free port; unix:/PATH "
                   "listens on a local socket instead")
        .showDefault();
    program.addOption("--socket-mode", "MODE", raw.socketMode,
                      "with a local socket: the permissions of its file, in octal; default: 600");
    program.addOption("--socket-group", "GROUP", raw.socketGroup, "with a local socket: the group of its file");
    program.addOption("--allow", "NETWORK", raw.allow, "serve only clients from this network; may be repeated")
        .takeOneValue();
    program.addOption("--device", "NAME", raw.devices, "serve only this device; may be repeated").takeOneValue();
    program
        .addOption("--read-only", "[=NAME]", raw.readOnly,
                   "refuse every request except those that open or close a device, read its registers or get its "
                   "interrupt type; with NAME, only for this device; may be repeated")
        .mayOmitValue();
    program.addOption("--allow-ioctl", "NUMBER", raw.ioctls, "pass this ioctl request on to devices; may be repeated")
        .takeOneValue();
    program
        .addOption("--max-connections", "COUNT", options.maxConnections, 1, 10000,
                   "refuse connections beyond this number")
        .showDefault();
    program.addOption("--max-connections-per-host", "COUNT", options.maxConnectionsPerHost, 1, 10000,
                      "refuse connections from one host beyond this number; default: a quarter of --max-connections");
    program
        .addOption("--idle-timeout", "TIME", raw.idleTimeout,
                   "close a connection whose client sends no request for this time, unless the connection is armed; 0 "
                   "means never")
        .showDefault();
    program.addFlag("--simulate", options.policy.simulate, "serve simulated devices from memory, without hardware");
    program
        .addOption(
            "--map", "FILE", raw.maps,
            "with --simulate: make the registers behave as the register maps in this file or folder describe; with "
            "--audit-old: do not read registers that are write-only or whose reading has a side effect; with --export: "
            "search for the names in these maps; may be repeated")
        .takeOneValue();
    program
        .addOption("--interrupt-every", "NAME=TIME", raw.interruptPeriods,
                   "with --simulate: raise the interrupt of this device every TIME; may be repeated")
        .takeOneValue();
    program
        .addOption("--fault", "FAULT[:COUNT]", raw.faults,
                   "with --simulate: simulate a fault on every request, or on every COUNTth request; may be repeated")
        .takeOneValue();
    program
        .addOption(
            "--metrics", "ADDRESS:PORT", raw.metrics,
            "serve metrics for Prometheus on this IPv4 address and port, http://ADDRESS:PORT/metrics; PORT alone "
            "listens on 127.0.0.1")
        .showDefault();
    program
        .addOption("--export", "NAME", raw.exported,
                   "with --metrics: add the value of this register or field, DEVICE.REGISTER or "
                   "DEVICE.REGISTER.FIELD; may be repeated")
        .takeOneValue();
}

void addAuditOptions(const Common::Command& program, RawOptions& raw, Options& options) {
    program.addOption("--audit", "FILE", raw.audit,
                      "record who opens and changes devices, and what the server refuses, in this file; 'journal' "
                      "selects the journal of systemd");
    program.addFlag("--audit-old", options.audit.withOldValues,
                    "with --audit: read registers before each write, and record the old and the new values");
    program
        .addOption("--audit-on-error", "REACTION", raw.auditOnError,
                   "with --audit: what to do while the audit cannot be written: refuse-writes, stop or continue")
        .showDefault();
}

std::string joinLines(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

using Words = std::vector<std::string>;

void parse(const Words& words, RawOptions& raw, Options& options) {
    Common::ArgumentParser parser("rynveld", "Serves the registers and interrupts of this machine over TCP.",
                                  [](const std::string& /*command*/) { return footer; });
    parser.addHelpFlag("show this help and exit");
    parser.addVersionFlag("rynveld " RYNVEL_VERSION, "show the version and exit");
    parser.program().addOption("--config", "FILE", options.file,
                               "read further options from this file, one per line; SIGHUP reads the file again");
    addOptions(parser.program(), raw, options);
    addAuditOptions(parser.program(), raw, options);
    std::vector<const char*> arguments = {"rynveld"};
    std::transform(words.begin(), words.end(), std::back_inserter(arguments),
                   [](const std::string& word) { return word.c_str(); });
    const Common::ParseResult result = parser.parse(static_cast<int>(arguments.size()), arguments.data());
    if (result.kind == Common::ParseResult::Kind::InfoRequested) {
        throw InfoRequested{result.text};
    }
    if (result.kind == Common::ParseResult::Kind::Invalid) {
        fail(joinLines(result.text));
    }
}

/** Returns the options of a command line and of the first `count` lines of a file. */
Options optionsOf(const Words& commandLine, const OptionsLines& lines, std::size_t count) {
    Words words = commandLine;
    for (std::size_t i = 0; i < count; ++i) {
        words.push_back(lines[i].word);
    }
    Options options;
    RawOptions raw;
    parse(words, raw, options);
    convert(raw, options);
    options.commandLine = commandLine;
    return options;
}

/** Returns whether parsing the command line and the first `count` lines of a file fails with this message. */
bool failsWith(const std::string& message, const Words& commandLine, const OptionsLines& lines, std::size_t count) {
    try {
        optionsOf(commandLine, lines, count);
    } catch (const std::invalid_argument& problem) {
        return problem.what() == message;
    }
    return false;
}

std::string position(const std::string& file, const OptionsLine& line) {
    return file + ':' + std::to_string(line.number) + ": ";
}

// Finds the wrong line: the first line that, together with the lines before it, causes the message.
Options optionsOf(const Words& commandLine, const std::string& file, const OptionsLines& lines) {
    try {
        return optionsOf(commandLine, lines, lines.size());
    } catch (const std::invalid_argument& problem) {
        std::size_t count = 0;
        while (count < lines.size() && !failsWith(problem.what(), commandLine, lines, count)) {
            ++count;
        }
        throw std::invalid_argument((count == 0 ? "" : position(file, lines[count - 1])) + problem.what());
    }
}

/** Returns the beginning of a message: FILE:LINE of the last line with an option, or FILE if no line has the option. */
std::string lastLineWith(const std::string& option, const std::string& file, const OptionsLines& lines) {
    const auto line = std::find_if(lines.rbegin(), lines.rend(), [&](const OptionsLine& each) {
        return each.word.substr(0, each.word.find('=')) == option;
    });
    return line == lines.rend() ? file + ": " : position(file, *line);
}

} // namespace

Options parseOptions(int argc, const char* const* argv) {
    const Words commandLine(argv + 1, argv + argc);
    Options named;
    RawOptions raw;
    parse(commandLine, raw, named);
    return optionsOf(commandLine, named.file, named.file.empty() ? OptionsLines() : readOptionsFile(named.file));
}

Options reloadedOptions(const Options& running) {
    const OptionsLines lines = readOptionsFile(running.file);
    Options options = optionsOf(running.commandLine, running.file, lines);
    for (const auto& [name, texts] : options.fixed) {
        if (texts != running.fixed.at(name)) {
            fail(lastLineWith(name, running.file, lines) + name +
                 ": the option cannot change while the server runs (restart the server)");
        }
    }
    options.policy.descriptions = running.policy.descriptions;
    return options;
}

} // namespace Rynveld
