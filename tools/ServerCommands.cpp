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

std::vector<std::chrono::nanoseconds> timesOf(const Server& server, const std::string& deviceName,
                                              std::uint32_t count) {
    const Common::Deadlines deadlines = server.deadlines();
    Common::RecordConnection connection(server.address(), deadlines());
    if (deviceName.empty()) {
        // A server may hang up on a client that does not begin by opening a device, whatever it names.
        connection.exchange({Rynvel::RequestData::Type::Open, ""}, deadlines());
    } else {
        connection.open(deviceName, deadlines());
    }
    std::vector<std::chrono::nanoseconds> times;
    for (std::uint32_t i = 0; i < count; ++i) {
        times.push_back(roundTrip(connection, deviceName, deadlines()));
    }
    return times;
}

void ping(const Session& session, const PingOptions& options) {
    const Server& server = session.server("ping");
    requireNameFits(options.name);
    const std::uint32_t count = parseCount("count", options.count, mostExchanges);
    const auto times = server.ask([&] { return timesOf(server, options.name, count); }, "");
    session.output().print(RoundTrips{server.name(), times});
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
