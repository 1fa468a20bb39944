#include "Commands.h"

#include "Numbers.h"

namespace Rynvelctl {

namespace {

constexpr std::uint32_t mostExchanges = 1'000'000;

struct PingOptions {
    std::string name;
    std::string count = "10";
};

/** Any answer will do: what is measured is the way there and back. */
std::chrono::nanoseconds roundTrip(Common::RecordConnection& connection, const std::string& deviceName,
                                   const Common::Deadline& deadline) {
    const Rynvel::Request question(Rynvel::RequestData::Type::GetInterruptType, deviceName);
    const auto start = std::chrono::steady_clock::now();
    connection.exchange(question, deadline);
    return std::chrono::steady_clock::now() - start;
}

std::unique_ptr<Common::RecordConnection> connectTo(const Server& server, const std::string& deviceName) {
    const Common::DeadlineFactory deadlines = server.deadlines();
    auto connection = std::make_unique<Common::RecordConnection>(server.address(), deadlines());
    if (deviceName.empty()) {
        // A server may hang up on a client that does not begin by opening a device, whatever it names.
        connection->exchange({Rynvel::RequestData::Type::Open, ""}, deadlines());
    } else {
        connection->open(deviceName, deadlines());
    }
    return connection;
}

/** What was measured before a failure, if there was one, counts. */
struct Measurement {
    std::vector<std::chrono::nanoseconds> times;
    std::optional<Failure> failure;
};

Measurement measure(const Server& server, const std::string& deviceName, std::uint32_t count) {
    const auto connection = server.ask([&] { return connectTo(server, deviceName); }, "");
    Measurement measurement;
    try {
        for (std::uint32_t i = 0; i < count; ++i) {
            measurement.times.push_back(
                server.ask([&] { return roundTrip(*connection, deviceName, server.deadlines()()); }, ""));
        }
    } catch (const Failure& failure) {
        measurement.failure = failure;
    }
    return measurement;
}

void ping(const Session& session, const PingOptions& options) {
    const Server& server = session.server("ping");
    requireNameFits(options.name);
    const std::uint32_t count = parseCount("count", options.count, mostExchanges);
    const Measurement measurement = measure(server, options.name, count);
    if (!measurement.times.empty()) {
        session.output().print(RoundTrips{server.name(), measurement.times});
    }
    if (measurement.failure) {
        throw Failure(*measurement.failure);
    }
}

} // namespace

void addServerCommands(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<PingOptions>();
    const Common::Command command =
        addCommand(program, chosen, "ping", "measure round trips to a register server", options, ping);
    command.addOptionalArgument("NAME", options->name, "a device that the server must have");
    command.addOption("--count", "COUNT", options->count, "the number of round trips, 10 when not given");
}

} // namespace Rynvelctl
