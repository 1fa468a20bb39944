// SPDX-License-Identifier: MIT
#include "Commands.h"
#include "NumberArguments.h"

namespace Rynvelctl {

namespace {

constexpr std::uint32_t maxRoundTrips = 1'000'000;

struct PingOptions {
    std::string name;
    std::string count = "10";
};

std::chrono::nanoseconds roundTrip(Common::RecordConnection& connection, const std::string& deviceName,
                                   const Common::Deadline& deadline) {
    // Accepts every answer, even a refusal, because only the time matters.
    const Rynvel::Request request(Rynvel::RequestData::Type::GetInterruptType, deviceName);
    const auto start = std::chrono::steady_clock::now();
    connection.exchange(request, deadline);
    return std::chrono::steady_clock::now() - start;
}

std::unique_ptr<Common::RecordConnection> connectTo(const RemoteServer& server, const std::string& deviceName) {
    const Common::DeadlineFactory deadlines = server.deadlines();
    auto connection = std::make_unique<Common::RecordConnection>(server.address(), deadlines());
    if (deviceName.empty()) {
        // A server may close the connection of a client whose first request is not Open. The device name does not
        // matter, because ping also accepts a refusal.
        connection->exchange({Rynvel::RequestData::Type::Open, ""}, deadlines());
    } else {
        connection->open(deviceName, deadlines());
    }
    return connection;
}

/** The round trips before a failure, and the failure if there is one. */
struct Measurement {
    std::vector<std::chrono::nanoseconds> times;
    std::optional<Failure> failure;
};

Measurement measure(const RemoteServer& server, const std::string& deviceName, std::uint32_t count) {
    const auto connection = server.call([&] { return connectTo(server, deviceName); }, "");
    Measurement measurement;
    try {
        for (std::uint32_t i = 0; i < count; ++i) {
            measurement.times.push_back(
                server.call([&] { return roundTrip(*connection, deviceName, server.deadlines()()); }, ""));
        }
    } catch (const Failure& failure) {
        measurement.failure = failure;
    }
    return measurement;
}

void ping(const CommandContext& context, const PingOptions& options) {
    const RemoteServer& server = context.server("ping");
    requireValidName(options.name);
    const std::uint32_t count = parseCount("count", options.count, maxRoundTrips);
    const Measurement measurement = measure(server, options.name, count);
    if (!measurement.times.empty()) {
        context.output().print(RoundTrips{server.name(), measurement.times});
    }
    if (measurement.failure) {
        throw Failure(*measurement.failure);
    }
}

} // namespace

void addServerCommands(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<PingOptions>();
    const Common::Command command =
        addCommand(program, chosen, "ping", "measure the round-trip time to a register server", options, ping);
    command.addOptionalArgument("NAME", options->name,
                                "a device to open first; the command fails if the server refuses the device");
    command.addOption("--count", "COUNT", options->count, "the number of round trips (default: 10)");
}

} // namespace Rynvelctl
