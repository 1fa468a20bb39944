#include "Commands.h"

#include "Numbers.h"
#include "Views.h"

namespace Rynvelctl {

namespace {

constexpr std::uint32_t mostExchanges = 1'000'000;

struct PingOptions {
    std::string name;
    std::string count = "10";
};

/** Any answer will do: what is measured is the way there and back. */
std::chrono::nanoseconds roundTrip(const ServerConnection& connection, const std::string& deviceName) {
    const Rynvel::Request question(Rynvel::RequestData::Type::GetInterruptType, deviceName);
    const auto start = std::chrono::steady_clock::now();
    connection.exchange(question);
    return std::chrono::steady_clock::now() - start;
}

void ping(const Session& session, const PingOptions& options) {
    const Server& server = session.server("ping");
    requireNameFits(options.name);
    const std::uint32_t count = parseCount("count", options.count, mostExchanges);
    const ServerConnection connection = server.connect();
    if (options.name.empty()) {
        // A server hangs up on a connection that does not begin with an Open, whatever it names.
        connection.exchange(Rynvel::Request(Rynvel::RequestData::Type::Open, ""));
    } else {
        connection.open(options.name);
    }
    std::vector<std::chrono::nanoseconds> times;
    for (std::uint32_t i = 0; i < count; ++i) {
        times.push_back(roundTrip(connection, options.name));
    }
    session.output().print(roundTrips(server.name(), times));
}

} // namespace

void addServerCommands(const Inventory::Command& program, Action& chosen) {
    const auto options = std::make_shared<PingOptions>();
    const Inventory::Command command =
        addCommand(program, chosen, "ping", "measure round trips to a register server", options, ping);
    command.addOptionalArgument("NAME", options->name, "a device that the server must have");
    command.addOption("--count", "COUNT", options->count, "the number of round trips, 10 when not given");
}

} // namespace Rynvelctl
