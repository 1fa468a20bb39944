// SPDX-License-Identifier: MIT
#include "Options.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "DescriptionText.h"
#include "TemporaryWorkingFolder.h"

namespace RynvelTest {
namespace {

using Rynveld::Fault;
using Rynveld::Options;
using namespace std::chrono_literals;
using Words = std::vector<std::string>;

Options parse(const Words& words) {
    std::vector<const char*> pointers = {"rynveld"};
    for (const auto& word : words) {
        pointers.push_back(word.c_str());
    }
    return Rynveld::parseOptions(static_cast<int>(pointers.size()), pointers.data());
}

/** Returns the message for a wrong command line, or an empty text for a correct one. */
std::string problemOf(const Words& words) {
    try {
        parse(words);
    } catch (const std::invalid_argument& problem) {
        return problem.what();
    }
    return "";
}

/** Expects a message for each value of the option. The message quotes the value and ends with the problem. */
void expectWrong(const std::string& option, const std::vector<std::string>& values, const std::string& problem) {
    for (const auto& value : values) {
        EXPECT_EQ(problemOf({option, value}), option + ": '" + value + "' " + problem);
    }
}

/** Returns the text that the server prints instead of serving. */
std::string answerTo(const std::string& word) {
    try {
        parse({word});
    } catch (const Rynveld::InfoRequested& answer) {
        return answer.text;
    }
    return "";
}

std::string listenOf(const Words& words) {
    const auto endpoint = parse(words).listen;
    return endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

TEST(Options, HaveSafeDefaults) {
    const auto options = parse({});
    EXPECT_EQ(listenOf({}), "127.0.0.1:8888");
    EXPECT_TRUE(options.allowed.empty());
    EXPECT_EQ(options.maxConnections, 256U);
    EXPECT_EQ(options.maxConnectionsPerHost, 64U);
    EXPECT_EQ(options.idleTimeout, 0ms);
    EXPECT_TRUE(options.interruptPeriods.empty());
    EXPECT_TRUE(options.policy.devices.empty());
    EXPECT_TRUE(options.policy.ioctls.empty());
    EXPECT_TRUE(options.policy.faults.empty());
    EXPECT_FALSE(options.policy.readOnly);
    EXPECT_FALSE(options.policy.simulate);
}

TEST(Options, SelectTheAddressToListenOn) {
    EXPECT_EQ(listenOf({"--listen", "0.0.0.0"}), "0.0.0.0:8888");
    EXPECT_EQ(listenOf({"--listen", "10.1.2.3:0"}), "10.1.2.3:0");
    EXPECT_EQ(listenOf({"--listen=127.0.0.1:65535"}), "127.0.0.1:65535");
    expectWrong("--listen",
                {"localhost", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1", "127.0.0.1:80x", "127.0.0.1:80:90",
                 "127.0.0", "256.0.0.1", "[::1]:80", "::1", ":80", "80", ""},
                "is not a listening address (use ADDRESS or ADDRESS:PORT, with an IPv4 address, or unix:/PATH)");
    EXPECT_EQ(problemOf({"--listen", "127.0.0.1:08888"}), "--listen: port '08888' has a leading zero (use 8888)");
}

std::string metricsAddressOf(const std::string& text) {
    const auto metrics = parse({"--metrics", text}).metrics;
    return metrics ? metrics->address().to_string() + ":" + std::to_string(metrics->port()) : "none";
}

TEST(Options, SelectTheAddressOfTheMetrics) {
    EXPECT_FALSE(parse({}).metrics.has_value());
    EXPECT_EQ(metricsAddressOf("off"), "none");
    EXPECT_EQ(metricsAddressOf("9464"), "127.0.0.1:9464");
    EXPECT_EQ(metricsAddressOf(":9464"), "127.0.0.1:9464");
    EXPECT_EQ(metricsAddressOf("0.0.0.0:0"), "0.0.0.0:0");
    expectWrong("--metrics", {"", ":", "localhost:9464", "127.0.0.1", "127.0.0.1:", "1.2.3.4:65536", "::1:9464", "-1"},
                "is not a listening address (use PORT or ADDRESS:PORT, with an IPv4 address)");
    EXPECT_EQ(problemOf({"--metrics", "09464"}), "--metrics: port '09464' has a leading zero (use 9464)");
}

TEST(Options, SelectTheRegistersInTheMetrics) {
    const TemporaryWorkingFolder folder;
    std::ofstream("uio.svd") << mapWith("uio_32", registerAt("4", ""));
    const auto exported = parse({"--metrics", "0", "--map", "uio.svd", "--export", "uio.32.R4"}).exported;
    ASSERT_EQ(exported.size(), 1U);
    EXPECT_EQ(exported[0].device, "uio.32");
    EXPECT_EQ(exported[0].name, "R4");
    EXPECT_EQ(exported[0].address, 1U);
    EXPECT_TRUE(exported[0].isWholeExported);
    EXPECT_EQ(problemOf({"--map", "uio.svd", "--export", "uio.32.R4"}), "--export: the option requires --metrics");
    EXPECT_EQ(problemOf({"--metrics", "0", "--map", "missing.svd", "--export", "uio.32.R4"}),
              "missing.svd: error: No such file or directory");
}

TEST(Options, SelectTheLocalSocketToListenOn) {
    EXPECT_FALSE(parse({}).listenLocal.has_value());
    const auto plain = parse({"--listen", "unix:/run/rynveld.sock"}).listenLocal;
    ASSERT_TRUE(plain.has_value());
    EXPECT_EQ(plain->path, "/run/rynveld.sock");
    EXPECT_EQ(plain->mode, 0600U);
    EXPECT_FALSE(plain->group.has_value());
    const auto shared = parse({"--listen", "unix:/a", "--socket-mode", "0660", "--socket-group", "root"}).listenLocal;
    ASSERT_TRUE(shared.has_value());
    EXPECT_EQ(shared->mode, 0660U);
    EXPECT_EQ(shared->group, gid_t{0});
    EXPECT_TRUE(parse({"--listen", "unix:/" + std::string(106, 'a')}).listenLocal.has_value());
}

TEST(Options, RefuseLocalSocketsThatCannotExist) {
    const std::string path = "unix:/" + std::string(107, 'a');
    EXPECT_EQ(problemOf({"--listen", path}),
              "--listen: '" + path + "' is too long (the path of a socket has at most 107 bytes)");
    expectWrong("--listen", {"unix:", "unix:rynveld.sock", "unix"},
                "is not a listening address (use ADDRESS or ADDRESS:PORT, with an IPv4 address, or unix:/PATH)");
    for (const std::string mode : {"66", "00660", "668", "1777", "rw", "-60"}) {
        EXPECT_EQ(problemOf({"--listen", "unix:/a", "--socket-mode=" + mode}),
                  "--socket-mode: '" + mode +
                      "' is not a file mode (use 3 or 4 octal digits, at most 0777, for example 660)");
    }
    EXPECT_EQ(problemOf({"--listen", "unix:/a", "--socket-group", "no such group"}),
              "--socket-group: unknown group 'no such group' ('getent group' lists the groups)");
    EXPECT_EQ(problemOf({"--socket-mode", "660"}),
              "--socket-mode: the option requires a local socket (--listen unix:/PATH)");
    EXPECT_EQ(problemOf({"--socket-group", "root"}),
              "--socket-group: the option requires a local socket (--listen unix:/PATH)");
}

TEST(Options, SelectTheNetworksOfClients) {
    const auto allowed =
        parse({"--allow", "10.0.0.0/8", "--allow", "192.168.1.20", "--allow=192.168.7.9/24", "--allow=0.0.0.0/0"})
            .allowed;
    ASSERT_EQ(allowed.size(), 4U);
    EXPECT_EQ(allowed[0].to_string(), "10.0.0.0/8");
    EXPECT_EQ(allowed[1].to_string(), "192.168.1.20/32");
    EXPECT_EQ(allowed[2].to_string(), "192.168.7.0/24");
    EXPECT_EQ(allowed[3].to_string(), "0.0.0.0/0");
    expectWrong("--allow",
                {"10.0.0.0/33", "10.0.0.0/", "10.0.0.0/-1", "10.0.0.0/08", "010.0.0.0/8", "10.0.0.0/0x8",
                 "10.0.0.0/8/8", "10.0.0/8", "net", "::1/128", "/8", ""},
                "is not an IPv4 network (for example 10.0.0.0/8)");
}

TEST(Options, SelectTheDevicesToServe) {
    EXPECT_EQ(parse({"--device", "uio.16", "--device=seek.8", "--device", "uio.16"}).policy.devices,
              (std::set<std::string>{"seek.8", "uio.16"}));
    EXPECT_EQ(problemOf({"--device", "nothing"}),
              "--device: unknown device 'nothing' ('rynvelctl list' shows all names)");
    EXPECT_EQ(problemOf({"--device", "far"}),
              "--device: device 'far' is remote (rynveld serves only devices of its own machine)");
}

TEST(Options, AllowIoctlCommandsByNumber) {
    const auto options = parse({"--allow-ioctl", "0xEE00", "--allow-ioctl=17", "--allow-ioctl", "0XfFfFfFfF",
                                "--allow-ioctl", "4294967295", "--allow-ioctl", "0"});
    EXPECT_EQ(options.policy.ioctls, (std::set<std::uint32_t>{0, 17, 0xEE00, 0xFFFFFFFF}));
    expectWrong("--allow-ioctl",
                {"4294967296", "0x100000000", "0x", "x", "-1", "+1", " 1", "1 ", "0b1", "12345678901", ""},
                "is not a number of at most 32 bits (for example 0xEE00)");
}

TEST(Options, LimitConnectionsAndIdleTime) {
    EXPECT_EQ(parse({"--max-connections", "1"}).maxConnections, 1U);
    EXPECT_EQ(parse({"--max-connections", "10000"}).maxConnections, 10000U);
    for (const char* wrong : {"0", "10001", "-1", "many", ""}) {
        EXPECT_NE(problemOf({"--max-connections", wrong}), "") << wrong;
    }
    EXPECT_EQ(parse({"--max-connections", "9"}).maxConnectionsPerHost, 3U);
    EXPECT_EQ(parse({"--max-connections", "1"}).maxConnectionsPerHost, 1U);
    EXPECT_EQ(parse({"--max-connections-per-host", "7"}).maxConnectionsPerHost, 7U);
    for (const char* wrong : {"0", "10001", "x"}) {
        EXPECT_NE(problemOf({"--max-connections-per-host", wrong}), "") << wrong;
    }
    EXPECT_EQ(parse({"--idle-timeout", "1m"}).idleTimeout, 1min);
    EXPECT_EQ(parse({"--idle-timeout", "1.5s"}).idleTimeout, 1500ms);
    EXPECT_EQ(parse({"--idle-timeout", "2h"}).idleTimeout, 120min);
    EXPECT_EQ(parse({"--idle-timeout", "0"}).idleTimeout, 0ms);
    EXPECT_EQ(problemOf({"--idle-timeout", "5"}), "--idle-timeout: '5' has no unit (ms, s, m or h, for example 1.5s)");
}

/** Returns a numeric setting of the systemd unit that starts the server, or 0 if the unit does not have it. */
std::size_t limitInUnit(const std::string& name) {
    std::ifstream unit(RYNVELD_UNIT);
    for (std::string line; std::getline(unit, line);) {
        if (line.compare(0, name.size() + 1, name + '=') == 0) {
            return std::stoul(line.substr(name.size() + 1));
        }
    }
    return 0;
}

TEST(Options, LimitConnectionsToTheCapacityOfTheSystemdUnit) {
    constexpr std::size_t most = 10000;
    constexpr std::size_t others = 100;
    EXPECT_EQ(parse({"--max-connections", std::to_string(most)}).maxConnections, most);
    EXPECT_GE(limitInUnit("TasksMax"), most + others);
    EXPECT_GE(limitInUnit("LimitNOFILE"), most + others);
}

TEST(Options, AreReadOnlyOnDemand) { EXPECT_TRUE(parse({"--read-only"}).policy.readOnly); }

TEST(Options, RaiseInterruptsOfSimulatedDevices) {
    const auto options = parse({"--simulate", "--interrupt-every", "uio.32=1s", "--interrupt-every=uio.16=5ms",
                                "--device=uio.16", "--device=uio.32"});
    EXPECT_TRUE(options.policy.simulate);
    EXPECT_EQ(options.interruptPeriods,
              (std::map<std::string, std::chrono::milliseconds>{{"uio.16", 5ms}, {"uio.32", 1000ms}}));
}

TEST(Options, RaiseNoOtherInterrupts) {
    const auto problem = [](const std::string& value) { return problemOf({"--simulate", "--interrupt-every", value}); };
    EXPECT_EQ(problem("uio.32"), "--interrupt-every: 'uio.32' is not NAME=TIME (for example rtc0=1s)");
    EXPECT_EQ(problem("=1s"), "--interrupt-every: unknown device '' ('rynvelctl list' shows all names)");
    EXPECT_EQ(problem("nothing=1s"), "--interrupt-every: unknown device 'nothing' ('rynvelctl list' shows all names)");
    EXPECT_EQ(problem("seek.8=1s"), "--interrupt-every: device 'seek.8' has no interrupts");
    EXPECT_EQ(problem("far=1s"),
              "--interrupt-every: device 'far' is remote (rynveld serves only devices of its own machine)");
    EXPECT_EQ(problem("uio.32="), "--interrupt-every: '' is not a time (a number with the unit ms, s, m or h, in whole "
                                  "milliseconds, at most one day)");
    EXPECT_EQ(problem("uio.32=0"), "--interrupt-every: the time must be greater than 0");
    EXPECT_EQ(problemOf({"--interrupt-every", "uio.32=1s"}), "--interrupt-every: the option requires --simulate");
    EXPECT_EQ(problemOf({"--simulate", "--device", "seek.8", "--interrupt-every", "uio.32=1s"}),
              "--interrupt-every: device 'uio.32' is not served (add --device uio.32)");
}

/** Returns whether the server simulates the device as a register map describes it. */
bool isDescribed(const Rynveld::Options& options, const std::string& device) {
    return options.policy.descriptions.find(device) != nullptr;
}

/** A fixture for map files, which are in a temporary working folder. */
class OptionsWithMaps : public testing::Test {
protected:
    static void store(const std::string& name, const std::string& text) { std::ofstream(name) << text; }

private:
    const TemporaryWorkingFolder m_folder;
};

TEST_F(OptionsWithMaps, DescribeSimulatedDevices) {
    store("uio.svd", mapWith("uio_32", registerAt("0", "")));
    std::filesystem::create_directory("maps");
    store("maps/seek.svd", mapWith("seek_8", registerAt("0", "")));
    store("maps/unrelated.svd", mapWith("other", registerAt("0", "")));
    const auto options = parse({"--simulate", "--map", "uio.svd", "--map=maps"});
    EXPECT_TRUE(isDescribed(options, "uio.32"));
    EXPECT_TRUE(isDescribed(options, "seek.8"));
    EXPECT_FALSE(isDescribed(options, "uio.16"));
    EXPECT_FALSE(isDescribed(parse({"--simulate"}), "uio.32"));
}

TEST_F(OptionsWithMaps, DescribeADeviceByTheFirstMap) {
    store("first.svd", mapWith("uio_32", registerAt("0x10", "")));
    store("second.svd", mapWith("uio_32", registerAt("0x20", "")));
    const auto options = parse({"--simulate", "--map", "first.svd", "--map", "second.svd"});
    ASSERT_TRUE(isDescribed(options, "uio.32"));
    EXPECT_EQ(options.policy.descriptions.find("uio.32")->registers[0].offset, 0x10U);
}

TEST_F(OptionsWithMaps, DescribeOnlySimulatedDevices) {
    store("uio.svd", mapWith("uio_32", registerAt("0", "")));
    EXPECT_EQ(problemOf({"--map", "uio.svd"}), "--map: the option requires --simulate, --audit-old or --export");
}

TEST_F(OptionsWithMaps, RefuseAMapThatDescribesNoServedDevice) {
    const auto refusal = [](const std::string& path) {
        return "--map: '" + path +
               "' does not describe any served device (a peripheral needs the name of its device, for example "
               "traf_top for traf.top)";
    };
    store("uio.svd", mapWith("uio_32", registerAt("0", "")));
    store("far.svd", mapWith("far", registerAt("0", "")));
    store("other.svd", mapWith("other", registerAt("0", "")));
    std::filesystem::create_directory("empty");
    for (const char* path : {"other.svd", "far.svd", "empty"}) {
        EXPECT_EQ(problemOf({"--simulate", "--map", "uio.svd", "--map", path}), refusal(path));
    }
    EXPECT_EQ(problemOf({"--simulate", "--device", "seek.8", "--map", "uio.svd"}), refusal("uio.svd"));
}

TEST_F(OptionsWithMaps, RefuseAMapWhoseAddressesDoNotCountBytes) {
    store("words.svd", mapWith("uio_32", registerAt("0", ""), "16"));
    EXPECT_EQ(problemOf({"--simulate", "--map", "words.svd"}),
              "words.svd: addressUnitBits is 16 (only 8 is supported)");
}

TEST_F(OptionsWithMaps, AcceptAddressesThatDoNotCountBytesForOtherDevices) {
    store("words.svd", mapWith("other", registerAt("0", ""), "16"));
    store("uio.svd", mapWith("uio_32", registerAt("0", "")));
    EXPECT_TRUE(isDescribed(parse({"--simulate", "--map", "."}), "uio.32"));
}

TEST_F(OptionsWithMaps, AcceptAddressesThatDoNotCountBytesInADescriptionThatIsNotUsed) {
    store("uio.svd", mapWith("uio_32", registerAt("0", "")));
    store("words.svd", mapWith("uio_32", registerAt("0", ""), "16"));
    EXPECT_TRUE(isDescribed(parse({"--simulate", "--map", "uio.svd", "--map", "words.svd"}), "uio.32"));
}

TEST_F(OptionsWithMaps, RefuseAFileThatIsNotAMap) {
    store("broken.svd", "<device>\n<name>D</version>\n</device>\n");
    const std::string problem = problemOf({"--simulate", "--map", "broken.svd"});
    EXPECT_EQ(problem.compare(0, 20, "broken.svd:2: error:"), 0) << problem;
    EXPECT_EQ(problemOf({"--simulate", "--map", "missing.svd"}), "missing.svd: error: No such file or directory");
}

TEST(Options, SimulateFaultsOnDemand) {
    const auto faults = parse({"--simulate", "--fault", "error:3", "--fault=delay=1s"}).policy.faults;
    ASSERT_EQ(faults.size(), 2U);
    EXPECT_EQ(faults[0].kind, Fault::Kind::Error);
    EXPECT_EQ(faults[0].every, 3U);
    EXPECT_EQ(faults[1].kind, Fault::Kind::Delay);
    EXPECT_EQ(problemOf({"--simulate", "--fault", "nothing"}),
              "--fault: 'nothing' is not a fault (for example delay=500ms, error, split=20ms or disconnect:10)");
    EXPECT_EQ(problemOf({"--fault", "error"}), "--fault: the option requires --simulate");
}

TEST(Options, AreRefusedWithOneLineEach) {
    for (const auto& words : {Words{"--nothing"}, Words{"extra"}, Words{"--listen"}, Words{"--max-connections", "x"},
                              Words{"--simulate=perhaps"}, Words{"--listen", "0.0.0.0", "--listen", "0.0.0.0"},
                              Words{"--allow"}, Words{"-x"}, Words{"--nothing\nmore"}}) {
        const std::string problem = problemOf(words);
        EXPECT_NE(problem, "") << words[0];
        EXPECT_EQ(problem.find('\n'), std::string::npos) << problem;
    }
}

TEST(Options, RequestHelp) {
    const std::string help = answerTo("--help");
    for (const char* option : {"--listen", "--allow", "--device", "--read-only", "--allow-ioctl", "--max-connections",
                               "--max-connections-per-host", "--idle-timeout", "--simulate", "--map",
                               "--interrupt-every", "--fault", "--socket-mode", "--socket-group", "Exit status"}) {
        EXPECT_NE(help.find(option), std::string::npos) << option;
    }
}

TEST(Options, RequestTheVersion) {
    const std::string version = answerTo("--version");
    EXPECT_EQ(version.compare(0, 8, "rynveld "), 0) << version;
    EXPECT_EQ(version.back(), '\n');
}

} // namespace
} // namespace RynvelTest
